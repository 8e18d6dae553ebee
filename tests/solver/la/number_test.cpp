#include "solver/terms/number.h"

#include <gmp.h>
#include <gtest/gtest.h>

#include <random>

namespace ordax {
namespace {

// The oracle: GMP's own rationals.
class Rational {
 public:
  explicit Rational(const std::string& text) {
    mpq_init(value_);
    mpq_set_str(value_, text.c_str(), 10);
    mpq_canonicalize(value_);
  }
  Rational(const Rational&) = delete;
  Rational& operator=(const Rational&) = delete;
  ~Rational() { mpq_clear(value_); }
  std::string text() const {
    char* raw = mpq_get_str(nullptr, 10, value_);
    std::string result(raw);
    void (*release)(void*, std::size_t) = nullptr;
    mp_get_memory_functions(nullptr, nullptr, &release);
    release(raw, result.size() + 1);
    return result;
  }
  mpq_t value_;
};

// Numbers around every edge: table size, word size, the missing -2^63.
std::string random_integer(std::mt19937_64& random) {
  static const char* const edges[] = {"0",
                                      "1",
                                      "2",
                                      "1023",
                                      "1024",
                                      "2147483648",
                                      "4611686018427387904",
                                      "9223372036854775807",
                                      "9223372036854775808",
                                      "9223372036854775809",
                                      "18446744073709551616",
                                      "340282366920938463463374607431768211457"};
  std::string text;
  switch (random() % 4) {
    case 0:
      text = edges[random() % std::size(edges)];
      break;
    case 1:
      text = std::to_string(random() % 50);
      break;
    case 2:
      text = std::to_string(random() % 5000000000ULL);
      break;
    default:
      text = std::to_string(random() >> 1);
  }
  return random() % 2 == 0 && text != "0" ? "-" + text : text;
}

std::string random_number(std::mt19937_64& random) {
  std::string text = random_integer(random);
  if (random() % 2 == 0) return text;
  std::string bottom = random_integer(random);
  if (bottom == "0") bottom = "7";
  if (bottom[0] == '-') bottom.erase(0, 1);
  return text + "/" + bottom;
}

int sign(int x) {
  return (x > 0) - (x < 0);
}

TEST(NumberTest, ArithmeticAgreesWithGmp) {
  std::mt19937_64 random(3);
  for (int round = 0; round < 40000; ++round) {
    const std::string left = random_number(random);
    const std::string right = random_number(random);
    const Rational p(left);
    const Rational q(right);
    Rational r("0");
    const Number a = Number::from_str(left);
    const Number b = Number::from_str(right);
    ASSERT_EQ(a.to_string(), p.text());
    mpq_add(r.value_, p.value_, q.value_);
    ASSERT_EQ((a + b).to_string(), r.text()) << left << " + " << right;
    // The form is canonical: what fits is small, whatever way it was computed.
    ASSERT_EQ((a + b).hash(), Number::from_str(r.text()).hash());
    ASSERT_TRUE(a + b == Number::from_str(r.text()));
    mpq_sub(r.value_, p.value_, q.value_);
    ASSERT_EQ((a - b).to_string(), r.text()) << left << " - " << right;
    mpq_mul(r.value_, p.value_, q.value_);
    ASSERT_EQ((a * b).to_string(), r.text()) << left << " * " << right;
    Number fused = b;
    fused.addmul(a, b);
    mpq_add(r.value_, r.value_, q.value_);
    ASSERT_EQ(fused.to_string(), r.text()) << right << " + " << left << " * " << right;
    if (!b.is_zero()) {
      mpq_div(r.value_, p.value_, q.value_);
      ASSERT_EQ((a / b).to_string(), r.text()) << left << " / " << right;
    }
    ASSERT_EQ(sign(Number::compare(a, b)), sign(mpq_cmp(p.value_, q.value_)));
    ASSERT_EQ(a == b, mpq_equal(p.value_, q.value_) != 0);
    ASSERT_EQ(a.sign(), mpq_sgn(p.value_));
    Rational rounded("0");
    mpz_fdiv_q(mpq_numref(rounded.value_), mpq_numref(p.value_), mpq_denref(p.value_));
    ASSERT_EQ(a.floor().to_string(), rounded.text()) << left;
    mpz_cdiv_q(mpq_numref(rounded.value_), mpq_numref(p.value_), mpq_denref(p.value_));
    ASSERT_EQ(a.ceil().to_string(), rounded.text()) << left;
    mpz_gcd(mpq_numref(rounded.value_), mpq_numref(p.value_), mpq_numref(q.value_));
    ASSERT_EQ(Number::gcd(a.numerator(), b.numerator()).to_string(), rounded.text());
    mpz_lcm(mpq_numref(rounded.value_), mpq_denref(p.value_), mpq_denref(q.value_));
    ASSERT_EQ(Number::lcm(a.denominator(), b.denominator()).to_string(), rounded.text());
  }
}

TEST(NumberTest, OperandsMayBeTheSameNumber) {
  for (const char* text : {"5", "-7/3", "9223372036854775807", "18446744073709551616/3"}) {
    Number a = Number::from_str(text);
    const Number& same = a;
    const Number start = a;
    a += same;
    EXPECT_EQ(a, start * Number(2));
    a -= same;
    EXPECT_TRUE(a.is_zero());
    a = start;
    a *= same;
    EXPECT_EQ(a, start * start);
    a = start;
    a.addmul(same, same);
    EXPECT_EQ(a, start + start * start);
    a = start;
    a /= same;
    EXPECT_TRUE(a.is_one());
    a = start;
    a = same;
    EXPECT_EQ(a, start);
    const Number moved = std::move(a);
    EXPECT_EQ(moved, start);
    EXPECT_TRUE(a.is_zero()) << "a moved number is 0";
  }
}

TEST(NumberTest, ReturnsToTheSmallFormButNeverForTheLeastWord) {
  const Number top(std::numeric_limits<std::int64_t>::max());
  EXPECT_TRUE(top.is_small());
  EXPECT_FALSE((top + Number(1)).is_small());
  EXPECT_TRUE((top + Number(1) - Number(1)).is_small());
  const Number least(std::numeric_limits<std::int64_t>::min());
  EXPECT_FALSE(least.is_small());
  EXPECT_EQ((-least).to_string(), "9223372036854775808");
  EXPECT_EQ(least.abs(), top + Number(1));
  EXPECT_FALSE((-top - Number(1)).is_small());
  EXPECT_EQ(-top - Number(1), least);
  EXPECT_TRUE((least + Number(1)).is_small());
  EXPECT_EQ(Number(std::numeric_limits<std::int64_t>::min(), 2).to_string(),
            "-4611686018427387904");
  EXPECT_EQ(Number(6, -4).to_string(), "-3/2");
}

TEST(NumberTest, ReadsItsOwnGrammarOnly) {
  const std::pair<const char*, const char*> good[] = {
      {"0", "0"},
      {"-0", "0"},
      {"12", "12"},
      {"007", "7"},
      {"6/4", "3/2"},
      {"-6/3", "-2"},
      {"0/5", "0"},
      {"2.50", "5/2"},
      {"-0.125", "-1/8"},
      {"0.0", "0"},
      {"36893488147419103232/18446744073709551616", "2"}};
  for (const auto& [text, expected] : good) {
    EXPECT_EQ(Number::from_str(text).to_string(), expected) << text;
  }
  for (const char* text : {"", "-", "+1", " 1", "1 ", "1/0", "1/-2", "1e3", ".5", "5.", "1/2/3",
                           "1.2.3", "0x10", "1/", "/2", "--1", "1.5/2", "a"}) {
    try {
      Number::from_str(text);
      ADD_FAILURE() << text;
    } catch (const Number::error& e) {
      EXPECT_EQ(e.message(), std::string("invalid argument to Number::from_str: ") + text);
    }
  }
}

}  // namespace
}  // namespace ordax
