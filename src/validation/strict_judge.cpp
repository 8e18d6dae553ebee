#include "validation/strict_judge.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>

#include "model/action.h"
#include "model/instance.h"
#include "model/problem_instance.h"
#include "model/user_type.h"
#include "shell/errors.h"
#include "validation/strict_simulation.h"

namespace kelvo {

using strict::PlannedStep;
using strict::StatementList;
using strict::Value;

strict::Task::Task(Environment& env, const model::ProblemInstance& problem_instance,
                   StrictOptions judged_by)
    : functions(env, values),
      evaluator(values, functions, fluents),
      instance(problem_instance),
      options(std::move(judged_by)) {
  for (const auto& [name, object] : instance->instances()) values.instance(object);
  const std::size_t num_statements = instance->expressions().size();
  fluents.reserve(num_statements);
  initial.state.reserve(num_statements);
  InitialLiterals literals(values, functions, fluents, initial);
  std::vector<model::Expression> others;
  for (const model::Expression e : instance->expressions()) {
    if (!literals.take(e)) others.push_back(e);
  }
  ProgramCompiler compiler(values, functions);
  problem = compile_problem(others, compiler);
  add_initial_values(problem, values, functions, fluents, evaluator, initial);
  for (const Statement& statement : problem.statements) {
    is_initial.push_back(is_initial_value(statement, values, evaluator));
  }
}

namespace {

// With more steps than this, not all combinations of extreme durations are tried.
constexpr std::size_t kMaxUncertainSteps = 6;
// So many of them are tried on their own the other way.
constexpr std::size_t kMaxSingleSteps = 31;

}  // namespace

struct StrictJudge::Task : strict::Task {
  using strict::Task::Task;

  /// The statements of an action of the problem; null if it has no such action.
  const StatementList* statements_of(const model::Action& action);
  /// The step with its values; a fault if it is not one of the problem.
  std::optional<StrictFault> plan_step(const std::shared_ptr<TimeTriggeredStep>& step,
                                       std::vector<PlannedStep>& plan);
  /// What the environment may choose for each step whose duration is left to it.
  struct Choice {
    std::size_t step;
    rational low;
    rational high;
  };
  std::optional<Choice> choice_of(const std::vector<PlannedStep>& plan, std::size_t step);
  std::optional<StrictFault> judge_choices(std::vector<PlannedStep>& plan,
                                           const std::vector<Choice>& choices);

 private:
  model::Action action_of_problem(const model::Action& action) const;
  std::string complaint_about(const TimeTriggeredStep& step, PlannedStep& planned);
  Value argument_value(model::Expression argument);

