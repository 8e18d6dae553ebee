#include "translators/trace_numbers.h"

#include <algorithm>
#include <charconv>
#include <string>

namespace kelvo {

namespace {

bool is_digits(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](char c) { return '0' <= c && c <= '9'; });
}

std::optional<rational> unsigned_number(std::string_view text) {
  if (const std::size_t slash = text.find('/'); slash != std::string_view::npos) {
    const std::string_view above = text.substr(0, slash);
    const std::string_view below = text.substr(slash + 1);
    if (!is_digits(above) || !is_digits(below)) return std::nullopt;
    if (below.find_first_not_of('0') == std::string_view::npos) return std::nullopt;
    return rational_from_string(std::string(text));
  }
  constexpr int max_exponent = 1000;
  int exponent = 0;
  if (const std::size_t e = text.find_first_of("eE"); e != std::string_view::npos) {
    std::string_view digits = text.substr(e + 1);
    if (!digits.empty() && digits.front() == '+') digits.remove_prefix(1);
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
    if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
    if (exponent < -max_exponent || exponent > max_exponent) return std::nullopt;
    text = text.substr(0, e);
  }
  const std::size_t point = text.find('.');
  const std::string_view whole = text.substr(0, point);
  const std::string_view places =
      point == std::string_view::npos ? std::string_view() : text.substr(point + 1);
  if (whole.empty() && places.empty()) return std::nullopt;
  if (!whole.empty() && !is_digits(whole)) return std::nullopt;
  if (!places.empty() && !is_digits(places)) return std::nullopt;
  const std::string digits = std::string(whole) + std::string(places);
  const rational value = rational_from_string(digits);
  exponent -= static_cast<int>(places.size());
  if (exponent == 0) return value;
  const integer scale =
      boost::multiprecision::pow(integer(10), static_cast<unsigned>(std::abs(exponent)));
  if (exponent > 0) return rational(value * rational(scale));
  return rational(numerator(value), scale);
}

}  // namespace

std::optional<rational> number_in_trace(std::string_view text) {
  const bool is_negative = !text.empty() && text.front() == '-';
  if (is_negative) text.remove_prefix(1);
  const std::optional<rational> value = unsigned_number(text);
  if (!value || !is_negative) return value;
  return rational(-*value);
}

std::string unfinished_note(const std::map<std::string, TraceExecution>& executions) {
  std::string result;
  for (const auto& [name, execution] : executions) {
    if (!execution.is_running) continue;
    result += (result.empty() ? "" : ", ") + name + " (begun in line " +
              std::to_string(execution.line) + ")";
  }
  if (result.empty()) return result;
  return "the trace ends while actions are running, which give no steps: " + result;
}

}  // namespace kelvo
