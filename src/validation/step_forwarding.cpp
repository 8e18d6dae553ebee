#include "validation/step_forwarding.h"

#include <utility>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/types.h"
#include "plans/time_triggered_plan.h"
#include "shell/environment.h"
#include "shell/log.h"
#include "transformers/grounder.h"
#include "validation/dur_simplifier.h"

namespace kelvo {

using model::Expression;

namespace {

bool admits(Environment& env, Expression demand, const rational& duration) {
  if (demand == nullptr) return true;
  model::ExpressionFactory& ef = env.expression_factory();
  const DurSimplifier::Values values = {
      {ef.make_duration_anchor(), ef.make_rational_constant(duration)}};
  return ef.is_true(DurSimplifier(env, values)(demand));
}

// A grounder keeps no action for parameters that make a condition false.
bool is_pruned(const BasicTransformer& transformer, const TimeTriggeredStep& step) {
  const auto* grounder = dynamic_cast<const Grounder*>(&transformer);
  if (grounder == nullptr) return false;
  for (const model::Parameter& formal : step.action()->parameters()) {
    if (!formal->type()->is_finite_domain()) return false;
  }
  return !grounder->has_instance(step.action(), step.actual_parameters());
}

// Null if there is none.
std::shared_ptr<TimeTriggeredStep> image_of(const BasicTransformer& transformer,
                                            const TimeTriggeredStep& step, Environment& env) {
  if (is_pruned(transformer, step)) return nullptr;
  for (const auto& [object, action, parameters, demand] :
       transformer.map_forward(step.object(), step.action(), step.actual_parameters())) {
    if (!admits(env, demand, step.duration())) continue;
    return std::make_shared<TimeTriggeredStep>(step.start_time(), action, parameters,
                                               step.optional_duration(), step.post_condition(),
                                               object);
  }
  return nullptr;
}

}  // namespace

std::shared_ptr<TimeTriggeredPlan> forward_steps(const BasicTransformer& transformer,
                                                 const TimeTriggeredPlan& plan) {
  auto result = std::make_shared<TimeTriggeredPlan>(plan.environment());
  for (const auto& [time, steps] : plan.plan()) {
    for (const std::shared_ptr<TimeTriggeredStep>& step : steps) {
      auto image = image_of(transformer, *step, plan.environment());
      if (image == nullptr) {
        LOG(LogLevel::DEBUG) << "The step of action " << step->action()->name() << " at time "
                             << time << " can never be executed!";
        return nullptr;
      }
      result->add_step(std::move(image));
    }
  }
  return result;
}

}  // namespace kelvo
