#include "solver/terms/smtlib_text.h"

#include <string_view>

namespace ordax {
namespace {

// The number of the symbol after `#`, which no other spelling of this file ends with.
std::string made_unique(const std::string& text, const Symbol* symbol) {
  std::string result(text);
  result += '#';
  result += std::to_string(symbol->id);
  return between_bars(result);
}

}  // namespace

std::string between_bars(const std::string& text) {
  std::string result(1, '|');
  result += text;
  result += '|';
  return result;
}

const char* smtlib_operator(Kind kind) {
  switch (kind) {
    case Kind::TRUE:
      return "true";
    case Kind::FALSE:
      return "false";
    case Kind::AND:
      return "and";
    case Kind::OR:
      return "or";
    case Kind::NOT:
      return "not";
    case Kind::IFF:
    case Kind::EQUAL:
      return "=";
    case Kind::PLUS:
      return "+";
    case Kind::TIMES:
      return "*";
    case Kind::DIVIDE:
      return "/";
    case Kind::FLOOR:
      return "to_int";
    case Kind::LEQ:
      return "<=";
    case Kind::TERM_ITE:
      return "ite";
    default:
      return nullptr;
  }
}

// The language has no negative numerals and no fractions: "(- 3)", "(/ 1.0 2.0)". Reals are told
// from integers by their ".0".
std::string smtlib_numeral(const Number& value, bool as_real) {
  const std::string suffix = as_real ? ".0" : "";
  const Number magnitude = value.abs();
  std::string text = magnitude.numerator().to_string() + suffix;
  if (!magnitude.is_integer()) {
    const std::string below = magnitude.denominator().to_string() + suffix;
    std::string fraction("(/ ");
    fraction.append(text).append(" ").append(below).append(")");
    text.swap(fraction);
  }
  if (value.sign() >= 0) return text;
  std::string negative("(- ");
  negative.append(text).append(")");
  return negative;
}

// A symbol stands as it is if its characters allow that, between bars if they are printable, and
// otherwise with `_` for what cannot be written and its number to tell it from others.
std::string smtlib_symbol(const Symbol* symbol) {
  // Plain symbols do not begin with a digit; bars may hold anything printable but a bar and a
  // backslash.
  bool plain = !(symbol->name[0] >= '0' && symbol->name[0] <= '9');
  bool changed = false;
  std::string text;
  for (const char c : symbol->name) {
    const bool word = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      std::string_view("~!@$%^&*_-+=<>.?/").find(c) != std::string_view::npos;
    const bool printable = (c >= ' ' && c <= '~') || c == '\n' || c == '\t' || c == '\r';
    plain = plain && word;
    const bool impossible = c == '|' || c == '\\' || !printable;
    changed = changed || impossible;
    text += impossible ? '_' : c;
  }
  if (changed) return made_unique(text, symbol);
  // A user's name never meets a reserved word or one of the script's own names.
  const bool reserved = text.size() > 1 && (text.compare(0, 2, ".t") == 0);
  if (reserved) return made_unique(text, symbol);
  static constexpr const char* WORDS[] = {
      "and",    "or",     "not",      "ite",    "true", "false", "let",  "to_real", "to_int",
      "is_int", "mod",    "div",      "abs",    "xor",  "par",   "_",    "!",       "as",
      "exists", "forall", "distinct", "assert", "push", "pop",   "exit", "+",       "-",
      "*",      "/",      "=",        "<",      "<=",   ">",     ">=",   "=>"};
  for (const char* word : WORDS) {
    if (text == word) return made_unique(text, symbol);
  }
  return plain ? text : between_bars(text);
}

}  // namespace ordax
