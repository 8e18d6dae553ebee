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

namespace kelvo {

TTValidator::TTValidator(Environment& env, model::ProblemInstance problem)
    : EnvObject(env), chain_(std::move(problem)) {
  chain_.apply_if<Flattener>(!chain_.problem()->is_flat());
  chain_.apply_if<TemporalUncertaintyCompiler>(chain_.problem()->has_temporal_uncertainty());
  if (chain_.problem()->has_sets()) {
    chain_.apply_if<Grounder>(!chain_.problem()->is_ground(/*only_action=*/true));
    chain_.apply<SetCompiler>();
  }
}

bool TTValidator::validate(std::shared_ptr<TimeTriggeredPlan> plan) const {
  std::string unused;
  return validate(std::move(plan), unused);
}

bool TTValidator::validate(std::shared_ptr<TimeTriggeredPlan> plan, std::string& complaint) const {
  plan = chain_.map_forward(std::move(plan));
  if (plan == nullptr) {
    complaint = "A step can never be executed";
    return false;
  }
  EventCollector collector(environment());
  for (const auto& [time, steps] : plan->plan()) {
    for (const std::shared_ptr<TimeTriggeredStep>& step : steps) collector.add_step(*step);
  }
  collector.add_problem(*chain_.problem());
  Simulation simulation(environment(), collector.initial_state());
  const bool is_valid = simulation.run(collector.sorted_events());
  if (!is_valid) {
    complaint = simulation.complaint();
    collector.warn_of_late_effects();
  }
  return is_valid;
}

}  // namespace kelvo
