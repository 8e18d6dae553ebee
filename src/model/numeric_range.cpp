#include "model/numeric_range.h"

namespace kelvo::model {

SmallBound operator+(const SmallBound& a, const SmallBound& b) {
  if (!a.is_valid() || !b.is_valid()) return SmallBound::invalid();
  if (a.is_infinite() || b.is_infinite()) {
    const bool opposite = a.is_infinite() && b.is_infinite() && a.is_positive() != b.is_positive();
    if (opposite) return SmallBound::invalid();
    return a.is_infinite() ? a : b;
  }
  std::int64_t sum = 0;
  if (__builtin_add_overflow(a.value_, b.value_, &sum)) return SmallBound::invalid();
  return sum;
}

SmallBound operator-(const SmallBound& a, const SmallBound& b) {
  if (b.is_infinite()) return a + SmallBound::infinity(!b.is_positive());
  if (a.is_infinite() || !a.is_valid() || !b.is_valid()) return a + b;
  std::int64_t difference = 0;
  if (__builtin_sub_overflow(a.value_, b.value_, &difference)) return SmallBound::invalid();
  return difference;
}

SmallBound operator*(const SmallBound& a, const SmallBound& b) {
  if (!a.is_valid() || !b.is_valid()) return SmallBound::invalid();
  if (a.is_infinite() || b.is_infinite()) {
    // Zero times an infinity counts as minus infinity.
    return SmallBound::infinity(a.value_ != 0 && b.value_ != 0 &&
                                a.is_positive() == b.is_positive());
  }
  std::int64_t product = 0;
  if (__builtin_mul_overflow(a.value_, b.value_, &product)) return SmallBound::invalid();
  return product;
}

SmallBound operator/(const SmallBound& a, const SmallBound& b) {
  if (!a.is_valid() || !b.is_valid() || b.is_infinite() || b.value_ == 0) {
    return SmallBound::invalid();
  }
  if (a.is_infinite()) return SmallBound::infinity(a.is_positive() == b.is_positive());
  if (b.value_ == -1) return SmallBound(0) - a;
  if (a.value_ % b.value_ != 0) return SmallBound::invalid();
  return a.value_ / b.value_;
}

namespace {

SmallBound small_bound(const integer& value) {
  const std::int64_t limit = std::int64_t{1} << 60;
  if (value < -limit || value > limit) return SmallBound::invalid();
  return static_cast<std::int64_t>(value);
}

SmallBound small_bound(const rational& value) {
  return is_integral(value) ? small_bound(numerator(value)) : SmallBound::invalid();
}

template <typename NumericType>
SmallRange small_range_of(const NumericType& type) {
  return {type.has_lower_bound() ? small_bound(type.lower_bound()) : SmallBound::infinity(false),
          type.has_upper_bound() ? small_bound(type.upper_bound()) : SmallBound::infinity(true)};
}

template <typename NumericType>
ExactRange exact_range_of(const NumericType& type) {
  using Bound = PossiblyInfiniteRational;
  return {type.has_lower_bound() ? Bound(rational(type.lower_bound())) : Bound::infinity(false),
          type.has_upper_bound() ? Bound(rational(type.upper_bound())) : Bound::infinity(true)};
}

}  // namespace

SmallRange small_range(const TypeBase& type) {
  if (type.is_integer()) return small_range_of(static_cast<const IntegerTypeBase&>(type));
  return small_range_of(static_cast<const RationalTypeBase&>(type));
}

ExactRange exact_range(const TypeBase& type) {
  if (type.is_integer()) return exact_range_of(static_cast<const IntegerTypeBase&>(type));
  return exact_range_of(static_cast<const RationalTypeBase&>(type));
}

}  // namespace kelvo::model
