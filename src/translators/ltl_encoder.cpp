#include "translators/ltl_encoder.h"

#include <map>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/timed_effect.h"
#include "model/types.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/flattener.h"
#include "transformers/grounder.h"
#include "transformers/set_compiler.h"
#include "transformers/temporal_uncertainty_compiler.h"
#include "transformers/transformer_chain.h"
#include "translators/anml_to_smv.h"

namespace kelvo {

using ltl::LtlExpression;
using model::Expression;
using Expressions = ltl::LtlExpressionFactory::Expressions;

namespace {

/// The variables of an action.
struct ActionVariables {
  LtlExpression is_running = nullptr;
  LtlExpression start = nullptr;
  LtlExpression duration = nullptr;
};

/// What a walker needs to know of the module. Without an action times are those of the plan.
struct AnmlToLtlContext {
  const ltl::AnmlToSmv::Variables& fluents;
  const std::unordered_map<model::Instance, LtlExpression>& instances;
  LtlExpression end_of_time = nullptr;
};

/// Also times and instances, seen from one action, or from the plan.
class AnmlToLtl : public ltl::AnmlToSmv {
 public:
  /// `action` is null for the plan, else borrowed, as is the context.
  AnmlToLtl(Environment& env, ltl::LtlExpressionFactory& factory, const AnmlToLtlContext& context,
            const ActionVariables* action)
      : AnmlToSmv(env, factory, context.fluents), context_(context), action_(action) {}

 protected:
  LtlExpression walk_start(Expression) const override {
    return action_ == nullptr ? factory_.make_rational_constant(0) : action_->start;
  }
  LtlExpression walk_end(Expression) const override {
    if (action_ == nullptr) return context_.end_of_time;
    return factory_.make_plus(action_->start, action_->duration);
  }
  LtlExpression walk_duration(Expression e) const override {
    if (action_ == nullptr) refuse(e);
    return action_->duration;
  }
  LtlExpression walk_instance_reference(Expression e) const override {
    return context_.instances.at(environment().expression_factory().get_instance_from_reference(e));
  }

 private:
  const AnmlToLtlContext& context_;
  const ActionVariables* action_;
};

model::ProblemInstance compiled(const model::ProblemInstance& problem) {
  TransformerChain chain(problem);
  chain.apply_if<Flattener>(!chain.problem()->is_flat());
  chain.apply_if<TemporalUncertaintyCompiler>(chain.problem()->has_temporal_uncertainty());
  chain.apply_if(!chain.problem()->is_ground(/*only_action=*/false),
                 [](const model::ProblemInstance& input) {
                   return std::make_shared<Grounder>(input, /*ground_all=*/true,
                                                     /*prune_actions=*/true);
                 });
  chain.apply_if<SetCompiler>(chain.problem()->has_sets());
  return chain.problem();
}

}  // namespace

class LtlEncoder::Module : public EnvObject {
 public:
  Module(Environment& env, const model::ProblemInstance& problem)
      : EnvObject(env),
        problem_(compiled(problem)),
        context_{fluents_, instances_},
        of_plan_(env, factory_, context_, /*action=*/nullptr) {
    make_variables();
    for (const auto& [name, action] : problem_->actions()) {
      of_action_.try_emplace(name, env, factory_, context_, &actions_.at(name));
    }
    collect_effects();
  }

  void print(std::ostream& os);

 private:
  struct ActionEffect {
    std::string action;
    Expression time;  // null for one without a time: at the start
    Expression value;
  };
  struct ProblemEffect {
    Expression time;  // null for one without a time
    Expression value;
  };
  /// A condition with the bounds of its interval; `upper` is null for a point.
  struct Condition {
    LtlExpression lower = nullptr;
    LtlExpression upper = nullptr;
    bool left_open = false;
    LtlExpression body = nullptr;
  };

  std::string fresh_name(const std::string& base);
  LtlExpression variable(const std::string& base, const model::Type& type);
  void make_variables();
  void add_range(LtlExpression variable, const model::Type& type);
  void collect_effects();

