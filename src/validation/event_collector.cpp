#include "validation/event_collector.h"

#include <algorithm>
#include <optional>
#include <sstream>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/expression_substituter.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/timed_effect.h"
#include "plans/time_triggered_plan.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/warnings.h"

namespace kelvo {

using model::Expression;
using model::ExpressionFactory;
using model::print_expression;

namespace {

ValidationEvent effect_at(const rational& time, Expression lvalue, Expression value) {
  ValidationEvent event;
  event.lower = time;
  event.upper = time;
  event.expression = value;
  event.lvalue = lvalue;
  event.is_effect = true;
  return event;
}

DurSimplifier::Values bindings_of(ExpressionFactory& ef, const TimeTriggeredStep& step) {
  const model::Parameters& formals = step.action()->parameters();
  if (formals.size() != step.actual_parameters().size()) {
    throw InternalError() << "Wrong number of parameters of action " << step.action()->name();
  }
  DurSimplifier::Values bindings;
  bindings[ef.make_start_anchor()] = ef.make_rational_constant(step.start_time());
  bindings[ef.make_duration_anchor()] = ef.make_rational_constant(step.duration());
  bindings[ef.make_end_anchor()] =
      ef.make_rational_constant(rational(step.start_time() + step.duration()));
  for (std::size_t i = 0; i < formals.size(); ++i) {
    bindings[ef.make_parameter_reference(formals[i])] = step.actual_parameters()[i];
  }
  return bindings;
}

}  // namespace

void EventCollector::add_step(const TimeTriggeredStep& step) {
  ExpressionFactory& ef = environment().expression_factory();
  const rational end = step.start_time() + step.duration();
  horizon_ = std::max(horizon_, end);
  const DurSimplifier::Values bindings = bindings_of(ef, step);
  const DurSimplifier bind(environment(), bindings);
  warn_of_bare_times(step.action());
  for (const Expression statement : step.action()->expressions()) {
    const std::optional<Effect> effect = get_effect(ef, statement, step.action());
    if (!effect) {
      add_condition(bind(statement), step.start_time());
      continue;
    }
    const rational time = time_of(bind(effect->timing()), statement);
    const Expression lvalue = bind(assigned_fluent(ef, *effect));
    const Expression value = bind(effect->value());
    events_.push_back(effect_at(time, lvalue, value));
    horizon_ = std::max(horizon_, time);
  }
}

// A plain number is a time of the plan here, while planners count it from the action's start.
void EventCollector::warn_of_bare_times(const model::Action& action) {
  const ExpressionFactory& ef = environment().expression_factory();
  for (const Expression statement : action->expressions()) {
    const TimedStatement timed = decompose_statement(statement);
    if (!timed.is_timed()) continue;
    const Expression bare = ef.is_number(timed.left) ? timed.left : timed.right;
    if (!ef.is_number(bare) || !warned_actions_.insert(action->name()).second) continue;
    std::ostringstream message;
    message << "The time " << print_expression(bare) << " in action '" << action->name()
            << "' counts from the start of the plan, for the planners from that of the action: "
            << "write start + " << print_expression(bare);
    environment().warning_manager().warn(message.str());
  }
}

void EventCollector::add_problem(const model::ProblemInstanceImpl& problem) {
  ExpressionFactory& ef = environment().expression_factory();
  plan_end_ = horizon_ + 1;
  const ExpressionSubstituter::Substitution anchors = {
      {ef.make_start_anchor(), ef.make_integer_constant(0)},
      {ef.make_end_anchor(), ef.make_rational_constant(plan_end_)}};
  const ExpressionSubstituter substitute(environment(), anchors);
  const model::ExpressionSimplifier simplify(environment());
  for (const Expression written : problem.expressions()) {
    const Expression statement = simplify(substitute(written));
    const std::optional<Effect> effect = get_effect(ef, statement);
    if (!effect) {
      add_condition(statement, plan_end_);
    } else if (ef.is_zero(effect->timing())) {
      initial_state_[assigned_fluent(ef, *effect)] = effect->value();
    } else {
      const rational time = time_of(effect->timing(), statement);
      events_.push_back(effect_at(time, assigned_fluent(ef, *effect), effect->value()));
    }
  }
}

// `condition` has its anchors bound. Intervals of the plan's steps count for its horizon; those of
// the problem come too late for that.
void EventCollector::add_condition(Expression condition, const rational& untimed_at) {
  const TimedStatement timed = decompose_statement(condition);
  ValidationEvent event;
  event.expression = timed.body;
  if (!timed.is_timed()) {
    event.lower = untimed_at;
    event.upper = untimed_at;
    events_.push_back(std::move(event));
    return;
  }
  if (timed.is_contains && condition->child(0)->arity() > 1) {
    throw InternalError("Unsupported contains with duration");
  }
  event.lower = time_of(timed.left, condition);
  event.upper = time_of(timed.right, condition);
  event.left_closed = timed.left_closed;
  event.right_closed = timed.right_closed;
  event.is_contains = timed.is_contains;
  if (!timed.is_point()) horizon_ = std::max(horizon_, event.upper);
  events_.push_back(std::move(event));
}

rational EventCollector::time_of(Expression time, Expression statement) const {
  const ExpressionFactory& ef = environment().expression_factory();
  if (!ef.is_number(time)) {
    throw InvalidParameterError() << "Unsupported timing for expression: "
                                  << print_expression(statement);
  }
  return ef.get_number(time);
}

void EventCollector::warn_of_late_effects() const {
  for (const ValidationEvent& event : events_) {
    if (!event.is_effect || event.lower < plan_end_) continue;
    std::ostringstream message;
    message << "The effect on " << print_expression(event.lvalue) << " at time " << event.lower
            << " comes behind the plan, whose end counts as time " << plan_end_
            << ": goals at the end are judged without it";
    environment().warning_manager().warn(message.str());
  }
}

std::vector<ValidationEvent> EventCollector::sorted_events() const {
  std::vector<ValidationEvent> sorted = events_;
  std::stable_sort(sorted.begin(), sorted.end(), comes_before);
  return sorted;
}

}  // namespace kelvo
