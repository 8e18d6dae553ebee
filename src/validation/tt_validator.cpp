#include "validation/tt_validator.h"

#include <utility>

#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"
#include "shell/errors.h"
#include "transformers/flattener.h"
#include "transformers/grounder.h"
#include "transformers/set_compiler.h"
#include "transformers/temporal_uncertainty_compiler.h"
#include "validation/event_collector.h"
#include "validation/simulation.h"
#include "validation/step_forwarding.h"

namespace kelvo {

TTValidator::TTValidator(Environment& env, model::ProblemInstance problem)
    : EnvObject(env), problem_(std::move(problem)) {
  if (!problem_->is_flat()) apply(std::make_shared<Flattener>(problem_));
  if (problem_->has_temporal_uncertainty()) {
    apply(std::make_shared<TemporalUncertaintyCompiler>(problem_));
  }
  if (problem_->has_sets()) {
    if (!problem_->is_ground(/*only_action=*/true)) {
      apply(std::make_shared<Grounder>(problem_, /*ground_all=*/false, /*prune_actions=*/true));
    }
    apply(std::make_shared<SetCompiler>(problem_));
  }
}

TTValidator::~TTValidator() = default;

void TTValidator::apply(std::shared_ptr<BasicTransformer> transformer) {
  problem_ = transformer->output_problem();
  transformers_.push_back(std::move(transformer));
}

// Null if a step is none of the compiled problem's, because it can never be executed.
std::shared_ptr<TimeTriggeredPlan> TTValidator::map_forward(
    std::shared_ptr<TimeTriggeredPlan> plan) const {
  for (const std::shared_ptr<BasicTransformer>& transformer : transformers_) {
    if (const auto flattener = std::dynamic_pointer_cast<Flattener>(transformer)) {
      plan = flattener->map_forward(plan);
    } else if (const auto uncertainty =
                   std::dynamic_pointer_cast<TemporalUncertaintyCompiler>(transformer)) {
      plan = uncertainty->map_forward(plan);
    } else {
      plan = forward_steps(*transformer, *plan);
    }
    if (plan == nullptr) return nullptr;
  }
  return plan;
}

bool TTValidator::validate(std::shared_ptr<TimeTriggeredPlan> plan) const {
  plan = map_forward(std::move(plan));
  if (plan == nullptr) return false;
  EventCollector collector(environment());
  for (const auto& [time, steps] : plan->plan()) {
    for (const std::shared_ptr<TimeTriggeredStep>& step : steps) collector.add_step(*step);
  }
  collector.add_problem(*problem_);
  Simulation simulation(environment(), collector.initial_state());
  const bool is_valid = simulation.run(collector.sorted_events());
  if (!is_valid) collector.warn_of_late_effects();
  return is_valid;
}

}  // namespace kelvo
