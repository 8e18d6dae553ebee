#include "plans/plan_line.h"

#include <cstddef>

namespace kelvo {

namespace {

bool is_space(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
bool is_word(char c) {
  return is_digit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool is_parameter_text(char c) {
  return is_word(c) || c == '/' || c == '.';
}

// Each function takes what it is named for off the front of the text, and says whether it was
// there. No step of the line expressions needs to look back: what may follow a repetition never
// begins with one more of what is repeated.
class Cursor {
 public:
  explicit Cursor(std::string_view text) : text_(text) {}

  std::string_view rest() const { return text_.substr(at_); }
  bool at_end() const { return at_ == text_.size(); }

  void spaces() { run(is_space); }

  bool character(char c) {
    if (at_end() || text_[at_] != c) return false;
    ++at_;
    return true;
  }

  bool text(std::string_view expected) {
    if (!rest().starts_with(expected)) return false;
    at_ += expected.size();
    return true;
  }

  template <typename Predicate>
  bool run(Predicate&& belongs) {
    const std::size_t start = at_;
    while (!at_end() && belongs(text_[at_])) ++at_;
    return at_ > start;
  }

  bool number(std::string_view& number) {
    const std::size_t start = at_;
    if (!run(is_digit)) return false;
    const std::size_t end = at_;
    if (!((character('.') || character('/')) && run(is_digit))) at_ = end;
    number = text_.substr(start, at_ - start);
    return true;
  }

  bool word(std::string_view& word) {
    const std::size_t start = at_;
    if (!run(is_word)) return false;
    word = text_.substr(start, at_ - start);
    return true;
  }

  bool parameters(std::string_view& parameters) {
    const std::size_t start = at_;
    if (run(is_parameter_text)) {
      while (character(',')) {
        spaces();
        if (!run(is_parameter_text)) return false;
      }
    }
    parameters = text_.substr(start, at_ - start);
    return true;
  }

 private:
  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

bool is_blank_or_comment(std::string_view line) {
  Cursor cursor(line);
  cursor.spaces();
  if (!cursor.character(';')) return cursor.at_end();
  cursor.run([](char c) { return c != '\n' && c != '\r'; });
  return cursor.at_end();
}

bool match_plan_line(std::string_view line, PlanLine& parts) {
  Cursor cursor(line);
  cursor.spaces();
  if (!cursor.number(parts.start_time)) return false;
  cursor.spaces();
  if (!cursor.character(':')) return false;
  cursor.spaces();
  parts.object = {};
  if (!cursor.word(parts.action)) return false;
  if (cursor.character('.')) {
    parts.object = parts.action;
    if (!cursor.word(parts.action)) return false;
  }
  cursor.spaces();
  if (!cursor.character('(')) return false;
  if (!cursor.parameters(parts.parameters)) return false;
  if (!cursor.character(')')) return false;
  cursor.spaces();
  if (!cursor.character('[')) return false;
  cursor.spaces();
  if (!cursor.number(parts.duration)) return false;
  cursor.spaces();
  if (!cursor.character(']')) return false;
  cursor.spaces();
  return cursor.at_end();
}

bool take_parameter(std::string_view& rest, PlanLineParameter& parameter) {
  using Kind = PlanLineParameter::Kind;
  Cursor cursor(rest);
  cursor.spaces();
  if (!cursor.character(',')) return false;
  cursor.spaces();
  if (cursor.number(parameter.text)) {
    parameter.kind = Kind::NUMBER;
  } else if (cursor.text("true")) {
    parameter = {Kind::TRUE, "true"};
  } else if (cursor.text("false")) {
    parameter = {Kind::FALSE, "false"};
  } else if (cursor.word(parameter.text)) {
    parameter.kind = Kind::NAME;
  } else {
    return false;
  }
  cursor.spaces();
  rest = cursor.rest();
  return true;
}

}  // namespace kelvo
