#include "transformers/plan_mapping.h"

#include <map>
#include <utility>

#include "model/expression_factory.h"
#include "plans/pot_plan.h"
#include "plans/time_triggered_plan.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo {

using model::Expression;

namespace {

template <typename PlanStep>
MappedStep contents_of(const PlanStep& step) {
  return {step.object(), step.action(), step.actual_parameters(), step.optional_duration(),
          step.post_condition()};
}

}  // namespace

std::shared_ptr<TimeTriggeredPlan> map_time_triggered_plan(const TimeTriggeredPlan& plan,
                                                           const StepMapping& mapping) {
  auto mapped_plan = std::make_shared<TimeTriggeredPlan>(plan.environment());
  for (const auto& [start_time, steps] : plan.plan()) {
    for (const auto& step : steps) {
      std::optional<MappedStep> mapped = mapping(contents_of(*step));
      if (!mapped) continue;
      mapped_plan->add_step(std::make_shared<TimeTriggeredStep>(
          start_time, mapped->action, mapped->parameters, mapped->duration, mapped->post_condition,
          mapped->object));
    }
  }
  return mapped_plan;
}

std::shared_ptr<POTPlan> map_partial_order_plan(const POTPlan& plan, const StepMapping& mapping) {
  auto mapped_plan = std::make_shared<POTPlan>(plan.environment());
  std::map<POTPlan::Step, POTPlan::Step, POTPlan::StepLess> new_steps;
  for (const POTPlan::Step& step : plan.steps()) {
    const std::optional<MappedStep> mapped = mapping(contents_of(*step));
    if (!mapped) continue;
    new_steps[step] =
        mapped_plan->add_step(step->delay(), mapped->action, mapped->parameters, mapped->duration,
                              mapped->post_condition, mapped->object);
  }
  for (const auto& [old_step, new_step] : new_steps) {
    for (const POTPlan::Step& predecessor : plan.precedences(old_step)) {
      const auto found = new_steps.find(predecessor);
      if (found != new_steps.end()) mapped_plan->add_precedence(new_step, found->second);
    }
  }
  return mapped_plan;
}

std::shared_ptr<Plan> map_plan(const std::shared_ptr<Plan>& plan, const std::string& who,
                               const StepMapping& mapping) {
  if (const auto* partial_order = dynamic_cast<const POTPlan*>(plan.get())) {
    return map_partial_order_plan(*partial_order, mapping);
  }
  if (const auto* time_triggered = dynamic_cast<const TimeTriggeredPlan*>(plan.get())) {
    return map_time_triggered_plan(*time_triggered, mapping);
  }
  throw InternalError() << "Unknown plan kind to be converted by " << who;
}

std::vector<Expression> post_condition_conjuncts(Expression post_condition) {
  if (post_condition == nullptr) return {};
  if (model::kind_of(post_condition) != model::ExpressionOperatorKind::AND) {
    return {post_condition};
  }
  return {post_condition->children().begin(), post_condition->children().end()};
}

Expression map_post_condition(Environment& env, Expression post_condition,
                              const std::function<Expression(Expression)>& map_conjunct) {
  if (post_condition == nullptr) return nullptr;
  std::vector<Expression> mapped;
  for (const Expression conjunct : post_condition_conjuncts(post_condition)) {
    const Expression image = map_conjunct(conjunct);
    if (image != nullptr) mapped.push_back(image);
  }
  return env.expression_factory().make_and(mapped);
}

}  // namespace kelvo
