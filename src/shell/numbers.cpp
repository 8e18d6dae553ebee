#include "shell/numbers.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "shell/errors.h"
#include "shell/long_numbers.h"

namespace kelvo {

namespace {

bool is_digits(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

[[noreturn]] void refuse(std::string_view whole) {
  throw InvalidParameterError() << "'" << whole << "' is not a number";
}

// `whole` is only for the message.
integer read_digits(std::string_view digits, std::string_view whole) {
  if (!is_digits(digits)) refuse(whole);
  const std::size_t first = digits.find_first_not_of('0');
  if (first == std::string_view::npos) return integer(0);
  digits.remove_prefix(first);
  constexpr std::size_t digits_in_a_word = 19;
  if (digits.size() <= digits_in_a_word) {
    std::uint64_t value = 0;
    for (const char c : digits) value = value * 10 + static_cast<std::uint64_t>(c - '0');
    return integer(value);
  }
  return long_integer(digits);
}

rational read_unsigned(std::string_view text, std::string_view whole) {
  const std::size_t slash = text.find('/');
  if (slash != std::string_view::npos) {
    const integer above = read_digits(text.substr(0, slash), whole);
    const integer below = read_digits(text.substr(slash + 1), whole);
    if (below == 0) refuse(whole);
    return reduced(above, below);
  }
  const std::size_t point = text.find('.');
  if (point == std::string_view::npos) return rational(read_digits(text, whole));
  const std::string_view fraction = text.substr(point + 1);
  const integer whole_part = point == 0 ? integer(0) : read_digits(text.substr(0, point), whole);
  const integer fractional_part = read_digits(fraction, whole);
  if (fractional_part == 0) return rational(whole_part);
  const integer scaled = long_integer(std::string(text.substr(0, point)) + std::string(fraction));
  return reduced(scaled, power_of_ten(fraction.size()));
}

}  // namespace

integer numerator(const rational& r) {
  return boost::multiprecision::numerator(r);
}

integer denominator(const rational& r) {
  return boost::multiprecision::denominator(r);
}

bool is_integral(const rational& r) {
  return boost::multiprecision::denominator(r) == 1;
}

integer floor(const rational& r) {
  return numerator(r) / denominator(r);
}

integer ceil(const rational& r) {
  const integer below = floor(r);
  return rational(below) == r ? below : integer(below + 1);
}

integer round(const rational& r) {
  const integer below = floor(r);
  const integer above = ceil(r);
  return rational(above) - r > r - rational(below) ? below : above;
}

rational round(const rational& r, int precision) {
  const integer scale = boost::multiprecision::pow(integer(10), static_cast<unsigned>(precision));
  const rational scaled = r * rational(scale);
  return rational(round(scaled), scale);
}

double to_double(const rational& r) {
  return numerator(r).convert_to<double>() / denominator(r).convert_to<double>();
}

rational rational_from_string(const std::string& text) {
  if (text.starts_with('-')) {
    const rational magnitude = read_unsigned(std::string_view(text).substr(1), text);
    return -magnitude;
  }
  return read_unsigned(text, text);
}

integer integer_from_string(const std::string& text) {
  if (text.starts_with('-')) {
    const integer magnitude = read_digits(std::string_view(text).substr(1), text);
    return -magnitude;
  }
  return read_digits(text, text);
}

std::string to_text(const integer& value) {
  return value < 0 ? "-" + long_text(value) : long_text(value);
}

std::string to_text(const rational& value) {
  const integer below = denominator(value);
  const std::string above = to_text(numerator(value));
  return below == 1 ? above : above + "/" + to_text(below);
}

}  // namespace kelvo

std::size_t std::hash<kelvo::integer>::operator()(const kelvo::integer& value) const {
  const kelvo::integer magnitude = value < 0 ? kelvo::integer(-value) : value;
  return magnitude.convert_to<std::size_t>();
}

std::size_t std::hash<kelvo::rational>::operator()(const kelvo::rational& value) const {
  const kelvo::rational magnitude = value < 0 ? kelvo::rational(-value) : value;
  return magnitude.convert_to<std::size_t>();
}
