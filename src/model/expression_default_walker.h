#pragma once

#include "model/expression_walker.h"

namespace kelvo::model {

/// A walker in which every operator is handled by `walk_default` unless a derived class says
/// otherwise: the base of walkers that tell few operators apart.
template <typename T>
class ExpressionDefaultWalker : public ExpressionWalker<T> {
 public:
  using ExpressionWalker<T>::ExpressionWalker;

 protected:
  virtual T walk_default(Expression e) const = 0;

  T walk_and(Expression e) const override { return walk_default(e); }
  T walk_or(Expression e) const override { return walk_default(e); }
  T walk_not(Expression e) const override { return walk_default(e); }
  T walk_imply(Expression e) const override { return walk_default(e); }
  T walk_iff(Expression e) const override { return walk_default(e); }
  T walk_equals(Expression e) const override { return walk_default(e); }
  T walk_lt(Expression e) const override { return walk_default(e); }
  T walk_le(Expression e) const override { return walk_default(e); }
  T walk_gt(Expression e) const override { return walk_default(e); }
  T walk_ge(Expression e) const override { return walk_default(e); }
  T walk_times(Expression e) const override { return walk_default(e); }
  T walk_plus(Expression e) const override { return walk_default(e); }
  T walk_div(Expression e) const override { return walk_default(e); }
  T walk_minus(Expression e) const override { return walk_default(e); }
  T walk_in(Expression e) const override { return walk_default(e); }
  T walk_subset(Expression e) const override { return walk_default(e); }
  T walk_union(Expression e) const override { return walk_default(e); }
  T walk_intersection(Expression e) const override { return walk_default(e); }
  T walk_difference(Expression e) const override { return walk_default(e); }
  T walk_assign(Expression e) const override { return walk_default(e); }
  T walk_in_assign(Expression e) const override { return walk_default(e); }
  T walk_interval(Expression e) const override { return walk_default(e); }
  T walk_temporal_expression(Expression e) const override { return walk_default(e); }
  T walk_start(Expression e) const override { return walk_default(e); }
  T walk_end(Expression e) const override { return walk_default(e); }
  T walk_duration(Expression e) const override { return walk_default(e); }
  T walk_true(Expression e) const override { return walk_default(e); }
  T walk_false(Expression e) const override { return walk_default(e); }
  T walk_rational_constant(Expression e) const override { return walk_default(e); }
  T walk_set_constant(Expression e) const override { return walk_default(e); }
  T walk_integer_constant(Expression e) const override { return walk_default(e); }
  T walk_dot(Expression e) const override { return walk_default(e); }
  T walk_unresolved_symbol(Expression e) const override { return walk_default(e); }
  T walk_fluent_reference(Expression e) const override { return walk_default(e); }
  T walk_constant_reference(Expression e) const override { return walk_default(e); }
  T walk_parameter_reference(Expression e) const override { return walk_default(e); }
  T walk_instance_reference(Expression e) const override { return walk_default(e); }
  T walk_label_reference(Expression e) const override { return walk_default(e); }
  T walk_functional_apply(Expression e) const override { return walk_default(e); }
  T walk_contains(Expression e) const override { return walk_default(e); }
  T walk_action_status_is(Expression e) const override { return walk_default(e); }
};

}  // namespace kelvo::model
