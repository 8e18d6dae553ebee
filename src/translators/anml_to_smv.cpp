#include "translators/anml_to_smv.h"

#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/function_value.h"
#include "model/print_expression.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo::ltl {

using model::Expression;

LtlExpression AnmlToSmv::refuse(Expression e) {
  throw LtlEncoderError() << "This has no form in a model: " << model::print_expression(e);
}

LtlExpressionFactory::Expressions AnmlToSmv::operands(Expression e) const {
  LtlExpressionFactory::Expressions list;
  for (std::size_t i = 0; i < e->arity(); ++i) list.push_back(operand(e, i));
  return list;
}

LtlExpression AnmlToSmv::walk_and(Expression e) const {
  return factory_.make_and(operands(e));
}
LtlExpression AnmlToSmv::walk_or(Expression e) const {
  return factory_.make_or(operands(e));
}
LtlExpression AnmlToSmv::walk_not(Expression e) const {
  return factory_.make_not(operand(e, 0));
}
LtlExpression AnmlToSmv::walk_imply(Expression e) const {
  return factory_.make_imply(operand(e, 0), operand(e, 1));
}
LtlExpression AnmlToSmv::walk_iff(Expression e) const {
  return factory_.make_iff(operand(e, 0), operand(e, 1));
}
LtlExpression AnmlToSmv::walk_equals(Expression e) const {
  return factory_.make_equals(operand(e, 0), operand(e, 1));
}
LtlExpression AnmlToSmv::walk_lt(Expression e) const {
  return factory_.make_lt(operand(e, 0), operand(e, 1));
}
LtlExpression AnmlToSmv::walk_le(Expression e) const {
  return factory_.make_le(operand(e, 0), operand(e, 1));
}
LtlExpression AnmlToSmv::walk_gt(Expression e) const {
  return factory_.make_gt(operand(e, 0), operand(e, 1));
}
LtlExpression AnmlToSmv::walk_ge(Expression e) const {
  return factory_.make_ge(operand(e, 0), operand(e, 1));
}
LtlExpression AnmlToSmv::walk_times(Expression e) const {
  return factory_.make_times(operands(e));
}
LtlExpression AnmlToSmv::walk_plus(Expression e) const {
  return factory_.make_plus(operands(e));
}
LtlExpression AnmlToSmv::walk_div(Expression e) const {
  return factory_.make_div(operand(e, 0), operand(e, 1));
}
LtlExpression AnmlToSmv::walk_minus(Expression e) const {
  return factory_.make_minus(operand(e, 0), operand(e, 1));
}
LtlExpression AnmlToSmv::walk_assign(Expression e) const {
  return factory_.make_equals(operand(e, 0), operand(e, 1));
}
LtlExpression AnmlToSmv::walk_true(Expression) const {
  return factory_.make_boolean_constant(true);
}
LtlExpression AnmlToSmv::walk_false(Expression) const {
  return factory_.make_boolean_constant(false);
}

LtlExpression AnmlToSmv::walk_rational_constant(Expression e) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  return factory_.make_rational_constant(ef.get_rational_constant(e));
}

LtlExpression AnmlToSmv::walk_integer_constant(Expression e) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  return factory_.make_integer_constant(numerator(ef.get_number(e)));
}

LtlExpression AnmlToSmv::walk_fluent_reference(Expression e) const {
  const model::Fluent fluent = environment().expression_factory().get_fluent_from_reference(e);
  const auto variable = variables_.find(fluent->name());
  if (variable == variables_.end()) {
    throw LtlEncoderError() << "The following fluent has no variable: " << fluent->name();
  }
  return variable->second;
}

// A constant is its value. What values read was resolved when they were read, so that each is a
// leaf and the walk goes no deeper.
LtlExpression AnmlToSmv::walk_constant_reference(Expression e) const {
  const model::Constant constant =
      environment().expression_factory().get_constant_from_reference(e);
  const model::FunctionValue values = constant->value();
  const Expression value = values == nullptr ? nullptr : values->default_value();
  if (value == nullptr) {
    throw LtlEncoderError() << "The following constant has no value: " << constant->name();
  }
  if (value->arity() != 0 || environment().expression_factory().is_constant_reference(value)) {
    throw LtlEncoderError() << "The value of the following constant is not resolved: "
                            << constant->name();
  }
  return (*this)(value);
}

}  // namespace kelvo::ltl
