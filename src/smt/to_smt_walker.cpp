#include "smt/to_smt_walker.h"

#include <algorithm>

#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/print_expression.h"
#include "model/timed_effect.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "smt/definedness.h"
#include "smt/statement_times.h"

namespace kelvo::smt {

using model::Expression;
using model::print_expression;
using ExpressionKind = model::ExpressionOperatorKind;

const Formula& ToSmtWalker::memoized_value(Expression e) const {
  const auto [memo, key] = encoder_.memo_place(context_, e);
  const auto found = memo->find(key);
  if (found == memo->end()) {
    throw InternalError() << "Unexplored expression queried to 'memoized_value': "
                          << print_expression(e);
  }
  return found->second;
}

void ToSmtWalker::do_memoize_value(Expression e, Formula value) const {
  const auto [memo, key] = encoder_.memo_place(context_, e);
  memo->try_emplace(key, value);
}

bool ToSmtWalker::is_memoized(Expression e) const {
  const auto [memo, key] = encoder_.memo_place(context_, e);
  return memo->contains(key);
}

bool ToSmtWalker::walks_children(Expression e) const {
  switch (model::kind_of(e)) {
    case ExpressionKind::ASSIGN:
    case ExpressionKind::IN_ASSIGN:
    case ExpressionKind::INTERVAL:
    case ExpressionKind::CONTAINS:
    case ExpressionKind::TEMPORAL_EXPR:
      return false;  // their children are read at other steps
    case ExpressionKind::FLUENT_FUN_APPLY:
      // Arguments are read at the index step. Within arguments that is this context again.
      return context_.state_step == context_.index_step;
    default:
      return true;
  }
}

Formula ToSmtWalker::child_value(Expression e, std::size_t i) const {
  const Formula value = memoized_value(e->child(i));
  if (value == nullptr) {
    throw InternalError() << "Found an expression that has no value: "
                          << print_expression(e->child(i));
  }
  return value;
}

Formula ToSmtWalker::at_step(Expression e, std::uint32_t step) const {
  const Formula f = encoder_.to_formula({context_.action, step, context_.action_step, step}, e);
  if (f == nullptr) {
    throw InternalError() << "Found an expression that has no value: " << print_expression(e);
  }
  return f;
}

// Boolean and arithmetic operators.

Formula ToSmtWalker::binary(Expression e, BinaryBuilder make) const {
  const Formula left = child_value(e, 0);
  const Formula right = child_value(e, 1);
  return (factory_.*make)(left, right);
}

Formula ToSmtWalker::fold(Expression e, BinaryBuilder make, ListBuilder make_list) const {
  if (e->arity() == 0) return (factory_.*make_list)(Formulas());
  Formula result = child_value(e, 0);
  for (std::size_t i = 1; i < e->arity(); ++i) result = (factory_.*make)(result, child_value(e, i));
  return result;
}

Formula ToSmtWalker::walk_and(Expression e) const {
  return fold(e, &SmtFactory::make_and, &SmtFactory::make_and);
}

Formula ToSmtWalker::walk_or(Expression e) const {
  return fold(e, &SmtFactory::make_or, &SmtFactory::make_or);
}

Formula ToSmtWalker::walk_times(Expression e) const {
  return fold(e, &SmtFactory::make_times, &SmtFactory::make_times);
}

Formula ToSmtWalker::walk_plus(Expression e) const {
  return fold(e, &SmtFactory::make_plus, &SmtFactory::make_plus);
}

Formula ToSmtWalker::walk_not(Expression e) const {
  return factory_.make_not(child_value(e, 0));
}

Formula ToSmtWalker::walk_imply(Expression e) const {
  return binary(e, &SmtFactory::make_implies);
}

Formula ToSmtWalker::walk_iff(Expression e) const {
  return binary(e, &SmtFactory::make_iff);
}

Formula ToSmtWalker::walk_equals(Expression e) const {
  return binary(e, &SmtFactory::make_equals);
}

Formula ToSmtWalker::walk_lt(Expression e) const {
  return binary(e, &SmtFactory::make_lt);
}

Formula ToSmtWalker::walk_le(Expression e) const {
  return binary(e, &SmtFactory::make_le);
}

Formula ToSmtWalker::walk_gt(Expression e) const {
  return binary(e, &SmtFactory::make_gt);
}

Formula ToSmtWalker::walk_ge(Expression e) const {
  return binary(e, &SmtFactory::make_ge);
}

Formula ToSmtWalker::walk_div(Expression e) const {
  const Formula dividend = child_value(e, 0);
  const Formula divisor = child_value(e, 1);
  return encoder_.quotients().quotient(environment(), e, dividend, divisor);
}

Formula ToSmtWalker::walk_minus(Expression e) const {
  return binary(e, &SmtFactory::make_minus);
}

// What the encoding does not treat.

namespace {

[[noreturn]] void refuse_set_operator() {
  throw InternalError("Set operators are not supported");
}

}  // namespace

Formula ToSmtWalker::walk_in(Expression) const {
  refuse_set_operator();
}
Formula ToSmtWalker::walk_subset(Expression) const {
  refuse_set_operator();
}
Formula ToSmtWalker::walk_union(Expression) const {
  refuse_set_operator();
}
Formula ToSmtWalker::walk_intersection(Expression) const {
  refuse_set_operator();
}
Formula ToSmtWalker::walk_difference(Expression) const {
  refuse_set_operator();
}
Formula ToSmtWalker::walk_set_constant(Expression) const {
  throw InternalError("Sets are not supported");
}
Formula ToSmtWalker::walk_dot(Expression) const {
  throw InternalError("The model is assumed to be flat");
}
Formula ToSmtWalker::walk_unresolved_symbol(Expression) const {
  throw InternalError("The model is assumed to be resolved");
}
Formula ToSmtWalker::walk_label_reference(Expression) const {
  throw InternalError("Label is not supported");
}
Formula ToSmtWalker::walk_action_status_is(Expression) const {
  throw InternalError("Action status is not supported");
}

// Leaves.

Formula ToSmtWalker::walk_true(Expression) const {
  return factory_.make_boolean_constant(true);
}

Formula ToSmtWalker::walk_false(Expression) const {
  return factory_.make_boolean_constant(false);
}

Formula ToSmtWalker::walk_rational_constant(Expression e) const {
  return factory_.make_rational_constant(
      environment().expression_factory().get_rational_constant(e));
}

Formula ToSmtWalker::walk_integer_constant(Expression e) const {
  return factory_.make_rational_constant(environment().expression_factory().get_number(e));
}

Formula ToSmtWalker::walk_start(Expression) const {
  if (context_.action == nullptr) return factory_.make_rational_constant(0);
  return encoder_.time_variable(context_.action_step);
}

Formula ToSmtWalker::walk_end(Expression) const {
  if (context_.action == nullptr) return encoder_.end_time();
  const Formula start = encoder_.time_variable(context_.action_step);
  const Formula duration = encoder_.duration_term(*context_.action, context_.action_step);
  return factory_.make_plus(start, duration);
}

Formula ToSmtWalker::walk_duration(Expression e) const {
  if (context_.action == nullptr) {
    throw InternalError() << "Found a duration outside of an action: " << print_expression(e);
  }
  return encoder_.duration_term(*context_.action, context_.action_step);
}

Formula ToSmtWalker::walk_fluent_reference(Expression e) const {
  // Only an application reads the reference of a fluent with parameters.
  if (environment().expression_factory().get_fluent_from_reference(e)->has_parameters()) {
    return nullptr;
  }
  return encoder_.fluent_variable(e, context_.state_step);
}

Formula ToSmtWalker::walk_constant_reference(Expression e) const {
  const model::Constant constant =
      environment().expression_factory().get_constant_from_reference(e);
  if (constant->has_parameters()) return nullptr;
  const model::FunctionValue value = constant->value();
  const Expression text = value == nullptr ? nullptr : value->default_value();
  if (text == nullptr) {
    throw InvalidParameterError() << "Found uninitialized constant in the model: "
                                  << print_expression(e);
  }
  return encoder_.to_formula({}, text);
}

Formula ToSmtWalker::walk_parameter_reference(Expression e) const {
  const model::Parameter parameter =
      environment().expression_factory().get_parameter_from_reference(e);
  if (context_.action == nullptr) {
    throw InternalError() << "Found a parameter outside of an action: " << parameter->name();
  }
  return encoder_.parameter_variable(*parameter, *context_.action, context_.action_step);
}

Formula ToSmtWalker::walk_instance_reference(Expression e) const {
  return encoder_.instance_number(
      *environment().expression_factory().get_instance_from_reference(e));
}

Formula ToSmtWalker::walk_in_assign(Expression) const {
  return nullptr;
}
Formula ToSmtWalker::walk_interval(Expression) const {
  return nullptr;
}
Formula ToSmtWalker::walk_contains(Expression) const {
  return nullptr;
}

// Assignments and applications.

Formula ToSmtWalker::walk_assign(Expression e) const {
  const std::uint32_t before = context_.state_step == 0 ? 0 : context_.state_step - 1;
  const Formula left = encoder_.to_formula(
      {context_.action, context_.state_step, context_.action_step, before}, e->child(0));
  const Formula right = at_step(e->child(1), before);
  return factory_.make_equals(left, right);
}

Formula ToSmtWalker::walk_functional_apply(Expression e) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  Formulas arguments;
  for (const Expression argument : e->children()) {
    arguments.push_back(at_step(argument, context_.index_step));
  }
  const Expression reference = ef.get_reference_from_functional_apply(e);
  if (ef.is_fluent_reference(reference)) return fluent_application(reference, arguments);
  if (ef.is_constant_reference(reference)) return constant_application(e, reference, arguments);
  throw InvalidParameterError() << "Unhandled reference found in the model: "
                                << print_expression(e);
}

