#include "transformers/constant_checker.h"

#include <algorithm>

#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/print_expression.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo {

using model::Expression;

namespace {

[[noreturn]] void raise_undefined(Expression e) {
  throw UndefinedConstantError() << "No value for constant " << model::print_expression(e);
}

}  // namespace

// The reference of an application is walked too: one with parameters is judged there.
Expression ConstantChecker::walk_constant_reference(Expression e) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  if (!ef.get_constant_from_reference(e)->has_parameters()) raise_undefined(e);
  return e;
}

Expression ConstantChecker::walk_functional_apply(Expression e) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  if (ef.is_constant_reference(ef.get_reference_from_functional_apply(e)) &&
      std::ranges::all_of(e->children(), [&ef](Expression argument) {
        return ef.is_constant(argument) || ef.is_instance_reference(argument);
      })) {
    raise_undefined(e);
  }
  return ExpressionIdentity::walk_functional_apply(e);
}

}  // namespace kelvo
