#pragma once

#include <unordered_map>
#include <vector>

#include "model/expression_simplifier.h"
#include "model/parametric_object.h"

namespace kelvo::model {

/// The simplifier with fluents read from a state: what both evaluators share. A whole evaluation
/// ends in a constant or an instance reference; a subexpression without a value (a bare reference
/// to a fluent with parameters, a point at which a constant is not defined) is an `InternalError`.
///
/// The memo is right for one state: use a new object, or `clear_memoization()`, when it changes.
class StateEvaluator : public ExpressionSimplifier {
 public:
  using ExpressionSimplifier::ExpressionSimplifier;

  /// Throws `InternalError` also when `e` has no value.
  const Expression& memoized_value(Expression e) const override;

 protected:
  Expression walk_unresolved_symbol(Expression e) const override;
  Expression walk_fluent_reference(Expression e) const override;
  Expression walk_constant_reference(Expression e) const override;
  Expression walk_parameter_reference(Expression e) const override;
  Expression walk_functional_apply(Expression e) const override;

  /// The value of a ground fluent. Throws `InternalError` when the state has none.
  virtual Expression lookup(Expression ground_fluent) const = 0;
  /// Called with the value of each argument of an application before it is used; `type` is that of
  /// the formal parameter.
  virtual void check_argument(const Type& type, Expression value) const;

 private:
  std::vector<Expression> evaluated_arguments(Expression e, const Parameters& parameters) const;
};

/// Reads fluents from a vector of values: `index` gives the place of each ground fluent. Both stay
/// with the caller. Throws `OutOfBoundsValue` when an argument is outside its parameter's bounds.
class ExpressionEvaluator : public StateEvaluator {
 public:
  using Index = std::unordered_map<Expression, std::size_t>;
  using Values = std::vector<Expression>;

  ExpressionEvaluator(Environment& env, const Index& index, const Values& values)
      : StateEvaluator(env), index_(index), values_(values) {}

 protected:
  Expression lookup(Expression ground_fluent) const override;
  void check_argument(const Type& type, Expression value) const override;

 private:
  const Index& index_;
  const Values& values_;
};

/// Reads fluents from a map, which stays with the caller and must hold every fluent that is read.
/// Arguments are not tested.
class ExpressionEvaluatorFromMap : public StateEvaluator {
 public:
  using Values = std::unordered_map<Expression, Expression>;

  ExpressionEvaluatorFromMap(Environment& env, const Values& values)
      : StateEvaluator(env), values_(values) {}

 protected:
  Expression lookup(Expression ground_fluent) const override;

 private:
  const Values& values_;
};

/// `value` as an argument for a parameter of type `type`: an integral rational becomes an integer
/// constant when the type is numeric, so that one argument is one node; everything else stays.
Expression as_argument(ExpressionFactory& ef, const Type& type, Expression value);

/// `value` as a fluent or constant of type `type` holds it: a number becomes an integer constant in
/// an integer (if it is integral) and a rational one in a rational; everything else stays.
Expression as_stored(ExpressionFactory& ef, const Type& type, Expression value);

/// Whether `value` is a number outside the bounds of the numeric type `type`.
bool is_out_of_bounds(const ExpressionFactory& ef, const Type& type, Expression value);

}  // namespace kelvo::model