Formula ToSmtWalker::fluent_application(Expression reference, const Formulas& arguments) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  const model::Fluent fluent = ef.get_fluent_from_reference(reference);
  if (fluent->arity() != arguments.size()) {
    throw InternalError() << "Found a fluent function applied to parameters that do not match the "
                             "formal specification: "
                          << fluent->name();
  }
  if (!fluent->has_parameters()) return encoder_.fluent_variable(reference, context_.state_step);
  const model::DomainProduct tuples = encoder_.tuples_of(*fluent);
  for (const model::Parameter& parameter : fluent->parameters()) {
    if (encoder_.domains().size(parameter->type()) == 0) {
      throw InternalError() << "A parameter have no possible instances: " << parameter->name()
                            << " in fluent " << fluent->name();
    }
  }
  const auto variable_of = [&](const std::vector<Expression>& tuple) {
    const Expression application = ef.make_functional_apply(reference, tuple);
    return encoder_.fluent_variable(application, context_.state_step);
  };
  const bool all_constant =
      std::ranges::all_of(arguments, [&](Formula f) { return factory_.is_constant(f); });
  Formula result = nullptr;
  for (std::size_t index = 0; index < tuples.size(); ++index) {
    const std::vector<Expression> tuple = tuples.combination(index);
    const SmtEncoder::Equalities match =
        encoder_.equalities(encoder_.formulas_of(tuple), arguments);
    const bool exact = !match.contradictory && match.needed.empty();
    // With constant arguments only the one tuple that matches can become the result.
    if (all_constant && !exact) continue;
    if (exact) return variable_of(tuple);
    if (result == nullptr) {
      result = variable_of(tuple);
    } else if (!match.contradictory) {
      result = factory_.make_ite(encoder_.conjunction(match.needed), variable_of(tuple), result);
    }
  }
  // Constant arguments outside the domain read the default branch, the first tuple.
  if (result == nullptr) result = variable_of(tuples.combination(0));
  return result;
}

