#pragma once

#include <memory>

#include "model/model_fwd.h"
#include "plans/time_triggered_plan.h"
#include "shell/env_object.h"
#include "shell/numbers.h"
#include "validation/strict_verdict.h"

namespace kelvo {

struct StrictOptions {
  /// The rule of PDDL: happenings of two steps that touch one ground fluent, which one of them
  /// writes, are at least `epsilon` apart; several increases of one fluent may coincide.
  bool no_moving_targets = false;
  rational epsilon = rational(1) / 1000;
};

/// Judges time-triggered plans by what a plan means (docs/semantics.md), on the problem as it was
/// read: with members of user types, sets and uncertain durations. It has a reading of statements
/// and an evaluation of expressions of its own and shares no code with what makes plans.
///
/// A judge serves any number of plans. Faults of the problem itself, such as an initial value that
/// reads a fluent without one, are raised as `InvalidParameterError` by the constructor.
///
/// A step without a duration lasts 0; if the environment chooses its duration, the plan is judged
/// for extreme choices of these durations.
class StrictJudge : public EnvObject {
 public:
  StrictJudge(Environment& env, const model::ProblemInstance& problem, StrictOptions options = {});
  ~StrictJudge() override;

  StrictVerdict judge(const TimeTriggeredPlan& plan) const;

 private:
  struct Task;
  std::unique_ptr<Task> task_;
};

}  // namespace kelvo
