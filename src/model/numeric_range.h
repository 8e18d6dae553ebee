#pragma once

#include <cstdint>

#include "model/types.h"
#include "shell/possibly_infinite_rational.h"

namespace kelvo::model {

/// An integer in a machine word or one of the infinities, with the arithmetic of
/// `PossiblyInfiniteRational`. Where that has a fraction, a large number or an error, the result is
/// invalid, and so is all that follows from it.
class SmallBound {
 public:
  SmallBound(std::int64_t value) : value_(value), kind_(Kind::FINITE) {}  // NOLINT: it is one
  static SmallBound infinity(bool positive) { return {positive ? 1 : -1, Kind::INFINITE}; }
  static SmallBound invalid() { return {0, Kind::INVALID}; }

  bool is_valid() const { return kind_ != Kind::INVALID; }
  bool is_infinite() const { return kind_ == Kind::INFINITE; }
  bool is_positive() const { return value_ >= 0; }
  std::int64_t num() const { return value_; }

  /// Both must be valid.
  friend bool operator<(const SmallBound& a, const SmallBound& b) {
    if (!a.is_infinite() && !b.is_infinite()) return a.value_ < b.value_;
    return a.rank() < b.rank();
  }
  friend SmallBound operator+(const SmallBound& a, const SmallBound& b);
  friend SmallBound operator-(const SmallBound& a, const SmallBound& b);
  friend SmallBound operator*(const SmallBound& a, const SmallBound& b);
  friend SmallBound operator/(const SmallBound& a, const SmallBound& b);

 private:
  enum class Kind : std::uint8_t { FINITE, INFINITE, INVALID };

  SmallBound(std::int64_t value, Kind kind) : value_(value), kind_(kind) {}
  int rank() const { return is_infinite() ? static_cast<int>(value_) : 0; }

  std::int64_t value_;  // of an infinity the sign
  Kind kind_;
};

inline SmallBound min(const SmallBound& a, const SmallBound& b) {
  if (!a.is_valid() || !b.is_valid()) return SmallBound::invalid();
  return b < a ? b : a;
}

inline SmallBound max(const SmallBound& a, const SmallBound& b) {
  if (!a.is_valid() || !b.is_valid()) return SmallBound::invalid();
  return a < b ? b : a;
}

/// What a numeric expression can be.
template <typename Bound>
struct NumericRange {
  Bound lower;
  Bound upper;
};

using SmallRange = NumericRange<SmallBound>;
using ExactRange = NumericRange<PossiblyInfiniteRational>;

inline bool is_valid(const SmallRange& range) {
  return range.lower.is_valid() && range.upper.is_valid();
}

/// The bounds of a numeric type, with an infinity where there is none. The small range has an
/// invalid bound when a bound is no integer of moderate size.
SmallRange small_range(const TypeBase& type);
ExactRange exact_range(const TypeBase& type);

/// The ranges of the results of the arithmetic operators on operands in `x` and `y`.
template <typename Bound>
NumericRange<Bound> sum_range(const NumericRange<Bound>& x, const NumericRange<Bound>& y) {
  return {x.lower + y.lower, x.upper + y.upper};
}

template <typename Bound>
NumericRange<Bound> difference_range(const NumericRange<Bound>& x, const NumericRange<Bound>& y) {
  return {x.lower - y.upper, x.upper - y.lower};
}

template <typename Bound>
NumericRange<Bound> product_range(const NumericRange<Bound>& x, const NumericRange<Bound>& y) {
  const Bound a = x.lower * y.lower;
  const Bound b = x.lower * y.upper;
  const Bound c = x.upper * y.lower;
  const Bound d = x.upper * y.upper;
  return {min(min(a, b), min(c, d)), max(max(a, b), max(c, d))};
}

/// Without limits unless the divisor is one number.
template <typename Bound>
NumericRange<Bound> quotient_range(const NumericRange<Bound>& x, const NumericRange<Bound>& y) {
  if (y.lower.is_infinite() || y.upper.is_infinite() || y.lower.num() != y.upper.num()) {
    return {Bound::infinity(false), Bound::infinity(true)};
  }
  const Bound low = x.lower / y.lower;
  const Bound high = x.upper / y.lower;
  return {min(low, high), max(low, high)};
}

}  // namespace kelvo::model