Formula ToSmtWalker::constant_application(Expression e, Expression reference,
                                          const Formulas& arguments) const {
  const model::Constant constant =
      environment().expression_factory().get_constant_from_reference(reference);
  const model::FunctionValue value = constant->value();
  if (value == nullptr || !value->has_assignments()) {
    throw InvalidParameterError() << "Found uninitialized constant in the model: "
                                  << print_expression(e);
  }
  // The entries with more arguments are wrapped around those with fewer, which are defaults.
  Formula result = nullptr;
  for (const auto& [key, entry] : value->sorted_assignments()) {
    const Formula entry_value = encoder_.to_formula({}, entry);
    if (result == nullptr) result = entry_value;
    const Formulas prefix(
        arguments.begin(),
        arguments.begin() + static_cast<std::ptrdiff_t>(std::min(key.size(), arguments.size())));
    const SmtEncoder::Equalities match = encoder_.equalities(encoder_.formulas_of(key), prefix);
    if (match.contradictory) continue;
    result = match.needed.empty()
                 ? entry_value
                 : factory_.make_ite(encoder_.conjunction(match.needed), entry_value, result);
  }
  LOG(LogLevel::DEBUG) << "FF Constant: " << print_expression(e) << " -> " << print_formula(result);
  return result;
}

// Timed statements.

