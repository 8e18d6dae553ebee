#include "smt/quotients.h"

#include "model/expression_type_checker.h"
#include "model/print_expression.h"
#include "model/types.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/hashing.h"
#include "smt/smt_factory.h"

namespace kelvo::smt {

using model::Expression;

namespace {

/// More values of a divisor than these would make too many cases.
constexpr int kMaxDivisors = 1000;

// A case of a divisor: what must hold, null for the last one, and the value.
using Case = std::pair<Formula, Formula>;

// The cases of a chain of if-then-else with constant leaves, or nothing.
std::vector<Case> constant_cases(const SmtFactory& factory, Formula term) {
  std::vector<Case> cases;
  while (factory.is_ite(term)) {
    if (!factory.is_rational_constant(term->child(1))) return {};
    cases.emplace_back(term->child(0), term->child(1));
    term = term->child(2);
  }
  if (!factory.is_rational_constant(term)) return {};
  cases.emplace_back(nullptr, term);
  return cases;
}

// The cases of a term of a small integer type, or nothing.
std::vector<Case> integer_cases(SmtFactory& factory, Formula term, const model::Type& type) {
  if (!type->is_integer() || !type->is_finite_domain()) return {};
  const model::IntegerTypeBase& range = model::as_integer_type(type);
  const integer& lower = range.lower_bound();
  const integer& upper = range.upper_bound();
  if (upper - lower > kMaxDivisors) return {};
  std::vector<Case> cases;
  for (integer value = lower; value <= upper; ++value) {
    const Formula number = factory.make_rational_constant(rational(value));
    const Formula is_value = value == upper ? nullptr : factory.make_equals(term, number);
    cases.emplace_back(is_value, number);
  }
  return cases;
}

}  // namespace

std::size_t Quotients::PairHash::operator()(const std::pair<Formula, Formula>& key) const {
  std::size_t h = key.first->id();
  hash_combine(h, key.second->id());
  return h;
}

Formula Quotients::quotient(Environment& env, Expression e, Formula dividend, Formula divisor) {
  const model::Type dividend_type = env.type_checker()(e->child(0));
  const model::Type divisor_type = env.type_checker()(e->child(1));
  const bool is_integer = dividend_type->is_integer() && divisor_type->is_integer();
  if (factory_.is_rational_constant(divisor)) return by_constant(dividend, divisor, is_integer);
  std::vector<Case> cases = constant_cases(factory_, divisor);
  if (cases.empty()) cases = integer_cases(factory_, divisor, divisor_type);
  if (cases.empty()) {
    throw InternalError() << "Non-linear division found, the divisor has no small set of values: "
                          << model::print_expression(e);
  }
  Formula result = nullptr;
  for (auto it = cases.rbegin(); it != cases.rend(); ++it) {
    const Formula value = by_constant(dividend, it->second, is_integer);
    result = result == nullptr ? value : factory_.make_ite(it->first, value, result);
  }
  return result;
}

Formula Quotients::by_constant(Formula dividend, Formula divisor, bool is_integer) {
  const rational& number = factory_.get_rational_constant(divisor);
  if (number == 0) return factory_.make_rational_constant(0);
  if (!is_integer) return factory_.make_div(dividend, divisor);
  if (factory_.is_rational_constant(dividend)) {
    const rational exact = factory_.get_rational_constant(dividend) / number;
    return factory_.make_rational_constant(rational(numerator(exact) / denominator(exact)));
  }
  return number == 1 ? dividend : cut_off(dividend, number);
}

Formula Quotients::cut_off(Formula dividend, const rational& divisor) {
  const Formula number = factory_.make_rational_constant(divisor);
  const auto [entry, is_new] = cut_off_.try_emplace({dividend, number}, nullptr);
  if (!is_new) return entry->second;
  const Formula quotient = factory_.make_fresh_variable(factory_.integer_type(), "quotient_");
  entry->second = quotient;
  // The rest has the sign of the dividend and is smaller than the divisor.
  const Formula product = factory_.make_times(number, quotient);
  const Formula rest = factory_.make_minus(dividend, product);
  const Formula zero = factory_.make_rational_constant(0);
  const rational size = divisor < 0 ? rational(-divisor) : divisor;
  const Formula above = factory_.make_rational_constant(size);
  const Formula below = factory_.make_rational_constant(rational(-size));
  const Formula not_negative = factory_.make_ge(dividend, zero);
  const Formula rest_from_zero = factory_.make_ge(rest, zero);
  const Formula rest_below_divisor = factory_.make_lt(rest, above);
  const Formula upper_case = factory_.make_and(rest_from_zero, rest_below_divisor);
  const Formula rest_to_zero = factory_.make_le(rest, zero);
  const Formula rest_above_divisor = factory_.make_gt(rest, below);
  const Formula lower_case = factory_.make_and(rest_to_zero, rest_above_divisor);
  const Formula negative = factory_.make_not(not_negative);
  constraints_.push_back(factory_.make_implies(not_negative, upper_case));
  constraints_.push_back(factory_.make_implies(negative, lower_case));
  return quotient;
}

}  // namespace kelvo::smt
