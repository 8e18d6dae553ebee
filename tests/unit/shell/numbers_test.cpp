#include "shell/numbers.h"

#include <gtest/gtest.h>

#include <string>
#include <unordered_set>
#include <utility>

#include "shell/errors.h"
#include "shell/long_numbers.h"

namespace kelvo {
namespace {

rational fraction(long above, long below) {
  return rational(above, below);
}

TEST(NumbersTest, RationalFromStringReadsDecimalNotation) {
  const std::pair<const char*, rational> cases[] = {
      {"0.01", fraction(1, 100)},
      {"1.50", fraction(3, 2)},
      {".5", fraction(1, 2)},
      {"007.25", fraction(29, 4)},
      {"3", 3},
      {"1/3", fraction(1, 3)},
      {"6/4", fraction(3, 2)},
      {"2.000", 2},
      {"0", 0},
      {"000", 0},
      {"0.0", 0},
      {"010", 10},  // not octal
      {"08.09", fraction(809, 100)},
      {"010/020", fraction(1, 2)},
      {"-1.25", fraction(-5, 4)},
      {"9999999999999999999", rational(integer("9999999999999999999"))},
      {"0123456789012345678901234567890", rational(integer("123456789012345678901234567890"))},
      {"0.000000000000000000000000000001",
       rational(integer(1), integer("1000000000000000000000000000000"))},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(rational_from_string(text), expected) << text;
  }
}

TEST(NumbersTest, WhatIsNoNumberIsRefusedWithItsText) {
  for (const char* text : {"", ".", "1.", "-", "abc", "1.2.3", "1e5", "5/0", "1/", "/2", "0x1F",
                           "+3", " 3", "3 ", "1.-5", "--2", "1/-2"}) {
    try {
      rational_from_string(text);
      FAIL() << "accepted '" << text << "'";
    } catch (const InvalidParameterError& error) {
      EXPECT_EQ(error.message(),
                "InvalidParameterError: '" + std::string(text) + "' is not a number");
    }
  }
  EXPECT_THROW(integer_from_string("1.5"), InvalidParameterError);
  EXPECT_EQ(integer_from_string("-0042"), integer(-42));
}

// Long numbers take another way, which the short ones judge here; the number library does so for
// those of a few hundred digits.
TEST(NumbersTest, LongNumbersReadAndPrintAsShortOnesDo) {
  for (const std::size_t size : {90U, 99U, 100U, 101U, 102U, 150U, 155U, 300U, 700U}) {
    std::string digits;
    for (std::size_t i = 0; i < size; ++i) digits += static_cast<char>('1' + i * i % 9);
    const integer whole(digits);
    EXPECT_EQ(integer_from_string(digits), whole);
    EXPECT_EQ(integer_from_string("-000" + digits), integer(-whole));
    EXPECT_EQ(to_text(whole), digits);
    EXPECT_EQ(to_text(integer(-whole)), "-" + digits);
    const integer scale = boost::multiprecision::pow(integer(10), static_cast<unsigned>(size));
    EXPECT_EQ(rational_from_string("7." + digits), rational(whole + 7 * scale, scale));
    EXPECT_EQ(rational_from_string("-0." + digits + "5"), rational(-(whole * 10 + 5), scale * 10));
    EXPECT_EQ(rational_from_string("." + std::string(size, '0') + "25"), rational(1, scale * 4));
    EXPECT_EQ(rational_from_string(digits + "." + std::string(size, '0')), rational(whole));
    const integer below = whole / 3 + 1;
    const rational quotient(whole * 6, below * 4);
    const std::string text = to_text(integer(whole * 6)) + "/" + to_text(integer(below * 4));
    EXPECT_EQ(rational_from_string(text), quotient);
    EXPECT_EQ(to_text(quotient), numerator(quotient).str() + "/" + denominator(quotient).str());
    EXPECT_EQ(to_text(rational(-quotient)), "-" + to_text(quotient));
  }
  EXPECT_EQ(to_text(rational(-5)), "-5");
  EXPECT_EQ(to_text(integer(0)), "0");
}

TEST(NumbersTest, LongNumbersAddAndCompareAsShortOnesDo) {
  const integer large = boost::multiprecision::pow(integer(10), 400) + 7;
  const rational values[] = {
      0,
      fraction(-3, 4),
      rational(large),
      rational(-large),
      rational(large, 12),
      rational(1, large),
      rational(integer(1 - large), large),
      rational(large * 3 + 1, large * 2),
  };
  for (const rational& a : values) {
    EXPECT_EQ(negated(a), rational(-a));
    for (const rational& b : values) {
      const rational both = sum(a, b);
      EXPECT_EQ(both, rational(a + b));
      EXPECT_EQ(to_text(both), to_text(rational(a + b))) << "reduced";
      EXPECT_EQ(is_less(a, b), a < b);
    }
  }
}

// With a quadratic algorithm each of these takes from half a minute to several minutes.
TEST(NumbersTest, AMillionDigitsAreReadAndPrinted) {
  std::string digits(1000000, '7');
  digits.front() = '1';
  EXPECT_EQ(to_text(integer_from_string(digits)), digits);
  const rational decimal = rational_from_string("0." + digits);
  EXPECT_EQ(to_text(numerator(decimal)), digits);
  EXPECT_EQ(to_text(rational_from_string(digits + "/" + digits)), "1");
  const rational whole = rational_from_string(digits);
  EXPECT_TRUE(is_less(fraction(1, 100), whole));
  EXPECT_EQ(to_text(sum(whole, negated(whole))), "0");
  EXPECT_EQ(to_text(sum(whole, fraction(1, 10))), digits + "1/10");
}

TEST(NumbersTest, FloorTruncatesTowardZeroAndCeilFollowsFromIt) {
  struct Case {
    rational value;
    long floor, ceil, round;
  };
  const Case cases[] = {
      {fraction(3, 2), 1, 2, 2},
      {fraction(5, 2), 2, 3, 3},
      {fraction(7, 3), 2, 3, 2},
      {fraction(-3, 2), -1, 0, -1},
      {4, 4, 4, 4},
      {-4, -4, -4, -4},
      {fraction(-1, 3), 0, 1, 0},
      {0, 0, 0, 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(floor(c.value), c.floor) << c.value;
    EXPECT_EQ(ceil(c.value), c.ceil) << c.value;
    EXPECT_EQ(round(c.value), c.round) << c.value;
  }
}

TEST(NumbersTest, RoundToDigitsAndToDouble) {
  EXPECT_EQ(round(fraction(1, 3), 2), fraction(33, 100));
  EXPECT_EQ(round(fraction(2, 3), 3), fraction(667, 1000));
  EXPECT_EQ(round(fraction(5, 4), 0), rational(1));
  EXPECT_DOUBLE_EQ(to_double(fraction(-1, 8)), -0.125);
  EXPECT_TRUE(is_integral(fraction(8, 4)));
  EXPECT_FALSE(is_integral(fraction(1, 2)));
}

TEST(NumbersTest, HashesOfEqualNumbersAgreeAndASignDoesNotCount) {
  EXPECT_EQ(std::hash<rational>{}(fraction(6, 4)), std::hash<rational>{}(fraction(3, 2)));
  EXPECT_EQ(std::hash<rational>{}(fraction(-7, 2)), std::hash<rational>{}(fraction(7, 2)));
  EXPECT_EQ(std::hash<integer>{}(integer(-12)), std::hash<integer>{}(integer(12)));
  EXPECT_NE(std::hash<integer>{}(integer(12)), std::hash<integer>{}(integer(13)));
  const std::unordered_set<rational> numbers = {fraction(1, 2), fraction(1, 3), fraction(2, 4)};
  EXPECT_EQ(numbers.size(), 2u);
}

}  // namespace
}  // namespace kelvo
