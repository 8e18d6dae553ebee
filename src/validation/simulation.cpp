#include "validation/simulation.h"

#include <map>
#include <sstream>
#include <utility>

#include "model/expression_evaluator.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/print_expression.h"
#include "model/types.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "shell/warnings.h"

namespace kelvo {

using model::Expression;
using model::print_expression;

Simulation::Simulation(Environment& env, const State& initial_state)
    : EnvObject(env), eval_(env, state_) {
  // In the order of creation: values outside bounds are warned of.
  const std::map<Expression, Expression, model::ExpressionLess> ordered(initial_state.begin(),
                                                                        initial_state.end());
  for (const auto& [fluent, value] : ordered) store(fluent, value, state_);
}

bool Simulation::run(const std::vector<ValidationEvent>& events) {
  for (const ValidationEvent& event : events) {
    if (event.lower != now_) advance_to(event.lower);
    LOG(LogLevel::DEBUG) << "Simulation Time: " << now_;
    log_state();
    if (event.is_effect) {
      if (!apply(event)) return false;
    } else if (event.lower == event.upper && !event.is_contains) {
      if (!check_point(event)) return false;
    } else {
      active_.push_back(&event);
    }
    if (!check_active()) return false;
  }
  return true;
}

void Simulation::complain(const std::string& text) {
  LOG(LogLevel::DEBUG) << text;
  complaint_ = text;
}

void Simulation::advance_to(const rational& time) {
  for (const auto& [fluent, value] : pending_) state_[fluent] = value;
  if (!pending_.empty()) eval_.clear_memoization();
  pending_.clear();
  now_ = time;
  num_checked_ = 0;
}

void Simulation::log_state() const {
  if (!Log::is_on(LogLevel::TRACE)) return;
  const std::map<Expression, Expression, model::ExpressionLess> ordered(state_.begin(),
                                                                        state_.end());
  for (const auto& [fluent, value] : ordered) {
    LOG(LogLevel::TRACE) << "Current State:" << print_expression(fluent)
                         << " := " << print_expression(value);
  }
}

bool Simulation::apply(const ValidationEvent& effect) {
  model::ExpressionFactory& ef = environment().expression_factory();
  Expression fluent = effect.lvalue;
  if (ef.is_functional_apply(fluent)) {
    std::vector<Expression> arguments;
    for (const Expression argument : fluent->children()) arguments.push_back(eval_(argument));
    const Expression reference = ef.get_reference_from_functional_apply(fluent);
    const model::Parameters& formals = ef.get_fluent_from_reference(reference)->parameters();
    fluent = ef.make_functional_apply(reference, as_arguments(ef, formals, std::move(arguments)));
  }
  if (pending_.contains(fluent)) {
    std::ostringstream text;
    text << "Double effect on " << print_expression(fluent) << " at the same time!";
    complain(text.str());
    return false;
  }
  const Expression value = eval_(effect.expression);
  if (!ef.is_constant(value) && !ef.is_instance_reference(value)) {
    throw InvalidParameterError() << "Unable to simplify to a constant! "
                                  << print_expression(effect.expression) << " -> "
                                  << print_expression(value);
  }
  LOG(LogLevel::DEBUG) << "Assigning " << print_expression(fluent)
                       << " := " << print_expression(value);
  store(fluent, value, pending_);
  return true;
}

// One value is one node: an integer fluent holds integer constants.
void Simulation::store(Expression fluent, Expression value, State& state) {
  model::ExpressionFactory& ef = environment().expression_factory();
  const Expression reference =
      ef.is_functional_apply(fluent) ? ef.get_reference_from_functional_apply(fluent) : fluent;
  const model::Type type = ef.get_fluent_from_reference(reference)->type();
  value = model::as_stored(ef, type, value);
  if (model::is_out_of_bounds(ef, type, value)) {
    std::ostringstream message;
    message << "The value " << print_expression(value) << " of " << print_expression(fluent)
            << " at time " << now_ << " is outside the bounds of its type " << type;
    environment().warning_manager().warn(message.str());
  }
  state[fluent] = value;
}

bool Simulation::check_point(const ValidationEvent& condition) {
  if (evaluate_condition(condition.expression)) return true;
  std::ostringstream text;
  text << "Condition " << print_expression(condition.expression) << " is violated!";
  complain(text.str());
  return false;
}

bool Simulation::check_active() {
  std::size_t kept = num_checked_;
  for (std::size_t i = num_checked_; i < active_.size(); ++i) {
    bool violated = false;
    if (check_one_active(*active_[i], violated)) active_[kept++] = active_[i];
    if (violated) return false;
  }
  active_.resize(kept);
  num_checked_ = kept;
  return true;
}

bool Simulation::check_one_active(const ValidationEvent& condition, bool& violated) {
  if (now_ < condition.upper) {
    if (!condition.left_closed && condition.lower >= now_) return true;
    const bool holds = evaluate_condition(condition.expression);
    if (condition.is_contains && holds) {
      LOG(LogLevel::DEBUG) << "Contains condition " << print_expression(condition.expression)
                           << " satisfied at time " << now_;
      return false;
    }
    if (!condition.is_contains && !holds) {
      std::ostringstream text;
      text << "Duartive Condition " << print_expression(condition.expression)
           << " is violated at time " << condition.upper;
      complain(text.str());
      violated = true;
    }
    return true;
  }
  if (condition.is_contains) {
    std::ostringstream text;
    text << "Contains condition " << print_expression(condition.expression) << " is violated!";
    complain(text.str());
    violated = true;
    return true;
  }
  warn_of_last_stretch(condition);
  return false;
}

// The state has stood still since the time before this one, which is before the window's end: it is
// the state of the window's last stretch, at which no check was due.
void Simulation::warn_of_last_stretch(const ValidationEvent& window) {
  if (window.upper <= window.lower) return;
  if (!environment().expression_factory().is_false(eval_(window.expression))) return;
  std::ostringstream message;
  message << "The condition " << print_expression(window.expression)
          << " does not hold up to the end of its interval at time " << window.upper;
  environment().warning_manager().warn(message.str());
}

bool Simulation::evaluate_condition(Expression e) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  const Expression value = eval_(e);
  if (!ef.is_boolean_constant(value)) {
    throw InvalidParameterError() << "Unable to simplify to a constant! " << print_expression(e)
                                  << " -> " << print_expression(value);
  }
  return ef.is_true(value);
}

}  // namespace kelvo