Formula ToSmtWalker::walk_temporal_expression(Expression e) const {
  const Expression interval = e->child(0);
  const Expression body = e->child(1);
  if (is_effect(environment().expression_factory(), body)) return timed_effect(interval, body);
  if (environment().expression_factory().is_contains(interval)) {
    return contained_condition(e);
  }
  return timed_condition(e);
}

Formula ToSmtWalker::last_time() const {
  return encoder_.time_variable(encoder_.horizon() - 1);
}

std::uint32_t ToSmtWalker::first_step_with_predecessor() const {
  return std::max<std::uint32_t>(context_.action_step, 1);
}

Formula ToSmtWalker::timed_effect(Expression interval, Expression body) const {
  if (!environment().expression_factory().is_point_interval(interval)) {
    throw InternalError("Effects on non-point intervals are not supported");
  }
  const Formula point = encoder_.time_point(context_, interval->child(0));
  const std::uint32_t end =
      encoder_.lands_at_first_step(context_.action, interval->child(0)) ? 1 : encoder_.horizon();
  Formulas landings;
  for (std::uint32_t k = context_.action_step; k < end; ++k) {
    Formulas parts;
    parts.push_back(factory_.make_equals(encoder_.time_variable(k), point));
    parts.push_back(at_step(body, k));
    const std::uint32_t before = k == 0 ? 0 : k - 1;
    const EncodingContext read{context_.action, before, context_.action_step, before};
    if (const Formula can_assign = encoder_.definedness().can_assign(read, body)) {
      parts.push_back(can_assign);
    }
    landings.push_back(factory_.make_and(parts));
  }
  return encoder_.disjunction(landings);
}

Formula ToSmtWalker::holds_at(Expression condition, std::uint32_t step) const {
  if (!encoder_.definedness().can_fail(condition)) return at_step(condition, step);
  return encoder_.definedness().holds({context_.action, step, context_.action_step, step},
                                      condition);
}

ToSmtWalker::Span ToSmtWalker::span_of(Expression interval) const {
  const EncodingContext context{context_.action, context_.action_step, context_.action_step,
                                context_.action_step};
  const Formula lower = encoder_.time_point(context, interval->child(0));
  const Formula upper =
      interval->arity() == 1 ? nullptr : encoder_.time_point(context, interval->child(1));
  return {lower, upper};
}

Formula ToSmtWalker::not_empty(const TimedStatement& statement, const Span& span) const {
  const bool is_closed = statement.left_closed && statement.right_closed;
  switch (
      extent_of(environment(), statement, context_.action,
                context_.action == nullptr ? nullptr : encoder_.fixed_duration(*context_.action))) {
    case Extent::NEVER_EMPTY:
      return nullptr;
    case Extent::ALWAYS_EMPTY:
      return factory_.make_boolean_constant(false);
    case Extent::PERHAPS_EMPTY:
      break;
  }
  return is_closed ? factory_.make_le(span.lower, span.upper)
                   : factory_.make_lt(span.lower, span.upper);
}

Formula ToSmtWalker::in_force_at_lower(const Span& span, bool left_open, std::uint32_t k) const {
  const Formula before = encoder_.time_variable(k - 1);
  const Formula here = encoder_.time_variable(k);
  const Formula begins =
      left_open ? factory_.make_le(before, span.lower) : factory_.make_lt(before, span.lower);
  const Formula reaches =
      left_open ? factory_.make_gt(here, span.lower) : factory_.make_ge(here, span.lower);
  return factory_.make_and(begins, reaches);
}

Formula ToSmtWalker::begins_inside(const Span& span, bool left_open, std::uint32_t k) const {
  const Formula here = encoder_.time_variable(k);
  const Formula before_end = factory_.make_lt(here, span.upper);
  const Formula behind_start =
      left_open ? factory_.make_gt(here, span.lower) : factory_.make_ge(here, span.lower);
  return factory_.make_and(before_end, behind_start);
}

