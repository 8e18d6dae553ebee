#include "model/expression_identity.h"

#include <algorithm>
#include <vector>

#include "model/expression_factory.h"
#include "shell/environment.h"

namespace kelvo::model {

std::vector<Expression> ExpressionIdentity::walked_children(Expression e) const {
  std::vector<Expression> children;
  children.reserve(e->arity());
  for (const Expression child : e->children()) children.push_back(memoized_value(child));
  return children;
}

bool ExpressionIdentity::has_unchanged_children(Expression e) const {
  return std::ranges::all_of(e->children(),
                             [this](Expression child) { return memoized_value(child) == child; });
}

Expression ExpressionIdentity::walk_binary(Expression e, MakeBinary make) const {
  const Expression left = memoized_value(e->child(0));
  const Expression right = memoized_value(e->child(1));
  if (left == e->child(0) && right == e->child(1)) return e;
  return (environment().expression_factory().*make)(left, right);
}

Expression ExpressionIdentity::walk_and(Expression e) const {
  if (has_unchanged_children(e)) return e;
  return environment().expression_factory().make_and(walked_children(e));
}

Expression ExpressionIdentity::walk_or(Expression e) const {
  if (has_unchanged_children(e)) return e;
  return environment().expression_factory().make_or(walked_children(e));
}

namespace {

// Folds from the left through the binary form; lists of fewer than two stay as they are.
template <typename MakeBinary, typename MakeList>
Expression fold_left(const std::vector<Expression>& operands, MakeBinary make_binary,
                     MakeList make_list) {
  if (operands.size() < 2) return make_list(operands);
  Expression result = operands.front();
  for (std::size_t i = 1; i < operands.size(); ++i) result = make_binary(result, operands[i]);
  return result;
}

}  // namespace

Expression ExpressionIdentity::walk_times(Expression e) const {
  if (e->arity() <= 2 && has_unchanged_children(e)) return e;
  ExpressionFactory& ef = environment().expression_factory();
  return fold_left(
      walked_children(e), [&ef](Expression a, Expression b) { return ef.make_times(a, b); },
      [&ef](const std::vector<Expression>& v) { return ef.make_times(v); });
}

Expression ExpressionIdentity::walk_plus(Expression e) const {
  if (e->arity() <= 2 && has_unchanged_children(e)) return e;
  ExpressionFactory& ef = environment().expression_factory();
  return fold_left(
      walked_children(e), [&ef](Expression a, Expression b) { return ef.make_plus(a, b); },
      [&ef](const std::vector<Expression>& v) { return ef.make_plus(v); });
}

Expression ExpressionIdentity::walk_not(Expression e) const {
  if (has_unchanged_children(e)) return e;
  return environment().expression_factory().make_not(memoized_value(e->child(0)));
}

Expression ExpressionIdentity::walk_imply(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_imply);
}

Expression ExpressionIdentity::walk_iff(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_iff);
}

Expression ExpressionIdentity::walk_equals(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_equals);
}

Expression ExpressionIdentity::walk_lt(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_lt);
}

Expression ExpressionIdentity::walk_le(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_le);
}

Expression ExpressionIdentity::walk_gt(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_gt);
}

Expression ExpressionIdentity::walk_ge(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_ge);
}

Expression ExpressionIdentity::walk_div(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_div);
}

Expression ExpressionIdentity::walk_minus(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_minus);
}

Expression ExpressionIdentity::walk_in(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_in);
}

Expression ExpressionIdentity::walk_subset(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_subset);
}

Expression ExpressionIdentity::walk_union(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_union);
}

Expression ExpressionIdentity::walk_intersection(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_intersection);
}

Expression ExpressionIdentity::walk_difference(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_difference);
}

Expression ExpressionIdentity::walk_assign(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_assign);
}

Expression ExpressionIdentity::walk_in_assign(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_in_assign);
}

Expression ExpressionIdentity::walk_temporal_expression(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_temporal_expression);
}

Expression ExpressionIdentity::walk_interval(Expression e) const {
  if (has_unchanged_children(e)) return e;
  ExpressionFactory& ef = environment().expression_factory();
  const Expression lower = memoized_value(e->child(0));
  if (e->arity() == 1) return ef.make_point_interval(lower);
  const Expression upper = memoized_value(e->child(1));
  if (ef.is_closed_interval(e)) return ef.make_closed_interval(lower, upper);
  if (ef.is_open_interval(e)) return ef.make_open_interval(lower, upper);
  if (ef.is_left_open_interval(e)) return ef.make_left_open_interval(lower, upper);
  return ef.make_right_open_interval(lower, upper);
}

Expression ExpressionIdentity::walk_set_constant(Expression e) const {
  if (has_unchanged_children(e)) return e;
  return environment().expression_factory().make_set_constant(walked_children(e));
}

Expression ExpressionIdentity::walk_dot(Expression e) const {
  return walk_binary(e, &ExpressionFactory::make_scoping);
}

Expression ExpressionIdentity::walk_functional_apply(Expression e) const {
  ExpressionFactory& ef = environment().expression_factory();
  const Expression reference = ef.get_reference_from_functional_apply(e);
  // The walk does not enter the reference of an application without arguments.
  const Expression function =
      is_memoized(reference) ? memoized_value(reference) : (*this)(reference);
  if (function == reference && has_unchanged_children(e)) return e;
  return ef.make_functional_apply(function, walked_children(e));
}

Expression ExpressionIdentity::walk_contains(Expression e) const {
  if (has_unchanged_children(e)) return e;
  ExpressionFactory& ef = environment().expression_factory();
  const Expression duration = e->arity() == 2 ? memoized_value(e->child(1)) : nullptr;
  return ef.make_contains(memoized_value(e->child(0)), duration, ef.get_label_from_contains(e));
}

Expression ExpressionIdentity::walk_start(Expression e) const {
  return e;
}

Expression ExpressionIdentity::walk_end(Expression e) const {
  return e;
}

Expression ExpressionIdentity::walk_duration(Expression e) const {
  return e;
}

Expression ExpressionIdentity::walk_true(Expression e) const {
  return e;
}

Expression ExpressionIdentity::walk_false(Expression e) const {
  return e;
}

Expression ExpressionIdentity::walk_rational_constant(Expression e) const {
  return e;
}

Expression ExpressionIdentity::walk_integer_constant(Expression e) const {
  return e;
}

Expression ExpressionIdentity::walk_unresolved_symbol(Expression e) const {
  return e;
}

Expression ExpressionIdentity::walk_fluent_reference(Expression e) const {
  return e;
}

Expression ExpressionIdentity::walk_constant_reference(Expression e) const {
  return e;
}

Expression ExpressionIdentity::walk_parameter_reference(Expression e) const {
  return e;
}

Expression ExpressionIdentity::walk_instance_reference(Expression e) const {
  return e;
}

Expression ExpressionIdentity::walk_label_reference(Expression e) const {
  return e;
}

Expression ExpressionIdentity::walk_action_status_is(Expression e) const {
  return e;
}

}  // namespace kelvo::model
