#include "plans/plan_reader.h"

#include <algorithm>
#include <cctype>
#include <istream>
#include <optional>
#include <utility>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/instance.h"
#include "model/problem_instance.h"
#include "model/types.h"
#include "model/user_type.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/numbers.h"

namespace kelvo {

/// The parts of a line, as views into it.
struct PlanReader::Line {
  std::size_t number = 0;
  bool is_pddl = false;
  std::string_view start_time;
  std::string_view object;
  std::string_view action;
  std::vector<std::string_view> parameters;
  std::optional<std::string_view> duration;

  ParserError error(const std::string& what) const {
    ParserError error;
    error << what << " at line " << number;
    return error;
  }
};

namespace {

bool is_space(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && is_space(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_space(text.back())) text.remove_suffix(1);
  return text;
}

// What stands in front of the character, which must be there, is taken off the text together with
// it.
std::optional<std::string_view> take_until(std::string_view& text, char c) {
  const std::size_t end = text.find(c);
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view result = trimmed(text.substr(0, end));
  text = trimmed(text.substr(end + 1));
  return result;
}

std::vector<std::string_view> split_at_commas(std::string_view text) {
  std::vector<std::string_view> result;
  if (trimmed(text).empty()) return result;
  while (const auto part = take_until(text, ',')) result.push_back(*part);
  result.push_back(trimmed(text));
  return result;
}

std::vector<std::string_view> split_at_blanks(std::string_view text) {
  std::vector<std::string_view> result;
  std::size_t begin = 0;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i < text.size() && !is_space(text[i])) continue;
    if (i > begin) result.push_back(text.substr(begin, i - begin));
    begin = i + 1;
  }
  return result;
}

std::optional<rational> number_of(std::string_view text) {
  const bool is_number =
      !text.empty() && text.find_first_not_of("-0123456789./") == std::string_view::npos;
  if (!is_number) return std::nullopt;
  try {
    return rational_from_string(std::string(text));
  } catch (const InvalidParameterError&) {
    return std::nullopt;
  }
}

// A name of PDDL as the model has it, but for its case.
std::string model_name(std::string_view text) {
  std::string name(text);
  std::ranges::replace(name, '-', '_');
  return name;
}

std::string lower(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// The object of this name, null if there is none. Without regard to case if no name is the same and
// one only is like it.
template <typename T>
T find_named(const std::map<std::string, T>& objects, std::string_view text, bool is_pddl) {
  if (const auto found = objects.find(std::string(text)); found != objects.end()) {
    return found->second;
  }
  if (!is_pddl) return nullptr;
  const std::string name = model_name(text);
  if (const auto found = objects.find(name); found != objects.end()) return found->second;
  const std::string wanted = lower(name);
  T result = nullptr;
  for (const auto& [known, object] : objects) {
    if (lower(known) != wanted) continue;
    if (result != nullptr) return nullptr;
    result = object;
  }
  return result;
}

bool is_word(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](unsigned char c) {
    return std::isalnum(c) != 0 || c == '_';
  });
}

}  // namespace

PlanReader::PlanReader(Environment& env, model::ProblemInstance problem)
    : EnvObject(env), problem_(std::move(problem)) {}

PlanText PlanReader::read(std::istream& source) const {
  PlanText result{std::make_shared<TimeTriggeredPlan>(environment()), {}};
  std::string text;
  for (std::size_t number = 1; std::getline(source, text); ++number) {
    const std::string_view written = trimmed(std::string_view(text).substr(0, text.find(';')));
    if (written.empty()) continue;
    Line line;
    line.number = number;
    if (!take_apart(written, line)) {
      throw line.error("This is no step of a plan: " + std::string(written));
    }
    const auto step = read_step(line);
    result.lines[step.get()] = number;
    result.plan->add_step(step);
  }
  return result;
}

// False for a line that has neither form.
bool PlanReader::take_apart(std::string_view rest, Line& line) {
  const auto start_time = take_until(rest, ':');
  if (!start_time) return false;
  line.start_time = *start_time;
  if (!rest.empty() && rest.back() == ']') {
    const std::size_t begin = rest.rfind('[');
    if (begin == std::string_view::npos) return false;
    line.duration = trimmed(rest.substr(begin + 1, rest.size() - begin - 2));
    rest = trimmed(rest.substr(0, begin));
  }
  const auto head = take_until(rest, '(');
  if (!head || rest.empty() || rest.back() != ')') return false;
  rest.remove_suffix(1);
  line.is_pddl = head->empty();
  if (line.is_pddl) {
    line.parameters = split_at_blanks(rest);
    if (line.parameters.empty()) return false;
    line.action = line.parameters.front();
    line.parameters.erase(line.parameters.begin());
    return true;
  }
  line.action = *head;
  if (const auto object = take_until(line.action, '.')) line.object = *object;
  line.parameters = split_at_commas(rest);
  return is_word(line.action);
}

std::shared_ptr<TimeTriggeredStep> PlanReader::read_step(const Line& line) const {
  const std::optional<rational> start_time = number_of(line.start_time);
  if (!start_time) throw line.error("Not a time: '" + std::string(line.start_time) + "'");
  std::optional<rational> duration;
  if (line.duration) {
    duration = number_of(*line.duration);
    if (!duration) throw line.error("Not a duration: '" + std::string(*line.duration) + "'");
  }
  model::Instance object;
  if (!line.object.empty()) object = find_instance(line, line.object);
  const model::Action action = find_action(line, object);
  const model::Parameters& formals = action->parameters();
  if (formals.size() != line.parameters.size()) throw line.error("Wrong number of parameters");
  TimeTriggeredStep::Parameters parameters;
  for (std::size_t i = 0; i < formals.size(); ++i) {
    parameters.push_back(read_parameter(line, line.parameters[i], formals[i]->type()));
  }
  return std::make_shared<TimeTriggeredStep>(*start_time, action, std::move(parameters), duration,
                                             nullptr, object);
}

// An action of the object's type comes first: other types may have one of the same name.
model::Action PlanReader::find_action(const Line& line, const model::Instance& object) const {
  model::Action action;
  if (object != nullptr) {
    action = find_named(object->type()->actions(), line.action, line.is_pddl);
  }
  if (action == nullptr) action = find_named(problem_->actions(), line.action, line.is_pddl);
  for (const auto& [name, type] : problem_->user_types()) {
    if (action != nullptr) break;
    action = find_named(type->actions(), line.action, line.is_pddl);
  }
  if (action == nullptr) throw line.error("Action not found: '" + std::string(line.action) + "'");
  return action;
}

model::Instance PlanReader::find_instance(const Line& line, std::string_view name) const {
  const model::Instance instance = find_named(problem_->instances(), name, line.is_pddl);
  if (instance == nullptr) throw line.error("Object not found: '" + std::string(name) + "'");
  return instance;
}

model::Expression PlanReader::read_parameter(const Line& line, std::string_view text,
                                             const model::Type& type) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  if (const std::optional<rational> number = number_of(text)) {
    const bool is_integer = type->is_integer() && is_integral(*number);
    return is_integer ? ef.make_integer_constant(numerator(*number))
                      : ef.make_rational_constant(*number);
  }
  const bool is_truth_value = text == "true" || text == "false";
  if (is_truth_value && type->is_boolean()) return ef.make_boolean_constant(text == "true");
  return ef.make_instance_reference(find_instance(line, text));
}

}  // namespace kelvo
