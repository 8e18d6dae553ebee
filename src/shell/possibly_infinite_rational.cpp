#include "shell/possibly_infinite_rational.h"

#include "shell/errors.h"
#include "shell/long_numbers.h"

namespace kelvo {

using PIR = PossiblyInfiniteRational;

namespace {

bool is_zero(const PIR& x) {
  return !x.is_infinite() && x.num() == 0;
}

bool less(const PIR& left, const PIR& right) {
  if (!left.is_infinite() && !right.is_infinite()) return is_less(left.num(), right.num());
  if (left.is_infinite() && right.is_infinite()) return !left.is_positive() && right.is_positive();
  return left.is_infinite() ? !left.is_positive() : right.is_positive();
}

}  // namespace

PIR::PossiblyInfiniteRational(const rational& value)
    : value_(value), infinite_(false), positive_(value >= 0) {}

PIR PIR::infinity(bool positive) {
  return PIR(rational(0), /*infinite=*/true, positive);
}

const rational& PIR::num() const {
  if (infinite_) {
    throw InternalError("Accessing num() on an infinite PossiblyInfiniteRational instance");
  }
  return value_;
}

PIR operator+(const PIR& left, const PIR& right) {
  if (left.is_infinite() && right.is_infinite() && left.is_positive() != right.is_positive()) {
    throw InternalError("Sum between -inf and +inf is not possible");
  }
  if (left.is_infinite()) return left;
  if (right.is_infinite()) return right;
  return PIR(sum(left.num(), right.num()));
}

PIR operator-(const PIR& left, const PIR& right) {
  if (left.is_infinite() && right.is_infinite() && left.is_positive() == right.is_positive()) {
    throw InternalError(
        "Subtraction between -inf and -inf or between +inf and +inf is not possible");
  }
  if (left.is_infinite()) return left;
  if (right.is_infinite()) return PIR::infinity(!right.is_positive());
  return PIR(sum(left.num(), negated(right.num())));
}

PIR operator*(const PIR& left, const PIR& right) {
  if (!left.is_infinite() && !right.is_infinite()) return PIR(left.num() * right.num());
  if (is_zero(left) || is_zero(right)) return PIR::infinity(/*positive=*/false);
  return PIR::infinity(left.is_positive() == right.is_positive());
}

PIR operator/(const PIR& left, const PIR& right) {
  if (right.is_infinite()) {
    throw InternalError("Division having the divisor not finite is not allowed");
  }
  if (right.num() == 0) {
    throw InternalError("Division having the divisor equal to 0 is not possible");
  }
  if (left.is_infinite()) return PIR::infinity(left.is_positive() == right.is_positive());
  return PIR(left.num() / right.num());
}

const PIR& min(const PIR& left, const PIR& right) {
  return less(right, left) ? right : left;
}

const PIR& max(const PIR& left, const PIR& right) {
  return less(left, right) ? right : left;
}

}  // namespace kelvo
