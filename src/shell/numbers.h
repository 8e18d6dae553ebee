#pragma once

#include <boost/multiprecision/cpp_int.hpp>
#include <cstddef>
#include <functional>
#include <string>

namespace kelvo {

/// Exact numbers of unbounded size. All bounds, constants, times and durations are of these types.
///
/// Never hand user text to their constructors: those read a leading zero as the mark of an octal
/// number. Use `rational_from_string` and `integer_from_string`.
using rational = boost::multiprecision::cpp_rational;
using integer = boost::multiprecision::cpp_int;

integer numerator(const rational& r);
integer denominator(const rational& r);

/// True when the denominator is 1.
bool is_integral(const rational& r);

/// The quotient of numerator and denominator, truncated toward zero: `floor(-3/2)` is -1.
/// Inside the namespace these hide the functions on `double`: write `std::floor` for those.
integer floor(const rational& r);
/// `floor(r)`, plus 1 when that differs from `r`: `ceil(-3/2)` is 0.
integer ceil(const rational& r);
/// The nearer of `floor(r)` and `ceil(r)`; a tie goes to `ceil(r)`.
integer round(const rational& r);
/// Rounds to `precision` digits, 0 or more, behind the decimal point. (An `int`, for with any other
/// type of argument a literal would pick the number library's function of this name.)
rational round(const rational& r, int precision);

/// The numerator as a `double` divided by the denominator as a `double`.
double to_double(const rational& r);

/// Reads an integer, a fraction `a/b` or decimal notation (`1.50`, `.5`). The text is unsigned; one
/// leading minus is accepted. Anything else, a denominator 0 included, is an
/// `InvalidParameterError`.
rational rational_from_string(const std::string& text);

/// Reads decimal digits behind an optional minus; anything else is an `InvalidParameterError`.
integer integer_from_string(const std::string& text);

/// As the numbers print. Like the functions that read, these take hardly more than linear time in
/// the number of digits; the streams of the number library take quadratic time.
std::string to_text(const integer& value);
std::string to_text(const rational& value);

}  // namespace kelvo

// A number and its negative collide, and all fractions between -1 and 1 do: never key a large or
// hot table by a number.
template <>
struct std::hash<kelvo::integer> {
  std::size_t operator()(const kelvo::integer& value) const;
};

template <>
struct std::hash<kelvo::rational> {
  std::size_t operator()(const kelvo::rational& value) const;
};
