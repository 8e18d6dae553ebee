#include "smt/smt_encoder.h"

#include <cassert>
#include <sstream>

#include "model/action.h"
#include "model/expression_default_walker.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/user_type.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/hashing.h"
#include "smt/definedness.h"
#include "smt/moving_targets.h"
#include "smt/to_smt_walker.h"

namespace kelvo::smt {

using model::Expression;
using model::print_expression;
using ExpressionKind = model::ExpressionOperatorKind;

/// Tells for each expression on which parts of a context its formula depends, under an action
/// (`ACTION` then stands for the action and its step; without one the anchors are constant or the
/// horizon's).
class SmtEncoder::DependencyWalker : public model::ExpressionDefaultWalker<unsigned> {
 public:
  using ExpressionDefaultWalker::ExpressionDefaultWalker;

 protected:
  unsigned walk_default(Expression e) const override {
    unsigned result = 0;
    for (const Expression child : e->children()) result |= memoized_value(child);
    return result;
  }
  unsigned walk_assign(Expression e) const override {
    const unsigned sides = walk_default(e);
    return (sides & (STATE | INDEX)) != 0 ? (sides & ~INDEX) | STATE : sides;
  }
  unsigned walk_temporal_expression(Expression) const override {
    return STATE | INDEX | ACTION | HORIZON;
  }
  unsigned walk_start(Expression) const override { return ACTION; }
  unsigned walk_end(Expression) const override { return ACTION | HORIZON; }
  unsigned walk_duration(Expression) const override { return ACTION; }
  unsigned walk_fluent_reference(Expression) const override { return STATE; }
  unsigned walk_parameter_reference(Expression) const override { return ACTION; }
  unsigned walk_functional_apply(Expression e) const override {
    unsigned arguments = walk_default(e);
    if ((arguments & STATE) != 0) arguments = (arguments & ~STATE) | INDEX;
    const Expression reference =
        environment().expression_factory().get_reference_from_functional_apply(e);
    return model::kind_of(reference) == ExpressionKind::FLUENT_REF ? arguments | STATE : arguments;
  }
};

std::size_t SmtEncoder::MemoKeyHash::operator()(const MemoKey& key) const {
  std::size_t h = key.e->id();
  hash_combine(h, key.state_step);
  hash_combine(h, key.action_step);
  hash_combine(h, key.index_step);
  hash_combine(h, key.action);
  return h;
}

std::size_t SmtEncoder::VariableKeyHash::operator()(const VariableKey& key) const {
  std::size_t h = key.step;
  hash_combine(h, key.object);
  hash_combine(h, key.owner);
  return h;
}

SmtEncoder::SmtEncoder(Environment& env, const model::ProblemInstance& problem,
                       const std::optional<rational>& separation)
    : EnvObject(env),
      problem_(problem),
      domains_(*problem),
      factory_(env),
      quotients_(factory_, side_constraints_),
      statement_times_(problem),
      dependency_walker_(std::make_unique<DependencyWalker>(env)) {
  model::ExpressionFactory& ef = env.expression_factory();
  const auto add_effect = [&](Expression e, const model::Action& action) {
    if (std::optional<Effect> effect = get_effect(ef, e, action)) {
      effects_by_fluent_[effect->fluent().get()].push_back(std::move(*effect));
    }
  };
  for (const Expression e : problem_->expressions()) add_effect(e, nullptr);
  for (const auto& [name, action] : problem_->actions()) {
    for (const Expression e : action->expressions()) add_effect(e, action);
  }
  for (const auto& [name, instance] : problem_->instances()) {
    const Formula number = factory_.make_rational_constant(rational(instances_.size()));
    instance_numbers_.emplace(instance.get(), number);
    instances_.emplace(number, instance);
  }
  for (const auto& [first, second] : problem_->labels_orderings()) {
    // Compiled containments leave fluents behind, and what compiled them keeps the order.
    if (ef.is_temporal_expression(first)) chosen_.insert(first);
    if (ef.is_temporal_expression(second)) chosen_.insert(second);
  }
  definedness_ = std::make_unique<Definedness>(*this);
  if (separation) moving_targets_ = std::make_unique<MovingTargets>(*this, *separation);
}

SmtEncoder::~SmtEncoder() = default;

// --- variables ---

// One variable for each (object, owner, step), made at first sight with a constraint that keeps it
// in its domain, which is asserted with every horizon:
//   t_k                time of step k; t_0 is the number 0
//   action_A_k         A starts at step k
//   duration_A_k       its duration then, no variable when A fixes it
//   param_A_p_k        its argument for p then
//   fluent_f_v_k       value of f(v) after the effects of step k
// Times and durations are reals, and instances are numbers from 0 on.

Formula SmtEncoder::named_variable(const std::string& name, const SmtType* type) {
  // Different objects may spell one name; they must never share a variable.
  if (factory_.has_variable(name)) return factory_.make_fresh_variable(type, (name + "_").c_str());
  return factory_.make_variable(name, type);
}

const SmtType* SmtEncoder::smt_type(const model::Type& type) {
  switch (type->kind()) {
    case model::TypeCode::BOOLEAN:
      return factory_.boolean_type();
    case model::TypeCode::INTEGER:
      return factory_.integer_type();
    case model::TypeCode::RATIONAL:
    case model::TypeCode::USERDEFINED:
      return factory_.real_type();
    default:
      throw InternalError() << "Unsupported Type: " << type;
  }
}

namespace {

template <typename NumericType>
void append_bounds(SmtFactory& factory, Formula variable, const NumericType& type,
                   std::vector<Formula>& bounds) {
  if (type.has_lower_bound()) {
    const Formula lower = factory.make_rational_constant(rational(type.lower_bound()));
    bounds.push_back(factory.make_ge(variable, lower));
  }
  if (type.has_upper_bound()) {
    const Formula upper = factory.make_rational_constant(rational(type.upper_bound()));
    bounds.push_back(factory.make_le(variable, upper));
  }
}

}  // namespace

void SmtEncoder::add_domain_constraint(Formula variable, const model::Type& type) {
  std::vector<Formula> parts;
  if (type->is_integer()) {
    append_bounds(factory_, variable, model::as_integer_type(type), parts);
  } else if (type->is_rational()) {
    append_bounds(factory_, variable, model::as_rational_type(type), parts);
  } else if (type->is_user_defined()) {
    for (const auto& [name, instance] : problem_->instances(type)) {
      parts.push_back(factory_.make_equals(variable, instance_number(*instance)));
    }
    side_constraints_.push_back(disjunction(parts));
    return;
  }
  if (!parts.empty()) side_constraints_.push_back(conjunction(parts));
}

Formula SmtEncoder::time_variable(std::uint32_t k) {
  while (times_.size() <= k) {
    const std::size_t step = times_.size();
    times_.push_back(step == 0 ? factory_.make_rational_constant(0)
                               : named_variable("t_" + std::to_string(step), factory_.real_type()));
  }
  return times_[k];
}

Formula SmtEncoder::end_time() {
  if (!statement_times_.asks_exact_end) return time_variable(horizon_ - 1);
  if (end_ == nullptr) end_ = named_variable("t_end", factory_.real_type());
  return end_;
}

Formula SmtEncoder::time_point(const EncodingContext& context, Expression time) {
  const Formula point = to_formula(context, time);
  if (point == nullptr) {
    throw InternalError() << "Found an expression that has no value: " << print_expression(time);
  }
  if (context.action == nullptr || is_anchored(time)) return point;
  return factory_.make_plus(time_variable(context.action_step), point);
}

bool SmtEncoder::lands_at_first_step(const model::ActionImpl* action, Expression time) {
  return action == nullptr && statement_times_.asks_first_instant &&
         is_at_start(environment().expression_factory(), time);
}

Formula SmtEncoder::action_variable(const model::ActionImpl& action, std::uint32_t k) {
  Formula& variable = variables_[{&action, nullptr, k}];
  if (variable == nullptr) {
    variable = named_variable("action_" + action.name() + "_" + std::to_string(k),
                              factory_.boolean_type());
  }
  return variable;
}

namespace {

// Whether a statement about the duration divides by means of constants: the number that a
// constant stands for no longer tells whether it is an integer or a rational that happens to be
// whole, and so not which quotient is meant. Such a duration is a variable.
bool divides_constants(const model::ActionImpl& action) {
  std::vector<Expression> todo;
  for (const Expression e : action.expressions()) {
    if (model::kind_of(e) != ExpressionKind::TEMPORAL_EXPR) todo.push_back(e);
  }
  std::unordered_set<Expression> seen;
  bool has_division = false;
  bool has_constant = false;
  while (!todo.empty()) {
    const Expression e = todo.back();
    todo.pop_back();
    if (!seen.insert(e).second) continue;
    const ExpressionKind kind = model::kind_of(e);
    has_division = has_division || kind == ExpressionKind::DIV;
    has_constant = has_constant || kind == ExpressionKind::CONSTANT_REF ||
                   kind == ExpressionKind::FLUENT_FUN_APPLY;
    todo.insert(todo.end(), e->children().begin(), e->children().end());
  }
  return has_division && has_constant;
}

}  // namespace

const rational* SmtEncoder::fixed_duration(const model::ActionImpl& action) {
  const auto [entry, is_new] = fixed_durations_.try_emplace(&action, nullptr);
  if (is_new) {
    model::ExpressionFactory& ef = environment().expression_factory();
    const model::Action& shared = problem_->actions().at(action.name());
    if (divides_constants(*shared)) return nullptr;
    if (const Expression fixed = get_fixed_duration(environment(), ef, shared)) {
      entry->second = factory_.make_rational_constant(ef.get_number(fixed));
    }
  }
  return entry->second == nullptr ? nullptr : &factory_.get_rational_constant(entry->second);
}

Formula SmtEncoder::duration_term(const model::ActionImpl& action, std::uint32_t k) {
  if (fixed_duration(action) != nullptr) return fixed_durations_.at(&action);
  Formula& variable = variables_[{&action, this, k}];
  if (variable == nullptr) {
    variable =
        named_variable("dur_" + action.name() + "_" + std::to_string(k), factory_.real_type());
    const Formula zero = factory_.make_rational_constant(0);
    side_constraints_.push_back(factory_.make_ge(variable, zero));
  }
  return variable;
}

// Free where the action does not start at k: nothing else mentions it there.
Formula SmtEncoder::parameter_variable(const model::ParameterImpl& parameter,
                                       const model::ActionImpl& action, std::uint32_t k) {
  Formula& variable = variables_[{&parameter, &action, k}];
  if (variable == nullptr) {
    const model::Type type = parameter.type();
    const SmtType* variable_type = smt_type(type);
    variable = named_variable(
        "param_" + action.name() + "_" + parameter.name() + "_" + std::to_string(k), variable_type);
    add_domain_constraint(variable, type);
  }
  return variable;
}

Formula SmtEncoder::fluent_variable(Expression fluent, std::uint32_t k) {
  Formula& variable = variables_[{fluent, nullptr, k}];
  if (variable == nullptr) {
    const model::ExpressionFactory& ef = environment().expression_factory();
    const Expression reference =
        ef.is_functional_apply(fluent) ? ef.get_reference_from_functional_apply(fluent) : fluent;
    const model::Fluent declaration = ef.get_fluent_from_reference(reference);
    std::ostringstream name;
    name << "fluent_" << declaration->name();
    if (ef.is_functional_apply(fluent)) {
      for (const Expression argument : fluent->children())
        name << '_' << print_expression(argument);
    }
    name << '_' << k;
    const model::Type type = declaration->type();
    const SmtType* variable_type = smt_type(type);
    variable = named_variable(name.str(), variable_type);
    add_domain_constraint(variable, type);
  }
  return variable;
}

Formula SmtEncoder::is_set_variable(Expression fluent, std::uint32_t k) {
  Formula& variable = variables_[{fluent, definedness_.get(), k}];
  if (variable == nullptr) {
    std::ostringstream name;
    name << "is_set_" << print_expression(fluent) << '_' << k;
    variable = named_variable(name.str(), factory_.boolean_type());
  }
  return variable;
}

Formula SmtEncoder::chosen_time(Expression labelled) {
  Formula& variable = variables_[{labelled, nullptr, 0}];
  if (variable == nullptr) {
    const model::ExpressionFactory& ef = environment().expression_factory();
    const std::string& label = ef.get_label_from_contains(labelled->child(0));
    variable = named_variable("t_" + label, factory_.real_type());
  }
  return variable;
}

Formula SmtEncoder::instance_number(const model::InstanceImpl& instance) const {
  const auto found = instance_numbers_.find(&instance);
  if (found == instance_numbers_.end()) {
    throw InternalError() << "Found an instance '" << instance.name()
                          << "' that has not been translated";
  }
  return found->second;
}

model::Instance SmtEncoder::instance_of_number(Formula number) const {
  const auto found = instances_.find(number);
  return found == instances_.end() ? nullptr : found->second;
}

model::DomainProduct SmtEncoder::tuples_of(const model::FluentImpl& fluent) const {
  for (const model::Parameter& p : fluent.parameters()) {
    if (!p->type()->is_finite_domain()) {
      throw InternalError() << "Unsupported infinite-domain parameter: " << p->name();
    }
  }
  return model::DomainProduct(domains_, fluent.parameters());
}

std::vector<Formula> SmtEncoder::formulas_of(const std::vector<Expression>& values) {
  std::vector<Formula> formulas;
  formulas.reserve(values.size());
  for (const Expression value : values) formulas.push_back(to_formula({}, value));
  return formulas;
}

// --- formulas of expressions ---

// A formula is kept under what its expression depends on, and only that: the step of the state it
// reads, the step of its arguments, the action with the step of its start. An entry that depends on
// the horizon lives in a memo of its own, which is emptied with each `encode`. So two horizons
// share all but what mentions the end.

unsigned SmtEncoder::dependencies(Expression e, const model::ActionImpl* action) const {
  const unsigned all = (*dependency_walker_)(e);
  if (model::kind_of(e) == ExpressionKind::TEMPORAL_EXPR) return all;
  // Within an action, `end` is its own end; outside, it is the last step's time.
  return action != nullptr ? all & ~HORIZON : all & ~ACTION;
}

std::pair<SmtEncoder::Memo*, SmtEncoder::MemoKey> SmtEncoder::memo_place(
    const EncodingContext& context, Expression e) {
  const unsigned depends_on = dependencies(e, context.action);
  MemoKey key{nullptr, e, 0, 0, 0};
  if ((depends_on & STATE) != 0) key.state_step = context.state_step;
  if ((depends_on & INDEX) != 0) key.index_step = context.index_step;
  if ((depends_on & ACTION) != 0) {
    key.action = context.action;
    key.action_step = context.action_step;
  }
  return {(depends_on & HORIZON) != 0 ? &horizon_memo_ : &memo_, key};
}

Formula SmtEncoder::to_formula(const EncodingContext& context, Expression e) {
  const auto [memo, key] = memo_place(context, e);
  if (const auto found = memo->find(key); found != memo->end()) return found->second;
  return ToSmtWalker(*this, context)(e);
}

SmtEncoder::Equalities SmtEncoder::equalities(const std::vector<Formula>& left,
                                              const std::vector<Formula>& right) {
  assert(left.size() == right.size() && "arguments of one fluent");
  Equalities result;
  for (std::size_t i = 0; i < left.size() && i < right.size(); ++i) {
    if (!factory_.is_constant(left[i]) || !factory_.is_constant(right[i])) {
      result.needed.push_back(factory_.make_equals(right[i], left[i]));
    } else if (left[i] != right[i]) {
      result.contradictory = true;
      return result;
    }
  }
  return result;
}

Formula SmtEncoder::conjunction(const std::vector<Formula>& list) {
  return list.size() == 1 ? list.front() : factory_.make_and(list);
}

Formula SmtEncoder::disjunction(const std::vector<Formula>& list) {
  return list.size() == 1 ? list.front() : factory_.make_or(list);
}

// --- the encoding ---

// A model of the encoding of h steps is a plan whose changes after the first moment fall on fewer
// than h others, with at most one start of an action at each. It is bounded temporal planning as
// satisfiability, with times as real variables (Shin and Davis, "Processes and continuous change in
// a SAT-based planner", AIJ 2005), and explains changes instead of saying what stays (explanatory
// frame axioms: Haas 1987; Kautz, McAllester and Selman, KR 1996).
void SmtEncoder::encode(std::size_t h, SmtSolver& solver) {
  assert(h >= 1 && "step 0 holds the initial state");
  horizon_ = static_cast<std::uint32_t>(h);
  horizon_memo_.clear();
  num_assertions_ = 0;
  encode_time_order(solver);
  encode_problem_expressions(solver);
  encode_actions(solver);
  encode_end(solver);
  encode_frame_axioms(solver);
  if (moving_targets_ != nullptr) moving_targets_->keep_apart(solver);
  // By number: asserting may make variables, whose constraints come after.
  for (std::size_t i = 0; i < side_constraints_.size(); ++i) {
    assert_formula(solver, side_constraints_[i]);
  }
}

void SmtEncoder::assert_formula(SmtSolver& solver, Formula f) {
  assert(f != nullptr);
  solver.assert_formula(f);
  ++num_assertions_;
}

// t_0 < t_1 < ... < t_(h-1). Where a statement of the problem asks for the very first moment, step
// 1 may lie at 0 as well: the effects of time 0 are then seen after it.
//   t_k < t_(k+1)        t_0 <= t_1
void SmtEncoder::encode_time_order(SmtSolver& solver) {
  for (std::uint32_t k = 0; k + 1 < horizon_; ++k) {
    const Formula earlier = time_variable(k);
    const Formula later = time_variable(k + 1);
    // Of two steps the later is the end of the plan, which lies after 0.
    if (k == 0 && horizon_ > 2 && statement_times_.asks_first_instant) {
      assert_formula(solver, factory_.make_le(earlier, later));
      continue;
    }
    assert_formula(solver, factory_.make_lt(earlier, later));
  }
}

// Goals, initial values and timed effects of the problem, each as the conditions that it is. What
// an effect changes is left to the frame axioms; here it is only said that its moment is a step.
void SmtEncoder::encode_problem_expressions(SmtSolver& solver) {
  model::ExpressionFactory& ef = environment().expression_factory();
  for (const Expression e : problem_->expressions()) {
    Expression statement = e;
    if (!ef.is_temporal_expression(e) && !ef.is_assign(e) && !ef.is_boolean_constant(e)) {
      // A goal without a time is one at the end.
      const Expression end = ef.make_point_interval(ef.make_end_anchor());
      statement = ef.make_temporal_expression(end, e);
    }
    if (const Formula f = to_formula({}, statement)) assert_formula(solver, f);
  }
  encode_label_orderings(solver);
}

void SmtEncoder::encode_label_orderings(SmtSolver& solver) {
  for (const auto& [first, second] : problem_->labels_orderings()) {
    if (!is_chosen(first) || !is_chosen(second)) continue;
    const Formula earlier = chosen_time(first);
    const Formula later = chosen_time(second);
    assert_formula(solver, factory_.make_lt(earlier, later));
  }
}

// Conditions over intervals range over all steps, so that one implication says what a start asks:
//   action_A_i  ->  and of the statements of A, with its start at t_i
void SmtEncoder::encode_actions(SmtSolver& solver) {
  for (const auto& [name, action] : problem_->actions()) {
    for (std::uint32_t i = 1; i < horizon_; ++i) {
      std::vector<Formula> parts;
      for (const Expression e : action->expressions()) {
        if (const Formula f = action_statement(*action, i, e)) parts.push_back(f);
      }
      const rational* duration = fixed_duration(*action);
      if (duration != nullptr && *duration < 0) {
        parts.push_back(factory_.make_boolean_constant(false));
      }
      const Formula started = action_variable(*action, i);
      assert_formula(solver, factory_.make_implies(started, conjunction(parts)));
    }
  }
}

Formula SmtEncoder::action_statement(const model::ActionImpl& action, std::uint32_t i,
                                     Expression e) {
  const model::ExpressionFactory& ef = environment().expression_factory();
  if (ef.is_temporal_expression(e)) return to_formula({&action, i, i, i}, e);
  // Without a time it is asked what holds when the action starts, before its effects.
  const EncodingContext before{&action, i - 1, i, i - 1};
  if (!ef.is_assign(e)) {
    return definedness_->can_fail(e) ? definedness_->holds(before, e) : to_formula(before, e);
  }
  const Formula assigned = to_formula({&action, i, i, i}, e);
  const Formula has_value = definedness_->has_value(before, e->child(1));
  return has_value == nullptr ? assigned : factory_.make_and(assigned, has_value);
}

// The end H lies one time unit after the last end of a step and the last effect of one:
//   action_A_i  ->  H >= p + 1           for each point p of A: its end, its later effects
//   or over (A, i, p) of (action_A_i and H == p + 1), or (no action starts and H == 1)
//   t_(h-1) >= H
// Only where some statement asks for the exact end; else any end after the last change will do, and
// it is the last step.
void SmtEncoder::encode_end(SmtSolver& solver) {
  if (!statement_times_.asks_exact_end) return;
  const Formula end = end_time();
  const Formula unit = factory_.make_rational_constant(1);
  std::vector<Formula> none_started;
  std::vector<Formula> lasts;
  for (const auto& [name, action] : problem_->actions()) {
    std::vector<Expression> times{environment().expression_factory().make_end_anchor()};
    for (const auto& [fluent_name, fluent] : problem_->fluents()) {
      const auto effects = effects_by_fluent_.find(fluent.get());
      if (effects == effects_by_fluent_.end()) continue;
      for (const Effect& effect : effects->second) {
        const bool may_be_later = model::kind_of(effect.timing()) != ExpressionKind::START &&
                                  model::kind_of(effect.timing()) != ExpressionKind::END;
        if (effect.action() == action && may_be_later) times.push_back(effect.timing());
      }
    }
    for (std::uint32_t i = 1; i < horizon_; ++i) {
      const Formula started = action_variable(*action, i);
      none_started.push_back(factory_.make_not(started));
      for (const Expression time : times) {
        const Formula point = time_point({action.get(), i, i, i}, time);
        const Formula after = factory_.make_plus(point, unit);
        const Formula is_later = factory_.make_ge(end, after);
        assert_formula(solver, factory_.make_implies(started, is_later));
        const Formula is_last = factory_.make_equals(end, after);
        lasts.push_back(factory_.make_and(started, is_last));
      }
    }
  }
  const Formula is_unit = factory_.make_equals(end, unit);
  none_started.push_back(is_unit);
  lasts.push_back(conjunction(none_started));
  assert_formula(solver, disjunction(lasts));
  assert_formula(solver, factory_.make_ge(time_variable(horizon_ - 1), end));
}

// For each ground fluent f(v) and step i >= 1, with e_1, ..., e_n the ways in which an effect may
// reach it at this step:
//   fluent_f_v_(i-1) != fluent_f_v_i  ->  e_1 or ... or e_n
//   not (e_j and e_k)                      for j < k
// The second line is the rule that two effects may not meet on one fluent at one instant, even with
// equal values. Its number grows with the square of the ways; they are few, since a way with
// another constant argument is left out.
void SmtEncoder::encode_frame_axioms(SmtSolver& solver) {
  static const std::vector<Effect> no_effects;
  model::ExpressionFactory& ef = environment().expression_factory();
  for (const auto& [name, fluent] : problem_->fluents()) {
    const auto found = effects_by_fluent_.find(fluent.get());
    const std::vector<Effect>& effects =
        found == effects_by_fluent_.end() ? no_effects : found->second;
    const Expression reference = ef.make_fluent_reference(fluent);
    const model::DomainProduct tuples = tuples_of(*fluent);
    for (std::size_t index = 0; index < tuples.size(); ++index) {
      const std::vector<Expression> tuple = tuples.combination(index);
      const Expression ground =
          fluent->has_parameters() ? ef.make_functional_apply(reference, tuple) : reference;
      const std::vector<Formula> tuple_formulas = formulas_of(tuple);
      for (std::uint32_t i = 1; i < horizon_; ++i) {
        encode_frame_axiom(solver, ground, i, effects, tuple_formulas);
      }
    }
  }
}

void SmtEncoder::encode_frame_axiom(SmtSolver& solver, Expression fluent, std::uint32_t i,
                                    const std::vector<Effect>& effects,
                                    const std::vector<Formula>& tuple) {
  assert(i >= 1 && i < horizon_);
  const Formula before = fluent_variable(fluent, i - 1);
  const Formula after = fluent_variable(fluent, i);
  const Formula unchanged = factory_.make_equals(before, after);
  // The end of the plan is the time of the last step, whose effects no statement would see: a plan
  // could undo its goal there.
  if (i + 1 == horizon_ && !statement_times_.asks_exact_end) assert_formula(solver, unchanged);
  std::vector<Formula> alternatives;
  for (const Effect& effect : effects) add_alternatives(alternatives, effect, i, tuple);
  definedness_->explain(solver, fluent, i, alternatives);
  if (alternatives.empty()) {
    // not (not (before == after))
    assert_formula(solver, factory_.make_not(factory_.make_not(unchanged)));
    return;
  }
  const Formula changed = factory_.make_not(unchanged);
  const Formula explained = disjunction(alternatives);
  assert_formula(solver, factory_.make_implies(changed, explained));
  for (std::size_t first = 0; first < alternatives.size(); ++first) {
    for (std::size_t second = first + 1; second < alternatives.size(); ++second) {
      // By position: two alternatives that are one formula exclude each other too.
      const Formula both = factory_.make_and(alternatives[first], alternatives[second]);
      assert_formula(solver, factory_.make_not(both));
    }
  }
}

// How `effect` may come to f(v) at step i, for each step a at which its action may have started:
//   action_A_a  and  t_i == time of the effect  and  v == its arguments, read at i - 1
void SmtEncoder::add_alternatives(std::vector<Formula>& alternatives, const Effect& effect,
                                  std::uint32_t i, const std::vector<Formula>& tuple) {
  const model::ActionImpl* action = effect.action().get();
  // An effect at the start of an action lands on the step of that very start.
  const bool at_start =
      action != nullptr && model::kind_of(effect.timing()) == ExpressionKind::START;
  if (lands_at_first_step(action, effect.timing())) return;
  const std::uint32_t first = action == nullptr ? 0 : at_start ? i : 1;
  const std::uint32_t last = action == nullptr ? 0 : i;
  for (std::uint32_t a = first; a <= last; ++a) {
    std::vector<Formula> arguments;
    for (const Expression argument : effect.actual_parameters()) {
      arguments.push_back(to_formula({action, i - 1, a, i - 1}, argument));
    }
    Equalities match = equalities(tuple, arguments);
    if (match.contradictory) continue;
    std::vector<Formula> parts = std::move(match.needed);
    // At the start of the action that starts here, t_i == t_i holds by itself.
    if (!at_start) {
      const Formula point = time_point({action, i, a, i}, effect.timing());
      parts.push_back(factory_.make_equals(time_variable(i), point));
    }
    if (action != nullptr) parts.push_back(action_variable(*action, a));
    alternatives.push_back(conjunction(parts));
  }
}

}  // namespace kelvo::smt