Formula ToSmtWalker::timed_condition(Expression e) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  const Expression interval = e->child(0);
  const Expression body = e->child(1);
  if (!ef.is_interval(interval)) {
    throw InternalError("Unreachable code: unexpected type of interval found");
  }
  const Span span = span_of(interval);
  const bool left_open = ef.is_open_interval(interval) || ef.is_left_open_interval(interval);
  const bool is_point = span.upper == nullptr;
  const Formula guard = not_empty(decompose_statement(e), span);
  if (guard != nullptr && factory_.is_boolean_constant(guard)) return factory_.make_not(guard);
  Formulas parts;
  parts.push_back(factory_.make_ge(last_time(), is_point ? span.lower : span.upper));
  for (std::uint32_t k = first_step_with_predecessor(); k < encoder_.horizon(); ++k) {
    const Formula in_force = in_force_at_lower(span, left_open, k);
    const Formula holds = holds_at(body, k - 1);
    parts.push_back(factory_.make_implies(in_force, holds));
  }
  if (!is_point) {
    for (std::uint32_t k = context_.action_step; k < encoder_.horizon(); ++k) {
      const Formula inside = begins_inside(span, left_open, k);
      const Formula holds = holds_at(body, k);
      parts.push_back(factory_.make_implies(inside, holds));
    }
  }
  if (!left_open) {
    const Formula at_beginning = factory_.make_equals(span.lower, encoder_.time_variable(0));
    const Formula holds = holds_at(body, 0);
    parts.push_back(factory_.make_implies(at_beginning, holds));
  }
  // There is no state before the plan.
  if (!is_never_negative(environment(), interval->child(0))) {
    parts.push_back(factory_.make_ge(span.lower, encoder_.time_variable(0)));
  }
  const Formula asked = factory_.make_and(parts);
  return guard == nullptr ? asked : factory_.make_implies(guard, asked);
}

Formula ToSmtWalker::contained_condition(Expression e) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  const Expression contains = e->child(0);
  const Expression body = e->child(1);
  if (contains->arity() == 2) throw InternalError("Unsupported contains with duration");
  const Expression interval = contains->child(0);
  if (ef.is_point_interval(interval)) {
    throw InternalError(
        "Malformed problem, no condition can be contained in a single-point interval.");
  }
  if (!ef.is_closed_interval(interval)) {
    throw InternalError("Unsupported contains on non-closed intervals");
  }
  const Span span = span_of(interval);
  if (context_.action == nullptr && encoder_.is_chosen(e)) {
    return chosen_moment(span, body, encoder_.chosen_time(e));
  }
  const Formula reach = factory_.make_ge(last_time(), span.upper);
  Formulas at_lower;
  for (std::uint32_t k = first_step_with_predecessor(); k < encoder_.horizon(); ++k) {
    const Formula in_force = in_force_at_lower(span, /*left_open=*/false, k);
    const Formula holds = holds_at(body, k - 1);
    at_lower.push_back(factory_.make_and(in_force, holds));
  }
  Formulas inside;
  for (std::uint32_t k = context_.action_step; k < encoder_.horizon(); ++k) {
    const Formula begins = begins_inside(span, /*left_open=*/false, k);
    const Formula holds = holds_at(body, k);
    inside.push_back(factory_.make_and(begins, holds));
  }
  const Formula some_at_lower = encoder_.disjunction(at_lower);
  const Formula some_inside = encoder_.disjunction(inside);
  const Formula in_force = factory_.make_and(reach, some_at_lower);
  const Formula begun = factory_.make_and(reach, some_inside);
  const Formula at_beginning = factory_.make_equals(span.lower, encoder_.time_variable(0));
  const Formula initially = factory_.make_and(at_beginning, holds_at(body, 0));
  const Formula met = factory_.make_or(in_force, begun, initially);
  const Formula guard = not_empty(decompose_statement(e), span);
  return guard == nullptr ? met : factory_.make_and(guard, met);
}

Formula ToSmtWalker::chosen_moment(const Span& span, Expression body, Formula moment) const {
  const Formula start = encoder_.time_variable(0);
  Formulas parts;
  parts.push_back(factory_.make_ge(moment, span.lower));
  parts.push_back(factory_.make_le(moment, span.upper));
  parts.push_back(factory_.make_ge(moment, start));
  parts.push_back(factory_.make_ge(last_time(), moment));
  for (std::uint32_t k = 1; k < encoder_.horizon(); ++k) {
    const Formula in_force = in_force_at_lower({moment, nullptr}, /*left_open=*/false, k);
    const Formula holds = holds_at(body, k - 1);
    parts.push_back(factory_.make_implies(in_force, holds));
  }
  const Formula at_beginning = factory_.make_equals(moment, start);
  const Formula holds = holds_at(body, 0);
  parts.push_back(factory_.make_implies(at_beginning, holds));
  return factory_.make_and(parts);
}

}  // namespace kelvo::smt
