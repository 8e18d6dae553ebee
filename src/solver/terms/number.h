#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "solver/base/exception.h"

namespace ordax {

/// An exact rational in two machine words.
///
/// Small form: a 64-bit numerator and a positive 64-bit denominator in lowest terms; -2^63 is never
/// a small numerator, so negation cannot overflow. Big form: the denominator word is 0 and the
/// numerator word holds a pointer to a record of two GMP integers. A value that fits the small form
/// is always small, so the form is canonical: equal values have equal forms.
///
/// A number is used by one thread at a time; the scratch integers of the slow paths are per thread.
class Number {
 public:
  class error : public Exception {
   public:
    using Exception::Exception;
  };

  Number() noexcept : num_(0), den_(1) {}
  Number(std::int64_t value) : num_(value), den_(1) {  // NOLINT: an integer is a number
    if (value == kMin) make_min();
  }
  Number(int value) noexcept : num_(value), den_(1) {}  // NOLINT: an integer is a number
  /// The fraction `numerator / denominator`, brought to lowest terms. The denominator is not 0.
  Number(std::int64_t numerator, std::int64_t denominator);

  Number(const Number& other) : num_(other.num_), den_(other.den_) {
    if (den_ == 0) copy_big(other);
  }
  Number(Number&& other) noexcept : num_(other.num_), den_(other.den_) {
    other.num_ = 0;
    other.den_ = 1;
  }
  Number& operator=(const Number& other) {
    if (den_ != 0 && other.den_ != 0) {
      num_ = other.num_;
      den_ = other.den_;
    } else {
      assign_slow(other);
    }
    return *this;
  }
  Number& operator=(Number&& other) noexcept {
    std::swap(num_, other.num_);
    std::swap(den_, other.den_);
    return *this;
  }
  ~Number() {
    if (den_ == 0) free_big();
  }

  /// Reads an integer, a fraction `p/q` or a decimal, each with an optional leading minus. There is
  /// at least one digit on each side of a point, and `q` is positive. Anything else throws `error`
  /// with the text "invalid argument to Number::from_str: " and the argument.
  static Number from_str(std::string_view text);

  /// "p" or "p/q" in lowest terms.
  std::string to_string() const;

  bool is_zero() const { return num_ == 0 && den_ != 0; }
  bool is_one() const { return num_ == 1 && den_ == 1; }
  bool is_minus_one() const { return num_ == -1 && den_ == 1; }
  bool is_small() const { return den_ != 0; }
  bool is_integer() const { return den_ == 1 || (den_ == 0 && big_is_integer()); }
  /// -1, 0 or 1.
  int sign() const {
    if (den_ != 0) return (num_ > 0) - (num_ < 0);
    return big_sign();
  }
  /// True for an integer of the small form, whose value is then `small_numerator()`.
  bool is_small_integer() const { return den_ == 1; }
  std::int64_t small_numerator() const { return num_; }
  std::int64_t small_denominator() const { return den_; }

  Number numerator() const;
  Number denominator() const;
  Number floor() const;
  Number ceil() const;
  Number abs() const { return sign() < 0 ? -*this : *this; }
  /// One over this number, which is not 0.
  Number inverse() const;
  double to_double() const;
  std::size_t hash() const {
    if (den_ != 0) {
      const auto n = static_cast<std::uint64_t>(num_);
      const auto d = static_cast<std::uint64_t>(den_);
      return static_cast<std::size_t>((n * 0x9E3779B97F4A7C15u) ^ (d * 0xC2B2AE3D27D4EB4Fu) ^
                                      (n >> 31));
    }
    return big_hash();
  }

  void negate() {
    if (den_ != 0) {
      num_ = -num_;
    } else {
      negate_big();
    }
  }
  Number operator-() const {
    Number result(*this);
    result.negate();
    return result;
  }

