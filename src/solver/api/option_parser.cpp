#include "solver/api/option_parser.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <system_error>

namespace ordax {
namespace {

OptionParser::error bad_value(const OptionRow& row, std::string_view value) {
  return OptionParser::error("bad value for option " + std::string(row.name) + ": " +
                             std::string(value));
}

// All of the text must be the number. `from_chars` knows no locale, so that a point is a point.
template <typename T>
bool read(std::string_view text, T& value) {
  const char* end = text.data() + text.size();
  const auto [rest, code] = std::from_chars(text.data(), end, value);
  return code == std::errc() && rest == end;
}

}  // namespace

// A name as it stands, or "no_" and the name of a Boolean option. The table has some hundred rows
// and is read when a session is set up: a scan serves.
OptionParser::Target OptionParser::find(std::string_view name) {
  if (name.empty()) throw error("bad option format: the name is empty");
  for (const OptionRow& row : option_table()) {
    if (name == row.name) return {&row, false};
  }
  if (name.substr(0, 3) == "no_") {
    for (const OptionRow& row : option_table()) {
      if (row.kind == OptionKind::BOOL && name.substr(3) == row.name) return {&row, true};
    }
  }
  throw error("unknown option: " + std::string(name));
}

// Throws on a text that is no value of the option's kind; false for a value out of its range.
bool OptionParser::apply(const Target& target, std::string_view value,
                         Configuration& configuration) {
  const OptionRow& row = *target.row;
  switch (row.kind) {
    case OptionKind::BOOL:
      // The "no_" form may stand alone.
      if (target.negated && value.empty()) value = "true";
      if (value != "true" && value != "false") throw bad_value(row, value);
      row.bool_value(configuration) = (value == "true") != target.negated;
      return true;
    case OptionKind::INT:
    case OptionKind::ENUM: {
      int number = 0;
      if (!read(value, number)) throw bad_value(row, value);
      if (number < row.least || number > row.most) return false;
      row.int_value(configuration) = number;
      return true;
    }
    case OptionKind::FLOAT: {
      double number = 0;
      if (!read(value, number) || !std::isfinite(number)) throw bad_value(row, value);
      if (number < row.least || number > row.most) return false;
      row.float_value(configuration) = number;
      return true;
    }
    case OptionKind::STR:
      row.string_value(configuration) = std::string(value);
      return true;
  }
  return true;
}

// Reals with as many digits as survive the way into a text and back for the values that people
// write.
std::string OptionParser::value_text(const OptionRow& row, const Configuration& configuration) {
  Configuration copy(configuration);  // the accessors give places to write to
  switch (row.kind) {
    case OptionKind::BOOL:
      return row.bool_value(copy) ? "true" : "false";
    case OptionKind::INT:
    case OptionKind::ENUM:
      return std::to_string(row.int_value(copy));
    case OptionKind::FLOAT: {
      char text[40];
      std::snprintf(text, sizeof(text), "%.15g", row.float_value(copy));
      return text;
    }
    case OptionKind::STR:
      return row.string_value(copy);
  }
  return "";
}

// Options of parts that are not built: taken, so that configurations of others can be read, and
// said to have no effect.
bool OptionParser::is_idle(const OptionRow& row) {
  // Options that ask for a missing feature by themselves are refused and not listed here.
  static constexpr std::string_view FAMILIES[] = {
      "printer.", "theory.arr.", "theory.bv.", "theory.fp.", "theory.na.", "theory.euf.dyn_ack"};
  static constexpr std::string_view SINGLE[] = {
      "preprocessor.ite_minimization_call_limit",
      "dpll.interpolation_mode",
      "dpll.proof_simplification",
      "theory.eq_propagation",
      "theory.pairwise_interface_eq",
      "theory.interface_eq_batch_size",
      "theory.la.delay_alien",
      "theory.la.interpolation_laz_use_floor",
      "theory.la.detect_euf_fragment",
      "theory.la.interpolation_mode",
      "theory.la.interpolation_laz_split_mixed_eq",
  };
  const std::string_view name = row.name;
  for (const std::string_view family : FAMILIES) {
    if (name.substr(0, family.size()) == family) return true;
  }
  return std::find(std::begin(SINGLE), std::end(SINGLE), name) != std::end(SINGLE);
}

// Rows of one group stand together in the table; a heading opens each group.
std::string OptionParser::usage() {
  const Configuration defaults;
  std::string text;
  const char* current = nullptr;
  for (const OptionRow& row : option_table()) {
    if (current != heading(row.group)) {
      current = heading(row.group);
      text += text.empty() ? "" : "\n";
      text += std::string(current) + "\n";
    }
    switch (row.kind) {
      case OptionKind::BOOL:
        text += std::string(" -[no_]") + row.name;
        break;
      case OptionKind::INT:
        text += std::string(" -") + row.name + "=INT";
        break;
      case OptionKind::ENUM:
        text += std::string(" -") + row.name + "=ENUM";
        break;
      case OptionKind::FLOAT:
        text += std::string(" -") + row.name + "=FLOAT";
        break;
      case OptionKind::STR:
        text += std::string(" -") + row.name + "=STR";
        break;
    }
    text += "\n    " + std::string(row.help) + (is_idle(row) ? " (no effect)" : "") +
            " (default: " + value_text(row, defaults) + ")\n";
  }
  return text;
}

}  // namespace ordax
