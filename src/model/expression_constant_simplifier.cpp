#include "model/expression_constant_simplifier.h"

#include "model/expression_factory.h"
#include "shell/environment.h"

namespace kelvo::model {

Expression ExpressionConstantSimplifier::walk_rational_constant(Expression e) const {
  ExpressionFactory& ef = environment().expression_factory();
  const rational& value = ef.get_rational_constant(e);
  if (!is_integral(value)) {
    throw TypeCheckingError()
        << "Encountered a rational constant that cannot be simplified to an integer: "
        << print_expression(e);
  }
  return ef.make_integer_constant(numerator(value));
}

}  // namespace kelvo::model
