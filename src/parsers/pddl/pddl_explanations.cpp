#include "parsers/pddl/pddl_explanations.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>

#include "parsers/pddl/pddl_builder.h"
#include "parsers/pddl/pddl_source.h"
#include "shell/concat_stream.h"
// The numbers of the tokens.
#include "parsers/pddl/pddl_grammar.h"

namespace kelvo {

namespace {

struct Advice {
  std::string_view word;
  std::string_view text;
};

constexpr std::string_view kNoRequirement = "requirements are not checked, leave it out";
constexpr std::string_view kNumericEffect =
    "an effect gives a function its new value: write (= (f) (+ (f) 1)) for (increase (f) 1)";
constexpr std::string_view kNoQuantifier =
    "there are no quantifiers: write one expression for each object";
constexpr std::string_view kOnlyTotalTime =
    "the only metric is (:metric minimize (total-time)), and none is needed";
constexpr std::string_view kAtIsReserved =
    "'at' is a word of the language: give the predicate another name, such as located";
constexpr std::string_view kAtIsNoTime =
    "'at' is a word of the language: write at start or at end with exactly one blank, or give the "
    "predicate another name, such as located";
constexpr std::string_view kOneBlank =
    "at start, at end and over all are written with exactly one blank";
constexpr std::string_view kLowerCase = "the words of the language are in lower case";

// Words that are often written in capitals.
constexpr std::string_view kWords[] = {"define", "domain", "problem",  "either", "at",   "and",
                                       "or",     "not",    "minimize", "true",   "false"};

// What ends outside the language, by its first word.
constexpr Advice kAdvice[] = {
    {":adl", kNoRequirement},
    {":conditional-effects", kNoRequirement},
    {":continuous-effects", kNoRequirement},
    {":derived-predicates", kNoRequirement},
    {":disjunctive-preconditions", kNoRequirement},
    {":duration-inequalities", kNoRequirement},
    {":existential-preconditions", kNoRequirement},
    {":numeric-fluents", kNoRequirement},
    {":preferences", kNoRequirement},
    {":quantified-preconditions", kNoRequirement},
    {":time", kNoRequirement},
    {":timed-initial-literals", kNoRequirement},
    {":universal-preconditions", kNoRequirement},
    {":action", "only durative actions are read: write a :durative-action"},
    {":precondition", "conditions stand behind :condition, each with its time"},
    {":constants", "declare these objects under :objects of the problem"},
    {":derived", "there are no derived predicates"},
    {":constraints", "there are no constraints on trajectories"},
    {"#t", "there are no continuous effects"},
    {"#", "there are no continuous effects"},
    {"increase", kNumericEffect},
    {"decrease", kNumericEffect},
    {"assign", kNumericEffect},
    {"scale-up", kNumericEffect},
    {"scale-down", kNumericEffect},
    {"forall", kNoQuantifier},
    {"exists", kNoQuantifier},
    {"when", "there are no conditional effects: write one action for each case"},
    {"imply", "write (or (not a) b) for (imply a b)"},
    {"preference", "there are no preferences"},
    {"maximize", kOnlyTotalTime},
    {"over", kOneBlank},
};

std::string_view advice_for(std::string_view word) {
  for (const Advice& advice : kAdvice) {
    if (advice.word == word) return advice.text;
  }
  return "";
}

// Whether the word would be one of the language in lower case.
bool is_in_capitals(std::string_view word) {
  std::string lower_case(word);
  std::ranges::transform(lower_case, lower_case.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower_case != word && std::ranges::count(kWords, lower_case) > 0;
}

std::string line_of(const PddlSource& source, std::size_t line, std::string_view text) {
  std::string result = "\n" + source.place(line) + ": ";
  result += text;
  return result;
}

std::string line_of(const PddlSource& source, std::size_t line, std::string_view word,
                    std::string_view text) {
  std::string result = "'";
  result.append(word).append("': ").append(text);
  return line_of(source, line, result);
}

// The word of a message after `marker`; empty when the marker does not occur.
std::string word_behind(const std::string& message, std::string_view marker) {
  const std::size_t found = message.rfind(marker);
  if (found == std::string::npos) return "";
  const std::size_t begin = found + marker.size();
  std::size_t end = begin;
  while (end < message.size() && continues_word(static_cast<unsigned char>(message[end]))) ++end;
  return message.substr(begin, end - begin);
}

std::string undeclared_name(const std::string& message) {
  for (const std::string_view marker :
       {"no fluent or constant reference: ", "'unresolved_symbol': unresolved<",
        "UnresolvedSymbolError: "}) {
    if (std::string word = word_behind(message, marker); !word.empty()) return word;
  }
  return "";
}

std::string explain_syntax_error(const PddlSource& source) {
  if (source.section == TK_METRIC) return line_of(source, source.line, kOnlyTotalTime);
  if (source.current == TK_AT && (source.section == TK_CONDITION || source.section == TK_EFFECT)) {
    return line_of(source, source.line, kAtIsNoTime);
  }
  if (source.current == TK_AT || source.previous == TK_AT || source.previous == TK_AT_START ||
      source.previous == TK_AT_END) {
    return line_of(source, source.line, kAtIsReserved);
  }
  if (source.current == TK_R_PARENTHESIS && source.previous == TK_PARAMETER &&
      (source.section == TK_PREDICATES || source.section == TK_FUNCTIONS ||
       source.section == TK_PARAMETERS)) {
    return line_of(source, source.line, "a parameter needs a type: write ?x - object");
  }
  if (source.previous == TK_MINUS && source.section == TK_TYPES) {
    return line_of(source, source.line, "a type has one base type only");
  }
  if (source.previous == TK_MINUS && source.section == TK_OBJECTS) {
    return line_of(source, source.line, "an object has one type");
  }
  if (source.current == TK_MINUS && source.previous != TK_L_PARENTHESIS &&
      (source.section == TK_INIT || source.section == TK_GOAL || source.section == TK_DURATION ||
       source.section == TK_CONDITION || source.section == TK_EFFECT)) {
    return line_of(source, source.line, "a number has no sign: write (- 0 5) for -5");
  }
  if (source.current == TK_IDENTIFIER && is_in_capitals(source.identifier->spelling)) {
    return line_of(source, source.line, source.identifier->spelling, kLowerCase);
  }
  for (const PddlToken* token : {source.identifier, source.identifier_before}) {
    if (token == nullptr) continue;
    const std::string_view text = advice_for(token->spelling);
    if (!text.empty()) return line_of(source, source.line, token->spelling, text);
  }
  return "";
}

}  // namespace

std::string PddlSource::place(std::size_t global_line) const {
  const InputParts::Place place = parts_of(stream).place_of(global_line);
  if (!place.name.empty()) return place.name + ", line " + std::to_string(place.line);
  return "line " + std::to_string(global_line);
}

bool PddlSource::has_files() const {
  return !parts_of(stream).place_of(line).name.empty();
}

bool continues_word(int character) {
  return character > 0 && (std::isalnum(character) != 0 || character == '_' || character == '-');
}

std::string explain_unknown_word(const PddlSource& source, const std::string& word,
                                 std::size_t line) {
  std::string_view text = advice_for(word);
  if (text.empty() && word.size() > 1 && word.front() == ':') {
    text = source.section == TK_REQUIREMENTS ? kNoRequirement : "no word of the language";
  }
  return text.empty() ? "" : line_of(source, line, word, text);
}

std::string explain_parser_error(const PddlSource& source, const std::string& message) {
  if (message == "Found a malformed effect") {
    return line_of(source, source.line, "an effect is (p), (not (p)) or (= (f) e)");
  }
  const std::string text = message == "syntax error" ? explain_syntax_error(source) : "";
  if (!text.empty() || !source.has_files()) return text;
  return line_of(source, source.line, "here");
}

std::string explain_failure(const PddlSource& source, const PddlBuilder& builder,
                            const std::string& message) {
  if (const std::string name = undeclared_name(message); !name.empty()) {
    const PddlToken* token = builder.find_token(name);
    if (token == nullptr) return "";
    std::string_view text = advice_for(token->spelling);
    if (text.empty()) text = is_in_capitals(token->spelling) ? kLowerCase : "not declared";
    return line_of(source, token->line, token->spelling, text);
  }
  const std::string formal = word_behind(message, " while it should be ");
  const std::string actual =
      word_behind(message.substr(0, message.rfind(" while it should be ")), " is ");
  if (builder.is_derived(actual, formal)) {
    const PddlToken* token = builder.find_token(formal);
    return line_of(source, token == nullptr ? 1 : token->line,
                   token == nullptr ? std::string_view(formal) : token->spelling,
                   "types match by name, a derived type does not stand for its base type: declare "
                   "one predicate for each type, or objects of the base type");
  }
  return "";
}

}  // namespace kelvo