  Number& operator+=(const Number& other) {
    std::int64_t sum = 0;
    if (den_ == 1 && other.den_ == 1 && !__builtin_add_overflow(num_, other.num_, &sum) &&
        sum != kMin) {
      num_ = sum;
    } else {
      add_slow(other, /*subtract=*/false);
    }
    return *this;
  }
  Number& operator-=(const Number& other) {
    std::int64_t difference = 0;
    if (den_ == 1 && other.den_ == 1 && !__builtin_sub_overflow(num_, other.num_, &difference) &&
        difference != kMin) {
      num_ = difference;
    } else {
      add_slow(other, /*subtract=*/true);
    }
    return *this;
  }
  Number& operator*=(const Number& other) {
    std::int64_t product = 0;
    if (den_ == 1 && other.den_ == 1 && !__builtin_mul_overflow(num_, other.num_, &product) &&
        product != kMin) {
      num_ = product;
    } else {
      mul_slow(other);
    }
    return *this;
  }
  /// The divisor is not 0.
  Number& operator/=(const Number& other);

  /// Adds `a * b` to this number; the operands may be this number itself.
  Number& addmul(const Number& a, const Number& b) {
    std::int64_t product = 0;
    std::int64_t sum = 0;
    if (den_ == 1 && a.den_ == 1 && b.den_ == 1 &&
        !__builtin_mul_overflow(a.num_, b.num_, &product) &&
        !__builtin_add_overflow(num_, product, &sum) && sum != kMin) {
      num_ = sum;
      return *this;
    }
    return addmul_slow(a, b);
  }

  friend Number operator+(Number a, const Number& b) { return std::move(a += b); }
  friend Number operator-(Number a, const Number& b) { return std::move(a -= b); }
  friend Number operator*(Number a, const Number& b) { return std::move(a *= b); }
  friend Number operator/(Number a, const Number& b) { return std::move(a /= b); }

  friend bool operator==(const Number& a, const Number& b) {
    if (a.den_ != 0 || b.den_ != 0) return a.num_ == b.num_ && a.den_ == b.den_;
    return compare_slow(a, b) == 0;
  }
  /// Negative, 0 or positive as `a` is below, equal to or above `b`.
  static int compare(const Number& a, const Number& b) {
    if (a.den_ == b.den_ && a.den_ != 0) return (a.num_ > b.num_) - (a.num_ < b.num_);
    return compare_slow(a, b);
  }
  friend bool operator<(const Number& a, const Number& b) { return compare(a, b) < 0; }
  friend bool operator>(const Number& a, const Number& b) { return compare(a, b) > 0; }
  friend bool operator<=(const Number& a, const Number& b) { return compare(a, b) <= 0; }
  friend bool operator>=(const Number& a, const Number& b) { return compare(a, b) >= 0; }

  /// The greatest common divisor of two integers, never negative; gcd(0, 0) is 0.
  static Number gcd(const Number& a, const Number& b);
  /// The least common multiple of two integers, never negative.
  static Number lcm(const Number& a, const Number& b);
  /// The greatest common divisor of two words, from a table where both are small.
  static std::uint64_t gcd64(std::uint64_t a, std::uint64_t b);

 private:
  struct Big;
  struct Operand;

  static constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

  Big* big() const { return reinterpret_cast<Big*>(num_); }
  void make_min();
  void copy_big(const Number& other);
  void assign_slow(const Number& other);
  void free_big() noexcept;
  bool big_is_integer() const;
  int big_sign() const;
  std::size_t big_hash() const;
  void negate_big();
  void add_slow(const Number& other, bool subtract);
  void mul_slow(const Number& other);
  Number& addmul_slow(const Number& a, const Number& b);
  Number round(bool up) const;
  static int compare_slow(const Number& a, const Number& b);
  void store_scratch(bool reduce);

  std::int64_t num_;
  std::int64_t den_;
};

static_assert(sizeof(Number) == 16, "two machine words");

struct NumberHash {
  std::size_t operator()(const Number& n) const { return n.hash(); }
};

}  // namespace ordax
