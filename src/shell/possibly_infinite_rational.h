#pragma once

#include "shell/numbers.h"

namespace kelvo {

/// A rational or one of the two infinities, for the bounds of numeric expressions.
///
/// A sum or difference without a value and a division by zero or by an infinity are
/// `InternalError`s. The product of zero and an infinity of either sign is minus infinity.
class PossiblyInfiniteRational {
 public:
  PossiblyInfiniteRational(const rational& value);  // NOLINT: every rational is one of these
  static PossiblyInfiniteRational infinity(bool positive);

  bool is_infinite() const { return infinite_; }
  /// Zero counts as positive.
  bool is_positive() const { return positive_; }
  /// The value; an `InternalError` on an infinity.
  const rational& num() const;

 private:
  PossiblyInfiniteRational(const rational& value, bool infinite, bool positive)
      : value_(value), infinite_(infinite), positive_(positive) {}

  rational value_;
  bool infinite_;
  bool positive_;
};

PossiblyInfiniteRational operator+(const PossiblyInfiniteRational& left,
                                   const PossiblyInfiniteRational& right);
PossiblyInfiniteRational operator-(const PossiblyInfiniteRational& left,
                                   const PossiblyInfiniteRational& right);
PossiblyInfiniteRational operator*(const PossiblyInfiniteRational& left,
                                   const PossiblyInfiniteRational& right);
PossiblyInfiniteRational operator/(const PossiblyInfiniteRational& left,
                                   const PossiblyInfiniteRational& right);

/// Of two equal values the first argument is returned.
const PossiblyInfiniteRational& min(const PossiblyInfiniteRational& left,
                                    const PossiblyInfiniteRational& right);
const PossiblyInfiniteRational& max(const PossiblyInfiniteRational& left,
                                    const PossiblyInfiniteRational& right);

}  // namespace kelvo
