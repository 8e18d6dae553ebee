#include "tests/solver/prefix_reader.h"

#include <fstream>
#include <sstream>

namespace ordax_testing {
namespace {

bool is_blank(char c) {
  return c == ' ' || c == '\n' || c == '\t' || c == '\r';
}

std::string_view next_token(std::string_view& text) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  if (text.empty()) return {};
  std::size_t length = 1;
  if (text.front() != '(' && text.front() != ')') {
    while (length < text.size() && !is_blank(text[length]) && text[length] != '(' &&
           text[length] != ')') {
      ++length;
    }
  }
  const std::string_view token = text.substr(0, length);
  text.remove_prefix(length);
  return token;
}

}  // namespace

bool PrefixReader::fail(const std::string& text) {
  if (error_.empty()) error_ = text;
  return false;
}

bool PrefixReader::read(std::string_view text) {
  std::vector<Frame> stack;
  for (std::string_view token = next_token(text); !token.empty(); token = next_token(text)) {
    if (token == "(") {
      const std::string_view head = next_token(text);
      if (stack.empty() && head == "declare") {
        const std::string_view name = next_token(text);
        const std::string_view type = next_token(text);
        if (next_token(text) != ")" || !declare({name, type})) return fail("bad declaration");
        continue;
      }
      stack.push_back({head, {}});
      continue;
    }
    ordax_term value = {nullptr};
    if (token == ")") {
      if (stack.empty()) return fail("unexpected )");
      const Frame frame = std::move(stack.back());
      stack.pop_back();
      if (frame.head == "assert") {
        if (!stack.empty() || frame.arguments.size() != 1) return fail("bad assert");
        if (ordax_assert_formula(env_, frame.arguments[0]) != 0) {
          return fail(ordax_last_error_message(env_));
        }
        asserted_.push_back(frame.arguments[0]);
        continue;
      }
      value = apply(frame);
    } else {
      value = leaf(token);
    }
    if (value.repr == nullptr) return fail(ordax_last_error_message(env_));
    if (stack.empty()) return fail("an expression outside of assert");
    stack.back().arguments.push_back(value);
  }
  return stack.empty() || fail("missing )");
}

bool PrefixReader::declare(const std::vector<std::string_view>& words) {
  ordax_type type = {nullptr};
  if (words[1] == "Bool") type = ordax_get_bool_type(env_);
  if (words[1] == "Real") type = ordax_get_rational_type(env_);
  if (words[1] == "Int") type = ordax_get_integer_type(env_);
  const std::string name(words[0]);
  const ordax_decl decl = ordax_declare_function(env_, name.c_str(), type);
  const ordax_term term = ordax_make_constant(env_, decl);
  if (term.repr == nullptr) return false;
  declared_.push_back({name, term});
  names_.emplace(name, term);
  return true;
}

ordax_term PrefixReader::leaf(std::string_view token) {
  if (token == "true") return ordax_make_true(env_);
  if (token == "false") return ordax_make_false(env_);
  const std::string text(token);
  if (token[0] == '-' || (token[0] >= '0' && token[0] <= '9')) {
    return ordax_make_number(env_, text.c_str());
  }
  const auto place = names_.find(text);
  if (place != names_.end()) return place->second;
  fail("unknown name " + text);
  return {nullptr};
}

ordax_term PrefixReader::apply(const Frame& frame) {
  const std::vector<ordax_term>& a = frame.arguments;
  const std::string_view head = frame.head;
  if (head == "not" && a.size() == 1) return ordax_make_not(env_, a[0]);
  if (head == "iff" && a.size() == 2) return ordax_make_iff(env_, a[0], a[1]);
  if (head == "<=" && a.size() == 2) return ordax_make_leq(env_, a[0], a[1]);
  if (head == "=" && a.size() == 2) return ordax_make_equal(env_, a[0], a[1]);
  if (head == "ite" && a.size() == 3) return ordax_make_term_ite(env_, a[0], a[1], a[2]);
  ordax_term (*fold)(ordax_env, ordax_term, ordax_term) = nullptr;
  if (head == "and") fold = ordax_make_and;
  if (head == "or") fold = ordax_make_or;
  if (head == "+") fold = ordax_make_plus;
  if (head == "*") fold = ordax_make_times;
  if (fold == nullptr || a.empty()) {
    fail("bad operator " + std::string(head));
    return {nullptr};
  }
  ordax_term result = a[0];
  for (std::size_t i = 1; i < a.size(); ++i) result = fold(env_, result, a[i]);
  return result;
}

std::string read_file(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

}  // namespace ordax_testing
