#include "validation/dur_simplifier.h"

#include <utility>

#include "model/constant.h"
#include "model/expression_evaluator.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/function_value.h"
#include "shell/environment.h"

namespace kelvo {

using model::Expression;

std::vector<Expression> as_arguments(model::ExpressionFactory& ef, const model::Parameters& formals,
                                     std::vector<Expression> arguments) {
  for (std::size_t i = 0; i < arguments.size() && i < formals.size(); ++i) {
    arguments[i] = model::as_argument(ef, formals[i]->type(), arguments[i]);
  }
  return arguments;
}

void DurSimplifier::do_memoize_value(Expression e, Expression value) const {
  const auto replacement = values_.find(value);
  ExpressionSimplifier::do_memoize_value(
      e, replacement == values_.end() ? value : replacement->second);
}

Expression DurSimplifier::walk_assign(Expression e) const {
  return walk_equals(e);
}

Expression DurSimplifier::walk_functional_apply(Expression e) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  const Expression reference = ef.get_reference_from_functional_apply(e);
  if (ef.is_fluent_reference(reference)) {
    const model::Parameters& formals = ef.get_fluent_from_reference(reference)->parameters();
    return ef.make_functional_apply(reference, as_arguments(ef, formals, walked_children(e)));
  }
  if (ef.is_constant_reference(reference)) {
    const model::Constant constant = ef.get_constant_from_reference(reference);
    std::vector<Expression> arguments =
        as_arguments(ef, constant->parameters(), walked_children(e));
    const model::FunctionValue known = constant->value();
    const Expression value = known == nullptr ? nullptr : known->assignment(arguments);
    if (value == nullptr) return ef.make_functional_apply(reference, arguments);
    return model::as_stored(ef, constant->type(), value);
  }
  return ExpressionSimplifier::walk_functional_apply(e);
}

}  // namespace kelvo
