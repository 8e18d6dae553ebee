#pragma once

#include <set>
#include <string>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "shell/env_object.h"
#include "shell/numbers.h"
#include "validation/dur_simplifier.h"
#include "validation/validation_event.h"

namespace kelvo {

class TimeTriggeredStep;

/// Turns the steps of a plan, and then the statements of the problem, into records of a simulation.
class EventCollector : public EnvObject {
 public:
  using State = DurSimplifier::Values;

  explicit EventCollector(Environment& env) : EnvObject(env) {}

  /// Enters what the action of the step asks for and does, with times and parameters bound.
  void add_step(const TimeTriggeredStep& step);

  /// Enters initial values, timed effects and goals. All steps must be in: goals without a time
  /// stand one time unit after the last thing that the plan does.
  void add_problem(const model::ProblemInstanceImpl& problem);

  /// Warns of effects of the problem that come at or after the end of the plan, which counts the
  /// plan's own steps alone: goals at the end are judged without them.
  void warn_of_late_effects() const;

  /// The records in the order of the simulation; those that it leaves equal as they came in.
  std::vector<ValidationEvent> sorted_events() const;

  /// The initial value of each ground fluent that has one.
  const State& initial_state() const { return initial_state_; }

 private:
  void add_condition(model::Expression condition, const rational& untimed_at);
  void warn_of_bare_times(const model::Action& action);
  rational time_of(model::Expression time, model::Expression statement) const;

  rational horizon_ = 0;
  rational plan_end_ = 0;
  std::vector<ValidationEvent> events_;
  State initial_state_;
  std::set<std::string> warned_actions_;
};

}  // namespace kelvo
