#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "shell/numbers.h"

namespace kelvo {

// Conversions of numbers that may have a million digits, where the number library takes quadratic
// time or worse: its greatest common divisor alone would take minutes.

/// `digits` are decimal digits, at least one.
integer long_integer(std::string_view digits);

/// The decimal digits of the absolute value.
std::string long_text(const integer& value);

integer power_of_ten(std::size_t exponent);

/// The quotient of two integers, the second of them greater than 0.
rational reduced(const integer& above, const integer& below);

// The operators of the number library for rationals look for common divisors, with long numbers in
// quadratic time even where a denominator is 1. These are the same with short ones.

rational sum(const rational& a, const rational& b);
rational negated(const rational& value);
bool is_less(const rational& a, const rational& b);

}  // namespace kelvo
