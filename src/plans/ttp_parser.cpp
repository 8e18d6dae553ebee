#include "plans/ttp_parser.h"

#include <istream>
#include <utility>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/problem_instance.h"
#include "model/types.h"
#include "model/user_type.h"
#include "plans/plan_line.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/numbers.h"

namespace kelvo {

using model::Expression;

namespace {

ParserError error_at(const char* text, std::size_t line_number) {
  ParserError error;
  error << text << "at line " << line_number;
  return error;
}

// `text` is a number as the line expressions have it; `message` is for a fraction by zero.
rational read_number(std::string_view text, const char* message, std::size_t line_number) {
  const std::size_t slash = text.find('/');
  if (slash != std::string_view::npos &&
      text.find_first_not_of('0', slash + 1) == std::string_view::npos) {
    throw error_at(message, line_number);
  }
  return rational_from_string(std::string(text));
}

// Numbers are read as rationals; a value of an integer type is an integer constant everywhere else.
void convert_integers(model::ExpressionFactory& ef, const model::Parameters& formals,
                      TimeTriggeredStep::Parameters& actuals) {
  for (std::size_t i = 0; i < formals.size(); ++i) {
    if (!ef.is_rational_constant(actuals[i]) || !formals[i]->type()->is_integer()) continue;
    const rational& value = ef.get_rational_constant(actuals[i]);
    if (is_integral(value)) actuals[i] = ef.make_integer_constant(numerator(value));
  }
}

}  // namespace

TTPParser::TTPParser(Environment& env, model::ProblemInstance problem)
    : EnvObject(env), problem_(std::move(problem)) {}

std::shared_ptr<TimeTriggeredPlan> TTPParser::parse(std::istream& source) const {
  auto plan = std::make_shared<TimeTriggeredPlan>(environment());
  std::string line;
  for (std::size_t line_number = 1; std::getline(source, line); ++line_number) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (is_blank_or_comment(line)) continue;
    plan->add_step(parse_step(line, line_number));
  }
  return plan;
}

std::shared_ptr<TimeTriggeredStep> TTPParser::parse_step(const std::string& line,
                                                         std::size_t line_number) const {
  PlanLine parts;
  if (!match_plan_line(line, parts)) throw unreadable_line(line, line_number);
  rational start_time = read_number(parts.start_time, "", line_number);
  model::Instance object;
  if (!parts.object.empty()) object = find_object(std::string(parts.object), line_number);
  const model::Action action = find_action(std::string(parts.action), line_number);
  TimeTriggeredStep::Parameters parameters = parse_parameters(parts.parameters, line_number);
  if (parameters.size() != action->parameters().size()) {
    throw error_at("Wrong number of parameters ", line_number);
  }
  convert_integers(environment().expression_factory(), action->parameters(), parameters);
  rational duration = read_number(parts.duration, "", line_number);
  return std::make_shared<TimeTriggeredStep>(std::move(start_time), action, std::move(parameters),
                                             std::move(duration), nullptr, object);
}

model::Instance TTPParser::find_object(const std::string& name, std::size_t line_number) const {
  const auto known = problem_->instances().find(name);
  if (known == problem_->instances().end()) throw error_at("Object not found ", line_number);
  return known->second;
}

// A plan shows a step without a duration for an action whose duration the environment chooses.
ParserError TTPParser::unreadable_line(const std::string& line, std::size_t line_number) const {
  ParserError error = error_at("", line_number);
  PlanLine parts;
  const std::string with_duration = line + " [0]";
  if (!match_plan_line(with_duration, parts)) return error;
  const std::string name(parts.action);
  const model::Action action = known_action(name);
  if (action == nullptr || !action->is_temporally_uncertain(/*really_uncertain=*/true)) {
    return error;
  }
  error << "\nThe duration of action '" << name << "' is chosen by the environment: to judge the "
        << "plan for one duration, write it behind the step, such as [5]";
  return error;
}

model::Action TTPParser::known_action(const std::string& name) const {
  if (const auto known = problem_->actions().find(name); known != problem_->actions().end()) {
    return known->second;
  }
  for (const auto& [type_name, type] : problem_->user_types()) {
    if (const auto known = type->actions().find(name); known != type->actions().end()) {
      return known->second;
    }
  }
  return nullptr;
}

model::Action TTPParser::find_action(const std::string& name, std::size_t line_number) const {
  const model::Action action = known_action(name);
  if (action == nullptr) throw error_at("Action not found ", line_number);
  return action;
}

TimeTriggeredStep::Parameters TTPParser::parse_parameters(std::string_view text,
                                                          std::size_t line_number) const {
  using Kind = PlanLineParameter::Kind;
  model::ExpressionFactory& ef = environment().expression_factory();
  TimeTriggeredStep::Parameters result;
  if (text.empty()) return result;
  const std::string list = "," + std::string(text);
  std::string_view rest = list;
  PlanLineParameter parameter;
  while (take_parameter(rest, parameter)) {
    switch (parameter.kind) {
      case Kind::NUMBER:
        result.push_back(ef.make_rational_constant(
            read_number(parameter.text, "Action parameters not correct ", line_number)));
        break;
      case Kind::TRUE:
      case Kind::FALSE:
        result.push_back(ef.make_boolean_constant(parameter.kind == Kind::TRUE));
        break;
      case Kind::NAME: {
        const auto instance = problem_->instances().find(std::string(parameter.text));
        if (instance == problem_->instances().end()) {
          throw ParserError() << "Parameter not correct: " << parameter.text << " at line "
                              << line_number;
        }
        result.push_back(ef.make_instance_reference(instance->second));
        break;
      }
    }
  }
  if (!rest.empty()) throw error_at("Action parameters not correct ", line_number);
  return result;
}

}  // namespace kelvo
