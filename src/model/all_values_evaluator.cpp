#include "model/all_values_evaluator.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "model/constant.h"
#include "model/expression_evaluator.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "shell/containers.h"
#include "shell/environment.h"

namespace kelvo::model {

ExpressionSet AllValuesEvaluator::junction(Expression e, bool conjunction) const {
  ExpressionFactory& ef = environment().expression_factory();
  const Expression neutral = ef.make_boolean_constant(conjunction);
  const Expression deciding = ef.make_boolean_constant(!conjunction);
  const auto only = [](const ExpressionSet& values, Expression value) {
    return std::ranges::all_of(values, [value](Expression v) { return v == value; });
  };
  bool all_neutral = true;
  for (const Expression child : e->children()) {
    const ExpressionSet& values = memoized_value(child);
    if (only(values, deciding)) return {deciding};
    all_neutral = all_neutral && only(values, neutral);
  }
  if (all_neutral) return {neutral};
  return {neutral, deciding};
}

ExpressionSet AllValuesEvaluator::walk_and(Expression e) const {
  return junction(e, /*conjunction=*/true);
}

ExpressionSet AllValuesEvaluator::walk_or(Expression e) const {
  return junction(e, /*conjunction=*/false);
}

ExpressionSet AllValuesEvaluator::walk_not(Expression e) const {
  ExpressionFactory& ef = environment().expression_factory();
  ExpressionSet result;
  for (const Expression value : memoized_value(e->child(0))) {
    result.insert(ef.make_boolean_constant(!ef.get_boolean_constant(value)));
  }
  return result;
}

/// The results of `relation` on the pairs of values of the two children, until both are seen.
template <typename Relation>
ExpressionSet AllValuesEvaluator::relation(Expression e, const Relation& relation) const {
  ExpressionFactory& ef = environment().expression_factory();
  const ExpressionSet& right = memoized_value(e->child(1));
  ExpressionSet result;
  for (const Expression l : memoized_value(e->child(0))) {
    for (const Expression r : right) {
      result.insert(ef.make_boolean_constant(relation(l, r)));
      if (result.size() == 2) return result;
    }
  }
  return result;
}

ExpressionSet AllValuesEvaluator::walk_imply(Expression e) const {
  const ExpressionFactory& ef = environment().expression_factory();
  return relation(e, [&ef](Expression l, Expression r) {
    return !ef.get_boolean_constant(l) || ef.get_boolean_constant(r);
  });
}

ExpressionSet AllValuesEvaluator::walk_iff(Expression e) const {
  return relation(e, std::equal_to<>());
}

ExpressionSet AllValuesEvaluator::walk_equals(Expression e) const {
  const ExpressionFactory& ef = environment().expression_factory();
  return relation(e, [&ef](Expression l, Expression r) {
    return l == r || (ef.is_number(l) && ef.is_number(r) && ef.get_number(l) == ef.get_number(r));
  });
}

ExpressionSet AllValuesEvaluator::walk_lt(Expression e) const {
  const ExpressionFactory& ef = environment().expression_factory();
  return relation(
      e, [&ef](Expression l, Expression r) { return ef.get_number(l) < ef.get_number(r); });
}

ExpressionSet AllValuesEvaluator::walk_le(Expression e) const {
  const ExpressionFactory& ef = environment().expression_factory();
  return relation(
      e, [&ef](Expression l, Expression r) { return ef.get_number(l) <= ef.get_number(r); });
}

ExpressionSet AllValuesEvaluator::walk_gt(Expression e) const {
  const ExpressionFactory& ef = environment().expression_factory();
  return relation(
      e, [&ef](Expression l, Expression r) { return ef.get_number(l) > ef.get_number(r); });
}

ExpressionSet AllValuesEvaluator::walk_ge(Expression e) const {
  const ExpressionFactory& ef = environment().expression_factory();
  return relation(
      e, [&ef](Expression l, Expression r) { return ef.get_number(l) >= ef.get_number(r); });
}

/// The results of `operation` on all pairs: an integer when both operands are, else a rational.
template <typename Operation>
ExpressionSet AllValuesEvaluator::combine(const ExpressionSet& left, const ExpressionSet& right,
                                          const Operation& operation) const {
  ExpressionFactory& ef = environment().expression_factory();
  ExpressionSet result;
  for (const Expression l : left) {
    for (const Expression r : right) {
      if (ef.is_integer_constant(l) && ef.is_integer_constant(r)) {
        const integer value = operation(ef.get_integer_constant(l), ef.get_integer_constant(r));
        result.insert(ef.make_integer_constant(value));
      } else {
        const rational value = operation(ef.get_number(l), ef.get_number(r));
        result.insert(ef.make_rational_constant(value));
      }
    }
  }
  return result;
}

ExpressionSet AllValuesEvaluator::walk_times(Expression e) const {
  ExpressionSet result{environment().expression_factory().make_integer_constant(1)};
  for (const Expression child : e->children()) {
    result = combine(result, memoized_value(child), std::multiplies<>());
  }
  return result;
}

ExpressionSet AllValuesEvaluator::walk_plus(Expression e) const {
  ExpressionSet result{environment().expression_factory().make_integer_constant(0)};
  for (const Expression child : e->children()) {
    result = combine(result, memoized_value(child), std::plus<>());
  }
  return result;
}

ExpressionSet AllValuesEvaluator::walk_div(Expression e) const {
  return combine(memoized_value(e->child(0)), memoized_value(e->child(1)), std::divides<>());
}

ExpressionSet AllValuesEvaluator::walk_minus(Expression e) const {
  return combine(memoized_value(e->child(0)), memoized_value(e->child(1)), std::minus<>());
}

ExpressionSet AllValuesEvaluator::walk_fluent_reference(Expression e) const {
  if (const auto values = assignments_.find(e); values != assignments_.end()) {
    return values->second;
  }
  const Fluent fluent = payload_of<FluentPayload>(e).fluent();
  if (fluent->has_parameters()) return {};
  throw InvalidParameterError() << "Missing value for fluent: " << fluent->name();
}

ExpressionSet AllValuesEvaluator::walk_constant_reference(Expression e) const {
  const Constant constant = payload_of<ConstantPayload>(e).constant();
  const FunctionValue value = constant->value();
  const Expression default_value = value == nullptr ? nullptr : value->default_value();
  if (default_value != nullptr) {
    return {as_stored(environment().expression_factory(), constant->type(), default_value)};
  }
  if (constant->has_parameters()) return {};
  throw InvalidParameterError() << "Unknown value for constant: " << constant->name();
}

ExpressionSet AllValuesEvaluator::argument_values(const Type& type, Expression argument) const {
  ExpressionFactory& ef = environment().expression_factory();
  ExpressionSet result;
  for (const Expression value : memoized_value(argument)) {
    if (!is_out_of_bounds(ef, type, value)) result.insert(as_argument(ef, type, value));
  }
  return result;
}

ExpressionSet AllValuesEvaluator::walk_functional_apply(Expression e) const {
  ExpressionFactory& ef = environment().expression_factory();
  const Expression reference = ef.get_reference_from_functional_apply(e);
  const bool is_fluent = ef.is_fluent_reference(reference);
  if (!is_fluent && !ef.is_constant_reference(reference)) {
    throw InternalError("Unknown reference kind!");
  }
  const Constant constant = is_fluent ? nullptr : ef.get_constant_from_reference(reference);
  const Parameters parameters =
      is_fluent ? ef.get_fluent_from_reference(reference)->parameters() : constant->parameters();
  if (e->arity() != parameters.size()) {
    throw InternalError() << "Found an application with a wrong number of arguments: "
                          << print_expression(e);
  }

  std::vector<ExpressionSet> arguments;
  for (std::size_t i = 0; i < e->arity(); ++i) {
    arguments.push_back(argument_values(parameters[i]->type(), e->child(i)));
  }
  const FunctionValue table = is_fluent ? nullptr : constant->value();
  ExpressionSet result;
  for (const std::vector<Expression>& tuple : cartesian_product(arguments)) {
    if (is_fluent) {
      const Expression application = ef.make_functional_apply(reference, tuple);
      const auto values = assignments_.find(application);
      if (values == assignments_.end()) {
        throw InvalidParameterError()
            << "Missing value for fluent function: " << print_expression(application);
      }
      result.insert(values->second.begin(), values->second.end());
    } else {
      const Expression value = table == nullptr ? nullptr : table->assignment(tuple);
      if (value != nullptr) {
        result.insert(as_stored(ef, constant->type(), value));
      } else {
        result.merge(walk_constant_reference(reference));
      }
    }
  }
  return result;
}

ExpressionSet AllValuesEvaluator::walk_default(Expression e) const {
  using Kind = ExpressionOperatorKind;
  const auto fail = [](const char* what) -> ExpressionSet {
    throw InvalidParameterError() << "Trying to evaluate " << what;
  };
  switch (kind_of(e)) {
    case Kind::IN:
      return fail("an set in expression");
    case Kind::SUBSET:
      return fail("a set subset expression");
    case Kind::UNION:
      return fail("a set union expression");
    case Kind::INTERSECTION:
      return fail("a set intersection expression");
    case Kind::DIFFERENCE:
      return fail("a set difference expression");
    case Kind::SET_CONSTANT:
      return fail("a set constant expression");
    case Kind::ASSIGN:
      return fail("an assign expression");
    case Kind::IN_ASSIGN:
      return fail("an in-assign expression");
    case Kind::INTERVAL:
      return fail("an interval expression");
    case Kind::TEMPORAL_EXPR:
      return fail("a temporal expression");
    case Kind::START:
      return fail("a start expression");
    case Kind::END:
      return fail("an end expression");
    case Kind::DURATION:
      return fail("a duration expression");
    case Kind::DOT:
      return fail("a dot expression");
    case Kind::UNRESOLVED_SYMBOL:
      return fail("an unresolved symbol expression");
    case Kind::PARAMETER_REF:
      return fail("a parameter reference");
    case Kind::LABEL_REF:
      return fail("a label expression");
    case Kind::ACTION_STATUS_IS:
      return fail("an action status is expression");
    case Kind::CONTAINS:
      return fail("a contains expression");
    default:
      throw InternalError() << "No values of expression: " << print_expression(e);
  }
}

}  // namespace kelvo::model
