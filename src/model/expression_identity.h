#pragma once

#include "model/expression_walker.h"

namespace kelvo::model {

/// Rebuilds an expression unchanged; rewriters override the kinds that they care about. Sums and
/// products of three or more children come back folded from the left into binary nodes. A node
/// whose children stand for themselves is returned without a look at the factory.
class ExpressionIdentity : public ExpressionWalker<Expression> {
 public:
  using ExpressionWalker::ExpressionWalker;

 protected:
  Expression walk_and(Expression e) const override;
  Expression walk_or(Expression e) const override;
  Expression walk_not(Expression e) const override;
  Expression walk_imply(Expression e) const override;
  Expression walk_iff(Expression e) const override;
  Expression walk_equals(Expression e) const override;
  Expression walk_lt(Expression e) const override;
  Expression walk_le(Expression e) const override;
  Expression walk_gt(Expression e) const override;
  Expression walk_ge(Expression e) const override;
  Expression walk_times(Expression e) const override;
  Expression walk_plus(Expression e) const override;
  Expression walk_div(Expression e) const override;
  Expression walk_minus(Expression e) const override;
  Expression walk_in(Expression e) const override;
  Expression walk_subset(Expression e) const override;
  Expression walk_union(Expression e) const override;
  Expression walk_intersection(Expression e) const override;
  Expression walk_difference(Expression e) const override;
  Expression walk_assign(Expression e) const override;
  Expression walk_in_assign(Expression e) const override;
  Expression walk_interval(Expression e) const override;
  Expression walk_temporal_expression(Expression e) const override;
  Expression walk_start(Expression e) const override;
  Expression walk_end(Expression e) const override;
  Expression walk_duration(Expression e) const override;
  Expression walk_true(Expression e) const override;
  Expression walk_false(Expression e) const override;
  Expression walk_rational_constant(Expression e) const override;
  Expression walk_set_constant(Expression e) const override;
  Expression walk_integer_constant(Expression e) const override;
  Expression walk_dot(Expression e) const override;
  Expression walk_unresolved_symbol(Expression e) const override;
  Expression walk_fluent_reference(Expression e) const override;
  Expression walk_constant_reference(Expression e) const override;
  Expression walk_parameter_reference(Expression e) const override;
  Expression walk_instance_reference(Expression e) const override;
  Expression walk_label_reference(Expression e) const override;
  Expression walk_functional_apply(Expression e) const override;
  Expression walk_contains(Expression e) const override;
  Expression walk_action_status_is(Expression e) const override;

  /// The memoized values of the children of `e`, in order.
  std::vector<Expression> walked_children(Expression e) const;

 private:
  using MakeBinary = Expression (ExpressionFactory::*)(Expression, Expression);

  bool has_unchanged_children(Expression e) const;
  Expression walk_binary(Expression e, MakeBinary make) const;
};

}  // namespace kelvo::model
