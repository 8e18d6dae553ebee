#include "model/expression_evaluator.h"

#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/types.h"
#include "shell/environment.h"

namespace kelvo::model {

Expression as_argument(ExpressionFactory& ef, const Type& type, Expression value) {
  if (!type->is_numeric() || !ef.is_rational_constant(value)) return value;
  const rational& number = ef.get_rational_constant(value);
  return is_integral(number) ? ef.make_integer_constant(numerator(number)) : value;
}

Expression as_stored(ExpressionFactory& ef, const Type& type, Expression value) {
  if (type->is_integer()) return as_argument(ef, type, value);
  if (!type->is_rational() || !ef.is_integer_constant(value)) return value;
  return ef.make_rational_constant(rational(ef.get_integer_constant(value)));
}

bool is_out_of_bounds(const ExpressionFactory& ef, const Type& type, Expression value) {
  if (!ef.is_number(value)) return false;
  if (type->is_rational()) return !as_rational_type(type).contains(ef.get_number(value));
  if (!type->is_integer()) return false;
  const IntegerTypeBase& integers = as_integer_type(type);
  if (ef.is_integer_constant(value)) return !integers.contains(ef.get_integer_constant(value));
  const rational& number = ef.get_rational_constant(value);
  return (integers.has_lower_bound() && number < rational(integers.lower_bound())) ||
         (integers.has_upper_bound() && number > rational(integers.upper_bound()));
}

const Expression& StateEvaluator::memoized_value(Expression e) const {
  const Expression& value = ExpressionSimplifier::memoized_value(e);
  if (value == nullptr) {
    throw InternalError() << "Found an expression without a value: " << print_expression(e);
  }
  return value;
}

Expression StateEvaluator::walk_unresolved_symbol(Expression) const {
  throw InternalError("Found an unresolved symbol while planning!");
}

Expression StateEvaluator::walk_fluent_reference(Expression e) const {
  // Also met as the function of an application, so no failure yet.
  if (payload_of<FluentPayload>(e).fluent()->has_parameters()) return nullptr;
  return lookup(e);
}

namespace {

FunctionValue initialized_value(const Constant& constant, Expression e) {
  const FunctionValue value = constant->value();
  if (value == nullptr) {
    throw InvalidParameterError() << "Found uninitialized constant in the model: "
                                  << print_expression(e);
  }
  return value;
}

}  // namespace

Expression StateEvaluator::walk_constant_reference(Expression e) const {
  const Constant constant = payload_of<ConstantPayload>(e).constant();
  const Expression value = initialized_value(constant, e)->default_value();
  if (value == nullptr) return nullptr;
  return as_stored(environment().expression_factory(), constant->type(), value);
}

Expression StateEvaluator::walk_parameter_reference(Expression) const {
  throw InternalError("Found a parameter reference while FTP planning!");
}

std::vector<Expression> StateEvaluator::evaluated_arguments(Expression e,
                                                            const Parameters& parameters) const {
  ExpressionFactory& ef = environment().expression_factory();
  std::vector<Expression> arguments = walked_children(e);
  for (std::size_t i = 0; i < arguments.size() && i < parameters.size(); ++i) {
    const Type type = parameters[i]->type();
    check_argument(type, arguments[i]);
    arguments[i] = as_argument(ef, type, arguments[i]);
  }
  return arguments;
}

Expression StateEvaluator::walk_functional_apply(Expression e) const {
  ExpressionFactory& ef = environment().expression_factory();
  const Expression reference = ef.get_reference_from_functional_apply(e);
  if (ef.is_fluent_reference(reference)) {
    const Fluent fluent = ef.get_fluent_from_reference(reference);
    return lookup(
        ef.make_functional_apply(reference, evaluated_arguments(e, fluent->parameters())));
  }
  if (ef.is_constant_reference(reference)) {
    const Constant constant = ef.get_constant_from_reference(reference);
    const FunctionValue table = initialized_value(constant, e);
    const Expression value = table->assignment(evaluated_arguments(e, constant->parameters()));
    return value == nullptr ? nullptr : as_stored(ef, constant->type(), value);
  }
  throw InvalidParameterError() << "Unhandled reference found in the model: "
                                << print_expression(reference);
}

void StateEvaluator::check_argument(const Type&, Expression) const {}

Expression ExpressionEvaluator::lookup(Expression ground_fluent) const {
  const auto place = index_.find(ground_fluent);
  if (place == index_.end() || place->second >= values_.size() ||
      values_[place->second] == nullptr) {
    throw InternalError() << "Found an unexpected fluent: " << print_expression(ground_fluent);
  }
  return values_[place->second];
}

void ExpressionEvaluator::check_argument(const Type& type, Expression value) const {
  if (is_out_of_bounds(environment().expression_factory(), type, value)) throw OutOfBoundsValue();
}

Expression ExpressionEvaluatorFromMap::lookup(Expression ground_fluent) const {
  const auto value = values_.find(ground_fluent);
  if (value == values_.end() || value->second == nullptr) {
    throw InternalError() << "Found an unexpected fluent: " << print_expression(ground_fluent);
  }
  return value->second;
}

}  // namespace kelvo::model
