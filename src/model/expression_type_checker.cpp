#include "model/expression_type_checker.h"

#include <functional>
#include <memory>
#include <sstream>

#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "model/numeric_range.h"
#include "shell/environment.h"
#include "shell/long_numbers.h"
#include "shell/warnings.h"

namespace kelvo::model {

namespace {

[[noreturn]] void fail(const char* what, Expression e) {
  throw TypeCheckingError() << what << print_expression(e);
}

/// How the bounds of one type lie to those of another.
enum class Fit { INSIDE, OVERLAPPING, DISJOINT };

template <typename Bound, typename Less>
Fit fit(const NumericRange<Bound>& outer, const NumericRange<Bound>& inner, const Less& less) {
  if (less(outer.upper, inner.lower) || less(inner.upper, outer.lower)) return Fit::DISJOINT;
  const bool inside = !less(inner.lower, outer.lower) && !less(outer.upper, inner.upper);
  return inside ? Fit::INSIDE : Fit::OVERLAPPING;
}

bool exact_less(const PossiblyInfiniteRational& a, const PossiblyInfiniteRational& b) {
  if (a.is_infinite() || b.is_infinite()) {
    const auto rank = [](const PossiblyInfiniteRational& bound) {
      return !bound.is_infinite() ? 0 : bound.is_positive() ? 1 : -1;
    };
    return rank(a) < rank(b);
  }
  return is_less(a.num(), b.num());
}

Fit fit(const TypeBase& outer, const TypeBase& inner) {
  const SmallRange small_outer = small_range(outer);
  const SmallRange small_inner = small_range(inner);
  if (is_valid(small_outer) && is_valid(small_inner)) {
    return fit(small_outer, small_inner, std::less<>());
  }
  return fit(exact_range(outer), exact_range(inner), exact_less);
}

integer integer_of(const SmallBound& bound) {
  return bound.num();
}
integer integer_of(const PossiblyInfiniteRational& bound) {
  return floor(bound.num());
}
rational rational_of(const SmallBound& bound) {
  return bound.num();
}
const rational& rational_of(const PossiblyInfiniteRational& bound) {
  return bound.num();
}

/// The numeric type with these bounds.
template <typename Bound>
Type numeric_type(ModelFactory& factory, const NumericRange<Bound>& range, bool is_integer,
                  const char* range_error) {
  const bool has_lower = !range.lower.is_infinite();
  const bool has_upper = !range.upper.is_infinite();
  const bool consistent = (has_lower || !range.lower.is_positive()) &&
                          (has_upper || range.upper.is_positive()) &&
                          !(has_lower && has_upper && range.lower.num() > range.upper.num());
  if (!consistent) throw InternalError(range_error);
  if (!has_lower && !has_upper) {
    return is_integer ? factory.make_integer_type() : factory.make_rational_type();
  }
  if (has_lower && has_upper) {
    if (is_integer) {
      return factory.make_integer_type(integer_of(range.lower), integer_of(range.upper));
    }
    return factory.make_rational_type(rational_of(range.lower), rational_of(range.upper));
  }
  const Bound& bound = has_lower ? range.lower : range.upper;
  if (is_integer) return factory.make_integer_type(integer_of(bound), has_lower);
  return factory.make_rational_type(rational_of(bound), has_lower);
}

}  // namespace

struct ExpressionTypeChecker::Arithmetic {
  const char* operand_error;
  const char* range_error;
  /// The value without operands.
  int neutral;
  SmallRange (*combine_small)(const SmallRange& left, const SmallRange& right);
  ExactRange (*combine_exact)(const ExactRange& left, const ExactRange& right);
};

ExpressionTypeChecker::ExpressionTypeChecker(Environment& env)
    : ExpressionWalker(env),
      interval_type_(std::make_shared<IntervalType>()),
      void_type_(std::make_shared<VoidType>()) {}

Type ExpressionTypeChecker::boolean_type() const {
  return environment().model_factory().make_boolean_type();
}

Type ExpressionTypeChecker::time_type() const {
  return environment().model_factory().make_rational_type();
}

bool ExpressionTypeChecker::compatible_operands(const Type& a, const Type& b,
                                                bool allow_equals) const {
  if (a == b) return true;
  if (a->is_set() && b->is_set()) {
    const Type& left = as_set_type(a).type();
    const Type& right = as_set_type(b).type();
    return left->is_void() || right->is_void() || (left->is_integer() && right->is_integer()) ||
           (left->is_rational() && right->is_rational());
  }
  if (!a->is_numeric() || !b->is_numeric()) return false;
  if (a->is_integer() && b->is_rational() && !allow_equals) return false;
  return compatible_bounds(a, b, allow_equals);
}

bool ExpressionTypeChecker::compatible_bounds(const Type& a, const Type& b,
                                              bool allow_equals) const {
  const Fit source_in_destination = fit(*a, *b);
  if (source_in_destination == Fit::INSIDE) return true;
  const bool disjoint = source_in_destination == Fit::DISJOINT;
  // An equality is doubtful when it can never hold, an assignment when it can fail.
  if (disjoint && !allow_equals) return false;
  if (disjoint == allow_equals) {
    std::ostringstream text;
    text << (allow_equals ? "Equality" : "Assignment") << " operands bounds not compatible: " << a
         << " and " << b;
    environment().warning_manager().warn(text.str());
  }
  return true;
}

Type ExpressionTypeChecker::boolean_operation(Expression e, const char* what) const {
  for (const Expression child : e->children()) {
    if (!memoized_value(child)->is_boolean()) {
      throw TypeCheckingError() << what << "non-boolean operand: " << print_expression(e);
    }
  }
  return boolean_type();
}

Type ExpressionTypeChecker::comparison(Expression e, const char* what) const {
  if (!t(e, 0)->is_numeric() || !t(e, 1)->is_numeric()) {
    throw TypeCheckingError() << what << "non-numeric operand: " << print_expression(e);
  }
  return boolean_type();
}

Type ExpressionTypeChecker::walk_and(Expression e) const {
  return boolean_operation(e, "Found an and having a ");
}

Type ExpressionTypeChecker::walk_or(Expression e) const {
  return boolean_operation(e, "Found an or having a ");
}

Type ExpressionTypeChecker::walk_not(Expression e) const {
  return boolean_operation(e, "Found a not having a ");
}

Type ExpressionTypeChecker::walk_imply(Expression e) const {
  return boolean_operation(e, "Found an imply having a ");
}

Type ExpressionTypeChecker::walk_iff(Expression e) const {
  return boolean_operation(e, "Found an iff having a ");
}

Type ExpressionTypeChecker::walk_equals(Expression e) const {
  if (!compatible_operands(t(e, 0), t(e, 1), /*allow_equals=*/true)) {
    fail("Found an equality having non-compatible operands: ", e);
  }
  return boolean_type();
}

Type ExpressionTypeChecker::walk_lt(Expression e) const {
  return comparison(e, "Found a '<' having a ");
}

Type ExpressionTypeChecker::walk_le(Expression e) const {
  return comparison(e, "Found a '<=' having a ");
}

Type ExpressionTypeChecker::walk_gt(Expression e) const {
  return comparison(e, "Found a '>' having a ");
}

Type ExpressionTypeChecker::walk_ge(Expression e) const {
  return comparison(e, "Found a '>=' having a ");
}

Type ExpressionTypeChecker::arithmetic(Expression e, const Arithmetic& operation) const {
  bool is_integer = true;
  for (const Expression child : e->children()) {
    const Type& type = memoized_value(child);
    if (!type->is_numeric()) fail(operation.operand_error, e);
    is_integer = is_integer && type->is_integer();
  }
  ModelFactory& factory = environment().model_factory();
  const auto range_of = [&](const auto& read_range, const auto& combine, auto range) {
    for (std::size_t i = 0; i < e->arity(); ++i) {
      const auto operand = read_range(*t(e, i));
      range = i == 0 ? operand : combine(range, operand);
    }
    return range;
  };
  // Exact rationals are two orders of magnitude slower, and bounds are hardly ever so large.
  const SmallRange small = range_of(small_range, operation.combine_small,
                                    SmallRange{operation.neutral, operation.neutral});
  if (is_valid(small)) return numeric_type(factory, small, is_integer, operation.range_error);
  const rational neutral(operation.neutral);
  const ExactRange exact =
      range_of(exact_range, operation.combine_exact, ExactRange{neutral, neutral});
  return numeric_type(factory, exact, is_integer, operation.range_error);
}

Type ExpressionTypeChecker::walk_times(Expression e) const {
  return arithmetic(e, {"Found a multiplication having a non-numeric operand: ",
                        "Inconsistent upper-lower bound in type-checking multiplication", 1,
                        product_range<SmallBound>, product_range<PossiblyInfiniteRational>});
}

Type ExpressionTypeChecker::walk_plus(Expression e) const {
  return arithmetic(e, {"Found a sum having a non-numeric operand: ",
                        "Inconsistent upper-lower bound in type-checking sum", 0,
                        sum_range<SmallBound>, sum_range<PossiblyInfiniteRational>});
}

Type ExpressionTypeChecker::walk_div(Expression e) const {
  return arithmetic(e, {"Found a division having a non-numeric operand: ",
                        "Inconsistent upper-lower bound in type-checking division", 1,
                        quotient_range<SmallBound>, quotient_range<PossiblyInfiniteRational>});
}

Type ExpressionTypeChecker::walk_minus(Expression e) const {
  return arithmetic(e, {"Found a subtraction having a non-numeric operand: ",
                        "Inconsistent upper-lower bound in type-checking subtraction", 0,
                        difference_range<SmallBound>, difference_range<PossiblyInfiniteRational>});
}

Type ExpressionTypeChecker::walk_in(Expression e) const {
  const Type& element = t(e, 0);
  bool compatible = false;
  if (t(e, 1)->is_set()) {
    const Type& member = as_set_type(t(e, 1)).type();
    compatible = element == member || member->is_void() ||
                 (element->is_integer() && member->is_integer()) ||
                 (element->is_rational() && member->is_rational());
  }
  if (!compatible) fail("Found an expression having non-compatible operands: ", e);
  return boolean_type();
}

void ExpressionTypeChecker::check_sets(Expression e) const {
  const Type& left = t(e, 0);
  const Type& right = t(e, 1);
  if (!left->is_set() || !right->is_set() ||
      !compatible_operands(left, right, /*allow_equals=*/false)) {
    fail("Found an expression having non-compatible operands: ", e);
  }
}

Type ExpressionTypeChecker::set_operation(Expression e) const {
  check_sets(e);
  return as_set_type(t(e, 0)).type()->is_void() ? t(e, 1) : t(e, 0);
}

Type ExpressionTypeChecker::walk_subset(Expression e) const {
  check_sets(e);
  return boolean_type();
}

Type ExpressionTypeChecker::walk_union(Expression e) const {
  return set_operation(e);
}

Type ExpressionTypeChecker::walk_intersection(Expression e) const {
  return set_operation(e);
}

Type ExpressionTypeChecker::walk_difference(Expression e) const {
  return set_operation(e);
}

Type ExpressionTypeChecker::walk_assign(Expression e) const {
  if (!compatible_operands(t(e, 0), t(e, 1), /*allow_equals=*/false)) {
    fail("Found an assign having non-compatible operands: ", e);
  }
  return void_type_;
}

Type ExpressionTypeChecker::walk_in_assign(Expression e) const {
  if (!t(e, 0)->is_rational() || !t(e, 1)->is_interval()) {
    fail("Found an :in assign having non-compatible operands: ", e);
  }
  return void_type_;
}

Type ExpressionTypeChecker::walk_interval(Expression e) const {
  for (const Expression bound : e->children()) {
    if (!memoized_value(bound)->is_numeric()) {
      fail("Found an interval having a non-numeric bound: ", e);
    }
  }
  return interval_type_;
}

Type ExpressionTypeChecker::walk_temporal_expression(Expression e) const {
  if (!t(e, 0)->is_interval()) {
    fail("Found a temporal expression having a non-interval as first operand: ", e);
  }
  if (!t(e, 1)->is_boolean() && !t(e, 1)->is_void()) {
    fail("Found a temporal expression having a non-boolean and non-void as second operand: ", e);
  }
  return t(e, 1);
}

Type ExpressionTypeChecker::walk_start(Expression) const {
  return time_type();
}

Type ExpressionTypeChecker::walk_end(Expression) const {
  return time_type();
}

Type ExpressionTypeChecker::walk_duration(Expression) const {
  return time_type();
}

Type ExpressionTypeChecker::walk_true(Expression) const {
  return boolean_type();
}

Type ExpressionTypeChecker::walk_false(Expression) const {
  return boolean_type();
}

Type ExpressionTypeChecker::walk_rational_constant(Expression e) const {
  const rational& value = environment().expression_factory().get_rational_constant(e);
  return environment().model_factory().make_rational_type(value, value);
}

Type ExpressionTypeChecker::walk_set_constant(Expression e) const {
  ModelFactory& factory = environment().model_factory();
  if (e->arity() == 0) return factory.make_set_type(void_type_);
  for (std::size_t i = 1; i < e->arity(); ++i) {
    if (!compatible_operands(t(e, 0), t(e, i), /*allow_equals=*/false)) {
      fail("Found an expression having non-compatible operands: ", e);
    }
  }
  return factory.make_set_type(t(e, 0));
}

Type ExpressionTypeChecker::walk_integer_constant(Expression e) const {
  const integer& value = environment().expression_factory().get_integer_constant(e);
  return environment().model_factory().make_integer_type(value, value);
}

Type ExpressionTypeChecker::walk_dot(Expression e) const {
  return t(e, 1);
}

Type ExpressionTypeChecker::walk_unresolved_symbol(Expression e) const {
  if (payload_of<IdentifierPayload>(e).name() == "*") {
    throw InternalError("Symbol '*' used in a not allowed position");
  }
  throw InternalError() << "Not implemented 'unresolved_symbol': " << print_expression(e);
}

Type ExpressionTypeChecker::walk_fluent_reference(Expression e) const {
  return environment().expression_factory().get_fluent_from_reference(e)->type();
}

Type ExpressionTypeChecker::walk_constant_reference(Expression e) const {
  return environment().expression_factory().get_constant_from_reference(e)->type();
}

Type ExpressionTypeChecker::walk_parameter_reference(Expression e) const {
  return environment().expression_factory().get_parameter_from_reference(e)->type();
}

Type ExpressionTypeChecker::walk_instance_reference(Expression e) const {
  return environment().expression_factory().get_instance_from_reference(e)->type();
}

Type ExpressionTypeChecker::walk_label_reference(Expression) const {
  return time_type();
}

Type ExpressionTypeChecker::walk_functional_apply(Expression e) const {
  const ExpressionFactory& ef = environment().expression_factory();
  Expression reference = ef.get_reference_from_functional_apply(e);
  if (ef.is_scoping(reference)) reference = reference->child(1);

  if (ef.is_fluent_reference(reference)) {
    const Fluent fluent = ef.get_fluent_from_reference(reference);
    check_arguments(e, fluent->parameters());
    return fluent->type();
  }
  if (ef.is_constant_reference(reference)) {
    const Constant constant = ef.get_constant_from_reference(reference);
    check_arguments(e, constant->parameters());
    return constant->type();
  }
  fail("Found a functional apply having no fluent or constant reference: ", e);
}

void ExpressionTypeChecker::check_arguments(Expression e, const Parameters& parameters) const {
  if (e->arity() != parameters.size()) {
    throw TypeCheckingError("Found a functional apply having wrong number of parameters");
  }
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    const Type formal = parameters[i]->type();
    const Type& actual = t(e, i);
    if (!compatible_operands(formal, actual, /*allow_equals=*/false)) {
      throw TypeCheckingError() << "Found a functional apply having non-compatible children: "
                                << print_expression(e) << " type of parameter " << i + 1 << " is "
                                << actual << " while it should be " << formal;
    }
  }
}

Type ExpressionTypeChecker::walk_contains(Expression e) const {
  if (!t(e, 0)->is_interval()) {
    fail("Found a containment expression having a non-interval as first operand: ", e);
  }
  if (e->arity() > 1 && !t(e, 1)->is_numeric()) {
    fail("Found a containment expression having a non-numeric as second operand: ", e);
  }
  return interval_type_;
}

Type ExpressionTypeChecker::walk_action_status_is(Expression) const {
  return boolean_type();
}

}  // namespace kelvo::model
