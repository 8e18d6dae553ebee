#pragma once

#include <string>
#include <unordered_map>

#include "model/expression_walker.h"
#include "translators/ltl_expression.h"

namespace kelvo::ltl {

/// Turns expressions of a ground problem into formulas: fluents become the variables of their
/// names. Throws `LtlEncoderError` on operators that have no such form, and by default on times and
/// instances.
class AnmlToSmv : public model::ExpressionWalker<LtlExpression> {
 public:
  using Variables = std::unordered_map<std::string, LtlExpression>;

  /// The factory and the variables, by name of the fluent, are borrowed.
  AnmlToSmv(Environment& env, LtlExpressionFactory& factory, const Variables& variables)
      : ExpressionWalker(env), factory_(factory), variables_(variables) {}

 protected:
  LtlExpression walk_and(model::Expression e) const override;
  LtlExpression walk_or(model::Expression e) const override;
  LtlExpression walk_not(model::Expression e) const override;
  LtlExpression walk_imply(model::Expression e) const override;
  LtlExpression walk_iff(model::Expression e) const override;
  LtlExpression walk_equals(model::Expression e) const override;
  LtlExpression walk_lt(model::Expression e) const override;
  LtlExpression walk_le(model::Expression e) const override;
  LtlExpression walk_gt(model::Expression e) const override;
  LtlExpression walk_ge(model::Expression e) const override;
  LtlExpression walk_times(model::Expression e) const override;
  LtlExpression walk_plus(model::Expression e) const override;
  LtlExpression walk_div(model::Expression e) const override;
  LtlExpression walk_minus(model::Expression e) const override;
  LtlExpression walk_assign(model::Expression e) const override;
  LtlExpression walk_true(model::Expression e) const override;
  LtlExpression walk_false(model::Expression e) const override;
  LtlExpression walk_rational_constant(model::Expression e) const override;
  LtlExpression walk_integer_constant(model::Expression e) const override;
  LtlExpression walk_fluent_reference(model::Expression e) const override;
  LtlExpression walk_constant_reference(model::Expression e) const override;

  LtlExpression walk_start(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_end(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_duration(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_instance_reference(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_in(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_subset(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_union(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_intersection(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_difference(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_in_assign(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_interval(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_temporal_expression(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_set_constant(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_dot(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_unresolved_symbol(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_parameter_reference(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_label_reference(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_functional_apply(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_contains(model::Expression e) const override { return refuse(e); }
  LtlExpression walk_action_status_is(model::Expression e) const override { return refuse(e); }

  [[noreturn]] static LtlExpression refuse(model::Expression e);

  LtlExpressionFactory& factory_;

 private:
  LtlExpression operand(model::Expression e, std::size_t i) const {
    return memoized_value(e->child(i));
  }
  LtlExpressionFactory::Expressions operands(model::Expression e) const;

  const Variables& variables_;
};

}  // namespace kelvo::ltl