  std::unordered_map<const model::ActionImpl*, StatementList> lists_;
  std::unordered_map<const model::ActionImpl*, const StatementList*> known_;
};

// A plan may come from another reading of the text, or through transformers: then the name decides.
model::Action StrictJudge::Task::action_of_problem(const model::Action& action) const {
  const std::size_t depth = action->path().size();
  if (depth == 0) {
    const auto found = instance->actions().find(action->name());
    return found == instance->actions().end() ? nullptr : found->second;
  }
  const model::TypeScope* scope = instance.get();
  for (const std::string& name : action->path()) {
    const auto type = scope->user_types().find(name);
    if (type == scope->user_types().end()) return nullptr;
    scope = type->second.get();
  }
  const auto found = scope->actions().find(action->name());
  return found == scope->actions().end() ? nullptr : found->second;
}

const StatementList* StrictJudge::Task::statements_of(const model::Action& action) {
  const auto [known, is_new] = known_.try_emplace(action.get(), nullptr);
  if (!is_new) return known->second;
  const model::Action own = action_of_problem(action);
  if (own == nullptr) return nullptr;
  const auto [list, is_first] = lists_.try_emplace(own.get());
  if (is_first) {
    strict::ProgramCompiler compiler(values, functions);
    list->second = strict::compile_action(*own, compiler);
  }
  return known->second = &list->second;
}

Value StrictJudge::Task::argument_value(model::Expression argument) {
  const Value value = strict::literal_value(values, argument);
  if (values.kind(value) != strict::ValueKind::INSTANCE) return value;
  return values.named_instance(values.instance_of(value)->name());
}

// What is wrong with the step by itself; empty if nothing is.
std::string StrictJudge::Task::complaint_about(const TimeTriggeredStep& step,
                                               PlannedStep& planned) {
  const model::ActionImpl& action = *step.action();
  if (planned.list == nullptr) return "the problem has no action " + action.name();
  if (step.start_time().sign() < 0) return "the step starts before time 0";
  if (step.duration().sign() < 0) return "the duration of the step is negative";
  if (action.path().empty() != (step.object() == nullptr)) {
    return action.path().empty() ? "the action belongs to no object"
                                 : "the action belongs to an object, which the step does not name";
  }
  if (step.object() != nullptr) {
    planned.object = values.named_instance(step.object()->name());
    if (planned.object == strict::kNoValue) return "there is no object " + step.object()->name();
    const std::string& type = values.instance_of(planned.object)->type()->name();
    if (type != action.path().back()) {
      return "the action belongs to objects of type " + action.path().back() + ", and " +
             step.object()->name() + " is of type " + type;
    }
  }
  const model::Parameters& formals = action.parameters();
  if (formals.size() != step.actual_parameters().size()) {
    return "the action has " + std::to_string(formals.size()) + " parameters, and the step " +
           std::to_string(step.actual_parameters().size());
  }
  for (std::size_t i = 0; i < formals.size(); ++i) {
    const strict::ValueType type(action.environment(), formals[i]->type());
    std::string complaint;
    const Value argument = argument_value(step.actual_parameters()[i]);
    planned.parameters.push_back(type.fit(values, argument, complaint));
    if (planned.parameters.back() == strict::kNoValue) {
      return "argument " + std::to_string(i + 1) + " is wrong: " + complaint;
    }
  }
  return "";
}

std::optional<StrictFault> StrictJudge::Task::plan_step(
    const std::shared_ptr<TimeTriggeredStep>& step, std::vector<PlannedStep>& plan) {
  PlannedStep planned;
  planned.step = step;
  planned.list = statements_of(step->action());
  planned.start = step->start_time();
  planned.duration = step->duration();
  const std::string complaint = complaint_about(*step, planned);
  plan.push_back(std::move(planned));
  if (complaint.empty()) return std::nullopt;
  StrictFault fault;
  fault.rule = complaint;
  fault.source.step = step;
  fault.time = step->start_time();
  return fault;
}

std::optional<StrictJudge::Task::Choice> StrictJudge::Task::choice_of(
    const std::vector<PlannedStep>& plan, std::size_t step) {
  const PlannedStep& planned = plan[step];
  if (planned.step->has_duration() || !planned.list->uncertain_duration) return std::nullopt;
  strict::Bindings bindings;
  bindings.parameters = planned.parameters;
  bindings.object = planned.object;
  const auto& [low, high] = *planned.list->uncertain_duration;
  const Value least = evaluator.evaluate(low, bindings, initial.state);
  const Value greatest = evaluator.evaluate(high, bindings, initial.state);
  if (!values.is_number(least) || !values.is_number(greatest)) return std::nullopt;
  return Choice{step, values.number_of(least), values.number_of(greatest)};
}

// All combinations of the extremes where they are few; else all short, all long, and some steps on
// their own the other way. The plan has to be right for each of them.
std::optional<StrictFault> StrictJudge::Task::judge_choices(std::vector<PlannedStep>& plan,
                                                            const std::vector<Choice>& choices) {
  const std::size_t size = choices.size();
  const bool all = size <= kMaxUncertainSteps;
  const std::size_t num_runs =
      all ? std::size_t{1} << size : 2 * (std::min(size, kMaxSingleSteps) + 1);
  for (std::size_t run = 0; run < num_runs; ++run) {
    for (std::size_t i = 0; i < size; ++i) {
      const bool is_long = all ? (run >> i & 1) != 0 : (run % 2 != 0) != (run / 2 == i + 1);
      plan[choices[i].step].duration = is_long ? choices[i].high : choices[i].low;
    }
    std::optional<StrictFault> fault = strict::Simulation(*this, plan).run();
    if (!fault) continue;
    for (const Choice& choice : choices) {
      fault->chosen_durations.emplace_back(plan[choice.step].step, plan[choice.step].duration);
    }
    return fault;
  }
  return std::nullopt;
}

StrictJudge::StrictJudge(Environment& env, const model::ProblemInstance& problem,
                         StrictOptions options)
    : EnvObject(env), task_(std::make_unique<Task>(env, problem, std::move(options))) {}

StrictJudge::~StrictJudge() = default;

StrictVerdict StrictJudge::judge(const TimeTriggeredPlan& plan) const {
  std::vector<PlannedStep> steps;
  std::vector<Task::Choice> choices;
  for (const auto& [time, steps_at_time] : plan.plan()) {
    for (const std::shared_ptr<TimeTriggeredStep>& step : steps_at_time) {
      if (std::optional<StrictFault> fault = task_->plan_step(step, steps)) return {fault};
      if (const auto choice = task_->choice_of(steps, steps.size() - 1)) choices.push_back(*choice);
    }
  }
  return {task_->judge_choices(steps, choices)};
}

}  // namespace kelvo
