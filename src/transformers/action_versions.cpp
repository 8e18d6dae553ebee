#include "transformers/action_versions.h"

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/duration_constraint.h"
#include "transformers/plan_mapping.h"

namespace kelvo {

using model::Expression;

ActionVersionsCompiler::ActionVersionsCompiler(const model::ProblemInstance& input_problem)
    : BasicTransformer(input_problem) {}

void ActionVersionsCompiler::do_computation() {
  const model::ProblemInstance& problem = input_problem();
  require_flat(problem, "This phase can be only applied to flattened models!");
  parts_.take_fluents(problem);
  parts_.take_constants(problem);
  parts_.take_instances(problem);
  parts_.take_user_types(problem);
  // A version must not take the name of a thing that stays.
  for (const auto& [name, fluent] : problem->fluents()) action_names_.insert(name);
  for (const auto& [name, constant] : problem->constants()) action_names_.insert(name);
  for (const auto& [name, instance] : problem->instances()) action_names_.insert(name);
  for (const auto& [name, type] : problem->user_types()) action_names_.insert(name);
  for (const auto& [name, action] : problem->actions()) {
    map_forward_actions_[action];  // an action without any version is known all the same
    split_action(action);
  }
  parts_.take_expressions(problem);
  parts_.take_orderings(problem);
  output_problem_ = parts_.make(environment());
}

void ActionVersionsCompiler::add_version(const model::Action& action,
                                         const std::vector<Expression>& body, Expression constraint,
                                         Expression range) {
  Substitution substitution;
  const model::Parameters parameters =
      copy_parameters(environment(), action->parameters(), substitution);
  const ExpressionSubstituter substitute(environment(), substitution);
  model::ExpressionSet expressions;
  for (const Expression e : body) expressions.insert(substitute(e));
  const Expression new_constraint = substitute(constraint);
  if (range != nullptr) expressions.insert(range);
  const model::Action version = environment().model_factory().make_action(
      get_action_fresh_name(action), {}, parameters, expressions);
  parts_.add(version);
  actions_[version] = action;
  map_forward_actions_[action].emplace_back(version, new_constraint);
}

std::string ActionVersionsCompiler::get_action_fresh_name(const model::Action& action) {
  std::string candidate = action->name() + std::to_string(av_index_);
  while (!action_names_.insert(candidate).second) {
    ++av_index_;
    candidate = action->name() + std::to_string(av_index_);
  }
  return candidate;
}

const model::Action& ActionVersionsCompiler::original_of(const model::Action& action) const {
  const auto found = actions_.find(action);
  if (found == actions_.end()) {
    throw InternalError("Found an action that is unknown to the transformer!");
  }
  return found->second;
}

const std::vector<ActionVersionsCompiler::Version>& ActionVersionsCompiler::versions_of(
    const model::Action& action) const {
  const auto found = map_forward_actions_.find(action);
  if (found == map_forward_actions_.end()) {
    throw InternalError("Found an action that is unknown to the transformer!");
  }
  return found->second;
}

std::shared_ptr<Plan> ActionVersionsCompiler::map_back(const std::shared_ptr<Plan>& plan) const {
  return map_plan(plan, "the transformer", [this](MappedStep step) -> std::optional<MappedStep> {
    step.action = original_of(step.action);
    return step;
  });
}

BasicTransformer::Step ActionVersionsCompiler::map_back(
    const model::Instance& object, const model::Action& action,
    const std::vector<Expression>& parameters) const {
  return {object, original_of(action), parameters};
}

std::vector<BasicTransformer::ForwardStep> ActionVersionsCompiler::map_forward(
    const model::Instance& object, const model::Action& action,
    const std::vector<Expression>& parameters) const {
  std::vector<ForwardStep> steps;
  for (const auto& [version, constraint] : versions_of(action)) {
    steps.emplace_back(object, version, parameters, constraint);
  }
  return steps;
}

std::shared_ptr<TimeTriggeredPlan> ActionVersionsCompiler::map_forward(
    const std::shared_ptr<TimeTriggeredPlan>& plan) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  return map_time_triggered_plan(*plan, [&](MappedStep step) -> std::optional<MappedStep> {
    const rational duration = step.duration.value_or(rational(0));
    for (const auto& [version, constraint] : versions_of(step.action)) {
      Substitution values;
      for (std::size_t i = 0; i < step.parameters.size(); ++i) {
        const Expression parameter = ef.make_parameter_reference(version->parameters().at(i));
        values[parameter] = step.parameters[i];
      }
      if (!admits_duration(environment(), constraint, duration, std::move(values))) continue;
      return MappedStep{nullptr, version, step.parameters, duration, nullptr};
    }
    return std::nullopt;
  });
}

}  // namespace kelvo
