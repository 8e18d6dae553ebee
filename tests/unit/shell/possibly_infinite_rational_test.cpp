#include "shell/possibly_infinite_rational.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "shell/errors.h"

namespace kelvo {
namespace {

using Number = PossiblyInfiniteRational;

const Number plus_inf = Number::infinity(/*positive=*/true);
const Number minus_inf = Number::infinity(/*positive=*/false);
const Number zero = rational(0);
const Number two = rational(2);
const Number minus_three = rational(-3);

std::string text(const Number& x) {
  if (x.is_infinite()) return x.is_positive() ? "+inf" : "-inf";
  return x.num().str();
}

std::string text_or_error(const std::function<Number()>& operation) {
  try {
    return text(operation());
  } catch (const InternalError& error) {
    return error.message();
  }
}

TEST(PossiblyInfiniteRationalTest, ArithmeticFollowsTheTable) {
  const std::string no_sum = "InternalError: Sum between -inf and +inf is not possible";
  const std::string no_difference =
      "InternalError: Subtraction between -inf and -inf or between +inf and +inf is not possible";
  const std::string by_infinity =
      "InternalError: Division having the divisor not finite is not allowed";
  const std::string by_zero =
      "InternalError: Division having the divisor equal to 0 is not possible";
  struct Case {
    Number left, right;
    std::string sum, difference, product, quotient;
  };
  const Case cases[] = {
      {two, minus_three, "-1", "5", "-6", "-2/3"},
      {plus_inf, plus_inf, "+inf", no_difference, "+inf", by_infinity},
      {minus_inf, minus_inf, "-inf", no_difference, "+inf", by_infinity},
      {plus_inf, minus_inf, no_sum, "+inf", "-inf", by_infinity},
      {minus_inf, plus_inf, no_sum, "-inf", "-inf", by_infinity},
      {plus_inf, two, "+inf", "+inf", "+inf", "+inf"},
      {plus_inf, minus_three, "+inf", "+inf", "-inf", "-inf"},
      {minus_inf, minus_three, "-inf", "-inf", "+inf", "+inf"},
      {two, plus_inf, "+inf", "-inf", "+inf", by_infinity},
      {minus_three, minus_inf, "-inf", "+inf", "+inf", by_infinity},
      {plus_inf, zero, "+inf", "+inf", "-inf", by_zero},
      {zero, plus_inf, "+inf", "-inf", "-inf", by_infinity},
      {zero, minus_inf, "-inf", "+inf", "-inf", by_infinity},
      {zero, zero, "0", "0", "0", by_zero},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(text(c.left) + " and " + text(c.right));
    EXPECT_EQ(text_or_error([&c] { return c.left + c.right; }), c.sum);
    EXPECT_EQ(text_or_error([&c] { return c.left - c.right; }), c.difference);
    EXPECT_EQ(text_or_error([&c] { return c.left * c.right; }), c.product);
    EXPECT_EQ(text_or_error([&c] { return c.left / c.right; }), c.quotient);
  }
}

TEST(PossiblyInfiniteRationalTest, MinusInfinityIsBelowAndPlusInfinityAboveAllNumbers) {
  const Number in_order[] = {minus_inf, minus_three, zero, two, plus_inf};
  for (const Number& low : in_order) {
    for (const Number& high : in_order) {
      if (&low > &high) continue;
      EXPECT_EQ(text(min(low, high)), text(low));
      EXPECT_EQ(text(min(high, low)), text(low));
      EXPECT_EQ(text(max(low, high)), text(high));
      EXPECT_EQ(text(max(high, low)), text(high));
    }
  }
  const Number other_two = rational(2);
  EXPECT_EQ(&min(two, other_two), &two);
  EXPECT_EQ(&max(two, other_two), &two);
}

TEST(PossiblyInfiniteRationalTest, AnInfinityHasNoNumber) {
  EXPECT_EQ(text_or_error([] { return Number(plus_inf.num()); }),
            "InternalError: Accessing num() on an infinite PossiblyInfiniteRational instance");
  EXPECT_TRUE(zero.is_positive());
  EXPECT_FALSE(minus_three.is_positive());
}

}  // namespace
}  // namespace kelvo
