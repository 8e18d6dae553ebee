#pragma once

#include <string>
#include <vector>

#include "model/expression_walker.h"
#include "model/parametric_object.h"
#include "model/types.h"

namespace kelvo::model {

/// Types expressions and rejects ill-typed ones with a `TypeCheckingError`; a symbol that nobody
/// resolved is an `InternalError`. Also a small interval analysis: the type of a numeric expression
/// carries the bounds that follow from its operands. Doubtful assignments and equalities are
/// reported to the `WarningManager`.
///
/// One for each environment: a type never changes, so each node is typed once in a run.
class ExpressionTypeChecker : public ExpressionWalker<Type> {
 public:
  /// The type of intervals.
  class IntervalType final : public TypeBase {
   public:
    IntervalType() : TypeBase(TypeCode::INTERVAL), name_("interval") {}
    const std::string& reference_name() const override { return name_; }
    bool is_finite_domain() const override { return false; }

   private:
    std::string name_;
  };

  /// The type of assignments, and the element type of the empty set.
  class VoidType final : public TypeBase {
   public:
    VoidType() : TypeBase(TypeCode::VOID), name_("void") {}
    const std::string& reference_name() const override { return name_; }
    bool is_finite_domain() const override { return false; }

   private:
    std::string name_;
  };

  explicit ExpressionTypeChecker(Environment& env);

  Type void_type() const { return void_type_; }

 protected:
  Type walk_and(Expression e) const override;
  Type walk_or(Expression e) const override;
  Type walk_not(Expression e) const override;
  Type walk_imply(Expression e) const override;
  Type walk_iff(Expression e) const override;
  Type walk_equals(Expression e) const override;
  Type walk_lt(Expression e) const override;
  Type walk_le(Expression e) const override;
  Type walk_gt(Expression e) const override;
  Type walk_ge(Expression e) const override;
  Type walk_times(Expression e) const override;
  Type walk_plus(Expression e) const override;
  Type walk_div(Expression e) const override;
  Type walk_minus(Expression e) const override;
  Type walk_in(Expression e) const override;
  Type walk_subset(Expression e) const override;
  Type walk_union(Expression e) const override;
  Type walk_intersection(Expression e) const override;
  Type walk_difference(Expression e) const override;
  Type walk_assign(Expression e) const override;
  Type walk_in_assign(Expression e) const override;
  Type walk_interval(Expression e) const override;
  Type walk_temporal_expression(Expression e) const override;
  Type walk_start(Expression e) const override;
  Type walk_end(Expression e) const override;
  Type walk_duration(Expression e) const override;
  Type walk_true(Expression e) const override;
  Type walk_false(Expression e) const override;
  Type walk_rational_constant(Expression e) const override;
  Type walk_set_constant(Expression e) const override;
  Type walk_integer_constant(Expression e) const override;
  Type walk_dot(Expression e) const override;
  Type walk_unresolved_symbol(Expression e) const override;
  Type walk_fluent_reference(Expression e) const override;
  Type walk_constant_reference(Expression e) const override;
  Type walk_parameter_reference(Expression e) const override;
  Type walk_instance_reference(Expression e) const override;
  Type walk_label_reference(Expression e) const override;
  Type walk_functional_apply(Expression e) const override;
  Type walk_contains(Expression e) const override;
  Type walk_action_status_is(Expression e) const override;

 private:
  struct Arithmetic;

  /// Whether a value of type `b` may stand where `a` is asked for: in an equality with
  /// `allow_equals`, else in an assignment to `a`. Warns when only some values may.
  bool compatible_operands(const Type& a, const Type& b, bool allow_equals) const;
  bool compatible_bounds(const Type& a, const Type& b, bool allow_equals) const;

  /// The memoized type of child `i`.
  const Type& t(Expression e, std::size_t i) const { return memoized_value(e->child(i)); }
  Type boolean_type() const;
  Type time_type() const;
  Type boolean_operation(Expression e, const char* what) const;
  Type comparison(Expression e, const char* what) const;
  Type set_operation(Expression e) const;
  void check_arguments(Expression e, const Parameters& parameters) const;
  void check_sets(Expression e) const;
  Type arithmetic(Expression e, const Arithmetic& operation) const;

  Type interval_type_;
  Type void_type_;
};

}  // namespace kelvo::model
