#pragma once

#include "model/expression_identity.h"

namespace kelvo::model {

/// Folds constants: of the booleans, of numbers within one node, and constants of the model with
/// their values. Quantities of time stay as they are. A sum or product that loses its constant
/// keeps its node: `x + 0` becomes the sum of the one term `x`.
///
/// A division by the constant 0 surfaces as the number library's exception.
class ExpressionSimplifier : public ExpressionIdentity {
 public:
  using ExpressionIdentity::ExpressionIdentity;

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
  Expression walk_constant_reference(Expression e) const override;
  Expression walk_functional_apply(Expression e) const override;

 private:
  Expression junction(Expression e, bool conjunction) const;
  /// The boolean constant of the comparison, or null when a side is no constant.
  template <typename Compare>
  Expression compare_constants(Expression e, const Compare& compare) const;
  Expression negate(Expression e) const;
};

}  // namespace kelvo::model
