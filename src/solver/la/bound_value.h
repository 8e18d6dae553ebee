#pragma once

#include <cstdint>

#include "solver/terms/number.h"

namespace ordax::la {

/// An exact value r + k * epsilon with an infinitesimal epsilon above 0: strict bounds are weak
/// ones on such values.
///
/// One tagged word. With the low bit set it holds r * 2^20 + k in its other bits, for integers r of
/// 43 bits and k of 20 bits, so that inline values compare as words. Else it is a pointer to a
/// shared record of two numbers, which is never changed while it is shared. A value that fits the
/// inline form is always inline.
class BoundValue {
 public:
  BoundValue() noexcept : word_(1) {}
  explicit BoundValue(std::int64_t rational, std::int64_t infinitesimal = 0)
      : BoundValue(Number(rational), Number(infinitesimal)) {}
  explicit BoundValue(const Number& rational, const Number& infinitesimal = Number());

  BoundValue(const BoundValue& other) noexcept : word_(other.word_) {
    if (!is_inline()) hold();
  }
  BoundValue(BoundValue&& other) noexcept : word_(other.word_) { other.word_ = 1; }
  BoundValue& operator=(const BoundValue& other) noexcept {
    if (!other.is_inline()) other.hold();
    if (!is_inline()) release();
    word_ = other.word_;
    return *this;
  }
  BoundValue& operator=(BoundValue&& other) noexcept {
    const std::int64_t word = word_;
    word_ = other.word_;
    other.word_ = word;
    return *this;
  }
  ~BoundValue() {
    if (!is_inline()) release();
  }

  Number rational() const;
  Number infinitesimal() const;
  bool is_zero() const { return word_ == 1; }
  /// True if the value is an integer without an infinitesimal part.
  bool is_integer() const {
    if (is_inline()) return (word_ >> 1 & (kOne - 1)) == 0;
    return big_is_integer();
  }
  /// True if computing with the value is cheap: no large number and no large denominator.
  bool is_simple() const { return is_inline() || big_is_simple(); }
  /// The largest integer that is not above this value: 2 for 3 - epsilon.
  Number floor() const;
  /// The smallest integer that is not below this value.
  Number ceil() const;

  BoundValue& operator+=(const BoundValue& other) {
    std::int64_t sum = 0;
    if (is_inline() && other.is_inline() && inline_sum(payload(), other.payload(), sum)) {
      word_ = sum * 2 + 1;
    } else {
      addmul_slow(Number(1), other);
    }
    return *this;
  }
  BoundValue& operator-=(const BoundValue& other) {
    std::int64_t difference = 0;
    if (is_inline() && other.is_inline() && inline_sum(payload(), -other.payload(), difference)) {
      word_ = difference * 2 + 1;
    } else {
      addmul_slow(Number(-1), other);
    }
    return *this;
  }
  /// Adds `factor * other`.
  BoundValue& addmul(const Number& factor, const BoundValue& other) {
    std::int64_t product = 0;
    std::int64_t sum = 0;
    if (is_inline() && other.is_inline() && factor.is_small_integer() &&
        inline_product(factor.small_numerator(), other.payload(), product) &&
        inline_sum(payload(), product, sum)) {
      word_ = sum * 2 + 1;
    } else {
      addmul_slow(factor, other);
    }
    return *this;
  }
  BoundValue& operator*=(const Number& factor) {
    BoundValue result;
    result.addmul(factor, *this);
    *this = std::move(result);
    return *this;
  }
  void negate() {
    if (is_inline()) {
      word_ = -payload() * 2 + 1;
    } else {
      *this *= Number(-1);
    }
  }

  friend BoundValue operator+(BoundValue a, const BoundValue& b) { return std::move(a += b); }
  friend BoundValue operator-(BoundValue a, const BoundValue& b) { return std::move(a -= b); }
  friend bool operator==(const BoundValue& a, const BoundValue& b) {
    if (a.is_inline() || b.is_inline()) return a.word_ == b.word_;
    return compare_slow(a, b) == 0;
  }
  static int compare(const BoundValue& a, const BoundValue& b) {
    if (a.is_inline() && b.is_inline()) return (a.word_ > b.word_) - (a.word_ < b.word_);
    return compare_slow(a, b);
  }
  friend bool operator<(const BoundValue& a, const BoundValue& b) {
    if (a.is_inline() && b.is_inline()) return a.word_ < b.word_;
    return compare_slow(a, b) < 0;
  }
  friend bool operator>(const BoundValue& a, const BoundValue& b) { return b < a; }
  friend bool operator<=(const BoundValue& a, const BoundValue& b) { return !(b < a); }
  friend bool operator>=(const BoundValue& a, const BoundValue& b) { return !(a < b); }

  /// The rational value once epsilon is fixed.
  Number concrete(const Number& epsilon) const;
  std::string to_string() const;

 private:
  struct Record;
  static constexpr int kBits = 20;
  static constexpr std::int64_t kOne = std::int64_t{1} << kBits;
  static constexpr std::int64_t kMaxInfinitesimal = kOne / 2 - 1;
  static constexpr std::int64_t kMaxPayload = (std::int64_t{1} << 62) - 1;

  bool is_inline() const { return (word_ & 1) != 0; }
  std::int64_t payload() const { return word_ >> 1; }
  static std::int64_t small_part(std::int64_t payload) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(payload) << (64 - kBits)) >>
           (64 - kBits);
  }
  static bool inline_sum(std::int64_t a, std::int64_t b, std::int64_t& sum) {
    sum = a + b;  // payloads have 63 bits
    const std::int64_t k = small_part(a) + small_part(b);
    return k >= -kMaxInfinitesimal && k <= kMaxInfinitesimal && sum <= kMaxPayload &&
           sum >= -kMaxPayload;
  }
  static bool inline_product(std::int64_t factor, std::int64_t a, std::int64_t& product) {
    std::int64_t k = 0;
    return !__builtin_mul_overflow(factor, a, &product) &&
           !__builtin_mul_overflow(factor, small_part(a), &k) && k >= -kMaxInfinitesimal &&
           k <= kMaxInfinitesimal && product <= kMaxPayload && product >= -kMaxPayload;
  }
  Record* record() const { return reinterpret_cast<Record*>(word_); }
  void hold() const noexcept;
  void release() noexcept;
  static bool pack(const Number& rational, const Number& infinitesimal, std::int64_t& word);
  void set(Number rational, Number infinitesimal);
  bool big_is_integer() const;
  bool big_is_simple() const;
  void addmul_slow(const Number& factor, const BoundValue& other);
  static int compare_slow(const BoundValue& a, const BoundValue& b);

  std::int64_t word_;
};
static_assert(sizeof(BoundValue) == 8, "one word");

}  // namespace ordax::la
