#pragma once

#include <unordered_map>

#include "model/expression_default_walker.h"

namespace kelvo::model {

/// The set of values that an expression may have when each fluent may independently have any of
/// its values in `assignments`: an over-approximation. All values are constants or instance
/// references; a condition has one or two, and is possibly true when `true` is among them.
///
/// The map stays with the caller. The memo is right for one content of it.
class AllValuesEvaluator : public ExpressionDefaultWalker<ExpressionSet> {
 public:
  /// From a fluent's reference or application to its possible values.
  using Assignments = std::unordered_map<Expression, ExpressionSet>;

  AllValuesEvaluator(Environment& env, const Assignments& assignments)
      : ExpressionDefaultWalker(env), assignments_(assignments) {}

 protected:
  ExpressionSet walk_and(Expression e) const override;
  ExpressionSet walk_or(Expression e) const override;
  ExpressionSet walk_not(Expression e) const override;
  ExpressionSet walk_imply(Expression e) const override;
  ExpressionSet walk_iff(Expression e) const override;
  ExpressionSet walk_equals(Expression e) const override;
  ExpressionSet walk_lt(Expression e) const override;
  ExpressionSet walk_le(Expression e) const override;
  ExpressionSet walk_gt(Expression e) const override;
  ExpressionSet walk_ge(Expression e) const override;
  ExpressionSet walk_times(Expression e) const override;
  ExpressionSet walk_plus(Expression e) const override;
  ExpressionSet walk_div(Expression e) const override;
  ExpressionSet walk_minus(Expression e) const override;
  ExpressionSet walk_true(Expression e) const override { return {e}; }
  ExpressionSet walk_false(Expression e) const override { return {e}; }
  ExpressionSet walk_rational_constant(Expression e) const override { return {e}; }
  ExpressionSet walk_integer_constant(Expression e) const override { return {e}; }
  ExpressionSet walk_fluent_reference(Expression e) const override;
  ExpressionSet walk_constant_reference(Expression e) const override;
  ExpressionSet walk_instance_reference(Expression e) const override { return {e}; }
  ExpressionSet walk_functional_apply(Expression e) const override;
  /// The kinds that have no value: throws `InvalidParameterError`.
  ExpressionSet walk_default(Expression e) const override;

 private:
  ExpressionSet junction(Expression e, bool conjunction) const;
  template <typename Relation>
  ExpressionSet relation(Expression e, const Relation& relation) const;
  template <typename Operation>
  ExpressionSet combine(const ExpressionSet& left, const ExpressionSet& right,
                        const Operation& operation) const;
  ExpressionSet argument_values(const Type& type, Expression argument) const;

  const Assignments& assignments_;
};

}  // namespace kelvo::model