  LtlExpression rules();
  void add_action_rules(const std::string& name, const model::Action& action, Expressions& rules);
  LtlExpression problem_part();
  LtlExpression frame();
  Condition condition_of(Expression e, const AnmlToLtl& walk, LtlExpression untimed_at) const;
  static bool is_condition(const model::ExpressionFactory& ef, Expression e);
  void add_conditions_of_action(const ActionVariables& variables, const Condition& c,
                                Expressions& rules);
  void add_condition_of_problem(const Condition& c, Expressions& rules);

  LtlExpression globally(LtlExpression when, LtlExpression what) {
    return factory_.make_g(factory_.make_imply(when, what));
  }
  LtlExpression unchanged(LtlExpression v) {
    return factory_.make_equals(v, factory_.make_next(v));
  }

  model::ProblemInstance problem_;
  ltl::LtlExpressionFactory factory_;
  std::set<std::string> names_;
  ltl::AnmlToSmv::Variables fluents_;
  std::unordered_map<model::Instance, LtlExpression> instances_;
  AnmlToLtlContext context_;
  AnmlToLtl of_plan_;
  std::map<std::string, ActionVariables> actions_;
  std::map<std::string, AnmlToLtl> of_action_;
  Expressions ranges_;
  LtlExpression time_ = nullptr;
  // By name of the fluent, in the order of the statements.
  std::map<std::string, std::vector<ProblemEffect>> problem_effects_;
  std::map<std::string, std::vector<ActionEffect>> action_effects_;
};

// --- variables ---

std::string LtlEncoder::Module::fresh_name(const std::string& base) {
  std::string name = base;
  for (int number = 0; !names_.insert(name).second; ++number) {
    name = base + "_" + std::to_string(number);
  }
  return name;
}

LtlExpression LtlEncoder::Module::variable(const std::string& base, const model::Type& type) {
  const std::string name = fresh_name(base);
  return factory_.make_variable(name, type);
}

void LtlEncoder::Module::add_range(LtlExpression variable, const model::Type& type) {
  const auto add = [&](const auto& numbers, const auto& constant) {
    if (numbers.has_lower_bound()) {
      ranges_.push_back(factory_.make_ge(variable, constant(numbers.lower_bound())));
    }
    if (numbers.has_upper_bound()) {
      ranges_.push_back(factory_.make_le(variable, constant(numbers.upper_bound())));
    }
  };
  if (type->is_integer()) {
    add(model::as_integer_type(type),
        [this](const integer& bound) { return factory_.make_integer_constant(bound); });
  }
  if (type->is_rational()) {
    add(model::as_rational_type(type),
        [this](const rational& bound) { return factory_.make_rational_constant(bound); });
  }
}

void LtlEncoder::Module::make_variables() {
  model::ModelFactory& mf = environment().model_factory();
  const model::Type boolean = mf.make_boolean_type();
  const model::Type real = mf.make_rational_type();
  for (const auto& [name, action] : problem_->actions()) {
    ActionVariables& variables = actions_[name];
    variables.is_running = variable(name, boolean);
    variables.start = variable("start_" + name + "__", real);
    variables.duration = variable("duration_" + name + "__", real);
  }
  for (const auto& [name, fluent] : problem_->fluents()) {
    model::Type type = fluent->type();
    if (type->is_user_defined()) {
      type = mf.make_integer_type();
    } else if (!type->is_boolean() && !type->is_numeric()) {
      throw LtlEncoderError("Fluent type not supported");
    }
    const LtlExpression v = variable(name, type);
    fluents_.emplace(name, v);
    add_range(v, type);
  }
  time_ = variable("t__", real);
  context_.end_of_time = variable("end_of_time__", real);
  for (const auto& [name, instance] : problem_->instances()) {
    const integer number(instances_.size());
    instances_.emplace(instance, factory_.make_integer_constant(number));
  }
}

void LtlEncoder::Module::collect_effects() {
  model::ExpressionFactory& ef = environment().expression_factory();
  // The time and the assignment of an effect; nothing for a condition.
  const auto effect_of =
      [&ef](Expression statement) -> std::optional<std::pair<Expression, Expression>> {
    if (!is_effect(ef, statement)) return std::nullopt;
    const TimedStatement timed = decompose_statement(statement);
    const Expression e = timed.body;
    if (!ef.is_assign(e) || !ef.is_fluent_reference(e->child(0))) {
      throw LtlEncoderError() << "The following assign expression does not have a fluent on the "
                                 "left hand side: "
                              << model::print_expression(statement);
    }
    if (timed.is_contains || (timed.is_timed() && timed.interval->arity() != 1)) {
      throw LtlEncoderError() << "Durative effects are not permitted: "
                              << model::print_expression(statement);
    }
    return std::pair(timed.left, e);
  };
  const auto fluent_of = [&ef](Expression assignment) {
    return ef.get_fluent_from_reference(assignment->child(0))->name();
  };
  for (const Expression e : problem_->expressions()) {
    for (const Expression single : single_statements(ef, e)) {
      if (const auto effect = effect_of(single)) {
        problem_effects_[fluent_of(effect->second)].push_back(
            {effect->first, effect->second->child(1)});
      }
    }
  }
  for (const auto& [name, action] : problem_->actions()) {
    for (const Expression e : action->expressions()) {
      for (const Expression single : single_statements(ef, e)) {
        if (const auto effect = effect_of(single)) {
          action_effects_[fluent_of(effect->second)].push_back(
              {name, effect->first, effect->second->child(1)});
        }
      }
    }
  }
}

// --- conditions ---

// What is no effect; `duration := e` is a condition.
bool LtlEncoder::Module::is_condition(const model::ExpressionFactory& ef, Expression e) {
  return !is_effect(ef, e);
}

LtlEncoder::Module::Condition LtlEncoder::Module::condition_of(Expression e, const AnmlToLtl& walk,
                                                               LtlExpression untimed_at) const {
  const TimedStatement timed = decompose_statement(e);
  if (timed.is_contains) throw LtlEncoderError("'contains' is not supported.");
  Condition c;
  c.body = walk(timed.body);
  if (!timed.is_timed()) {
    c.lower = untimed_at;
    return c;
  }
  c.lower = walk(timed.left);
  if (timed.interval->arity() == 2) c.upper = walk(timed.right);
  c.left_open = !timed.left_closed;
  return c;
}

// The condition is asked in the state that stands when the interval begins, and in each state that
// begins inside it.
void LtlEncoder::Module::add_conditions_of_action(const ActionVariables& variables,
                                                  const Condition& c, Expressions& rules) {
  const LtlExpression starts_soon = factory_.make_x(variables.is_running);
  const LtlExpression next_lower = factory_.make_next(c.lower);
  const LtlExpression before =
      c.left_open ? factory_.make_le(time_, next_lower) : factory_.make_lt(time_, next_lower);
  const LtlExpression reached = factory_.make_x(c.left_open ? factory_.make_gt(time_, c.lower)
                                                            : factory_.make_ge(time_, c.lower));
  rules.push_back(globally(factory_.make_and({starts_soon, before, reached}), c.body));
  if (c.upper == nullptr) return;
  const LtlExpression behind =
      c.left_open ? factory_.make_gt(time_, c.lower) : factory_.make_ge(time_, c.lower);
  const LtlExpression inside = factory_.make_lt(time_, c.upper);
  rules.push_back(globally(factory_.make_and({variables.is_running, behind, inside}), c.body));
}

void LtlEncoder::Module::add_condition_of_problem(const Condition& c, Expressions& rules) {
  const bool is_point = c.upper == nullptr;
  rules.push_back(factory_.make_ge(context_.end_of_time, is_point ? c.lower : c.upper));
  const LtlExpression before =
      c.left_open ? factory_.make_le(time_, c.lower) : factory_.make_lt(time_, c.lower);
  const LtlExpression behind =
      c.left_open ? factory_.make_gt(time_, c.lower) : factory_.make_ge(time_, c.lower);
  const LtlExpression reached = factory_.make_x(behind);
  rules.push_back(globally(factory_.make_and(before, reached), c.body));
  if (!is_point) {
    const LtlExpression inside = factory_.make_lt(time_, c.upper);
    rules.push_back(globally(factory_.make_and(behind, inside), c.body));
  }
  if (c.left_open) return;
  const LtlExpression at_lower = factory_.make_equals(time_, c.lower);
  const LtlExpression zero = factory_.make_rational_constant(0);
  const LtlExpression at_zero = factory_.make_equals(time_, zero);
  rules.push_back(globally(factory_.make_and(at_lower, at_zero), c.body));
}

// --- the three parts ---

LtlExpression LtlEncoder::Module::rules() {
  const LtlExpression end = context_.end_of_time;
  const LtlExpression zero = factory_.make_rational_constant(0);
  const LtlExpression is_before_end = factory_.make_lt(time_, end);
  Expressions rules;
  rules.push_back(factory_.make_equals(time_, zero));
  rules.push_back(factory_.make_g(unchanged(end)));
  rules.push_back(factory_.make_gt(end, zero));
  const LtlExpression grows = factory_.make_lt(time_, factory_.make_next(time_));
  rules.push_back(globally(is_before_end, grows));
  for (const LtlExpression range : ranges_) rules.push_back(factory_.make_g(range));

  // After the end nothing moves; before it no step is idle.
  Expressions still;
  Expressions moves;
  for (const auto& [name, fluent] : problem_->fluents()) {
    const LtlExpression same = unchanged(fluents_.at(name));
    still.push_back(same);
    moves.push_back(factory_.make_not(same));
  }
  for (const auto& [name, variables] : actions_) {
    still.push_back(factory_.make_equals(variables.start, zero));
  }
  for (const auto& [name, variables] : actions_) {
    still.push_back(factory_.make_equals(variables.duration, zero));
    moves.push_back(factory_.make_not(unchanged(variables.is_running)));
  }
  still.push_back(unchanged(time_));
  const Expression is_over = factory_.make_ge(time_, end);
  rules.push_back(globally(is_over, factory_.make_and(still)));
  const Expression goes_on = factory_.make_x(is_before_end);
  rules.push_back(globally(goes_on, factory_.make_or(moves)));

  for (const auto& [name, variables] : actions_) {
    rules.push_back(factory_.make_not(variables.is_running));
  }
  for (const auto& [name, action] : problem_->actions()) add_action_rules(name, action, rules);
  for (const auto& [fluent, effects] : action_effects_) {
    for (const ActionEffect& effect : effects) {
      const ActionVariables& variables = actions_.at(effect.action);
      const AnmlToLtl& walk = of_action_.at(effect.action);
      const LtlExpression at = effect.time == nullptr ? variables.start : walk(effect.time);
      const LtlExpression value = walk(effect.value);
      const LtlExpression now = factory_.make_equals(time_, at);
      const LtlExpression set = factory_.make_equals(fluents_.at(fluent), value);
      const LtlExpression is_idle = factory_.make_not(variables.is_running);
      const LtlExpression runs_next = factory_.make_x(variables.is_running);
      const LtlExpression starts = factory_.make_and(is_idle, runs_next);
      const LtlExpression happens =
          factory_.make_u(variables.is_running, factory_.make_and(now, set));
      rules.push_back(globally(starts, factory_.make_x(happens)));
    }
  }
  return factory_.make_and(rules);
}

void LtlEncoder::Module::add_action_rules(const std::string& name, const model::Action& action,
                                          Expressions& rules) {
  const ActionVariables& v = actions_.at(name);
  const AnmlToLtl& walk = of_action_.at(name);
  const LtlExpression next_running = factory_.make_x(v.is_running);
  const LtlExpression same_duration =
      factory_.make_equals(factory_.make_next(v.duration), v.duration);
  const LtlExpression same_start = factory_.make_equals(factory_.make_next(v.start), v.start);
  rules.push_back(globally(next_running, factory_.make_and(same_duration, same_start)));
  const LtlExpression starts = factory_.make_and(factory_.make_not(v.is_running), next_running);
  const LtlExpression starts_now = factory_.make_x(factory_.make_equals(v.start, time_));
  const LtlExpression end = factory_.make_plus(v.start, v.duration);
  const LtlExpression ends_now = factory_.make_equals(time_, end);
  const LtlExpression ends = factory_.make_x(factory_.make_not(v.is_running));
  const LtlExpression lasts =
      factory_.make_x(factory_.make_u(v.is_running, factory_.make_and(ends_now, ends)));
  rules.push_back(globally(starts, factory_.make_and(starts_now, lasts)));
  const model::ExpressionFactory& ef = environment().expression_factory();
  for (const Expression e : action->expressions()) {
    if (!is_condition(ef, e)) continue;
    add_conditions_of_action(v, condition_of(e, walk, v.start), rules);
  }
}

LtlExpression LtlEncoder::Module::problem_part() {
  model::ExpressionFactory& ef = environment().expression_factory();
  const LtlExpression zero = factory_.make_rational_constant(0);
  Expressions effects;
  for (const auto& [fluent, list] : problem_effects_) {
    for (const ProblemEffect& effect : list) {
      const LtlExpression value = of_plan_(effect.value);
      const LtlExpression set = factory_.make_equals(fluents_.at(fluent), value);
      if (effect.time == nullptr || is_at_start(ef, effect.time)) {
        effects.push_back(set);
        continue;
      }
      const LtlExpression at = of_plan_(effect.time);
      effects.push_back(factory_.make_gt(context_.end_of_time, at));
      const LtlExpression now = factory_.make_equals(time_, at);
      effects.push_back(factory_.make_f(factory_.make_and(now, set)));
    }
  }
  Expressions conditions;
  for (const Expression e : problem_->expressions()) {
    if (!is_condition(ef, e)) continue;
    add_condition_of_problem(condition_of(e, of_plan_, zero), conditions);
  }
  const LtlExpression all_effects = factory_.make_and(effects);
  return factory_.make_and(all_effects, factory_.make_and(conditions));
}

// A fluent changes only by one of its effects, and by one at a time.
LtlExpression LtlEncoder::Module::frame() {
  Expressions rules;
  for (const auto& [name, fluent] : problem_->fluents()) {
    Expressions alternatives;
    for (const ProblemEffect& effect : problem_effects_[name]) {
      const LtlExpression at =
          effect.time == nullptr ? factory_.make_rational_constant(0) : of_plan_(effect.time);
      alternatives.push_back(factory_.make_x(factory_.make_equals(time_, at)));
    }
    for (const ActionEffect& effect : action_effects_[name]) {
      const ActionVariables& v = actions_.at(effect.action);
      const LtlExpression at =
          effect.time == nullptr ? v.start : of_action_.at(effect.action)(effect.time);
      const LtlExpression now = factory_.make_equals(time_, at);
      alternatives.push_back(factory_.make_x(factory_.make_and(v.is_running, now)));
    }
    Expressions parts{factory_.make_or(alternatives)};
    for (std::size_t i = 0; i < alternatives.size(); ++i) {
      for (std::size_t k = i + 1; k < alternatives.size(); ++k) {
        const LtlExpression both = factory_.make_and(alternatives[i], alternatives[k]);
        parts.push_back(factory_.make_not(both));
      }
    }
    const LtlExpression changes = factory_.make_not(unchanged(fluents_.at(name)));
    rules.push_back(globally(changes, factory_.make_and(parts)));
  }
  return factory_.make_and(rules);
}

void LtlEncoder::Module::print(std::ostream& os) {
  Expressions parts;
  parts.push_back(rules());
  parts.push_back(problem_part());
  parts.push_back(frame());
  const LtlExpression property = factory_.make_not(factory_.make_and(parts));

  const auto declare = [&os](LtlExpression v, const char* type) {
    os << "  " << ltl::print_ltl(v) << " : " << type << ";\n";
  };
  os << "MODULE main\nVAR\n";
  declare(time_, "real");
  declare(context_.end_of_time, "real");
  for (const auto& [name, variables] : actions_) declare(variables.is_running, "boolean");
  for (const auto& [name, variables] : actions_) declare(variables.start, "real");
  for (const auto& [name, variables] : actions_) declare(variables.duration, "real");
  for (const auto& [name, fluent] : problem_->fluents()) {
    const LtlExpression v = fluents_.at(name);
    const model::Type& type = ltl::payload_of<ltl::VariablePayload>(v).variable().type();
    declare(v, type->is_boolean() ? "boolean" : type->is_integer() ? "integer" : "real");
  }
  os << "LTLSPEC\n" << ltl::print_ltl(property) << "\n;\n";
}

LtlEncoder::LtlEncoder(Environment& env, const model::ProblemInstance& problem)
    : EnvObject(env), module_(std::make_unique<Module>(env, problem)) {}

LtlEncoder::~LtlEncoder() = default;

void LtlEncoder::print(std::ostream& os) const {
  module_->print(os);
}

}  // namespace kelvo
