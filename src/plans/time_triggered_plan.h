#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "plans/plan.h"
#include "shell/numbers.h"

namespace kelvo {

/// One action at an absolute time. Immutable, and shared between plans.
class TimeTriggeredStep {
 public:
  using Parameters = std::vector<model::Expression>;

  /// A step with a duration. `actual_parameters` has one value for each formal parameter.
  /// `post_condition` may be null: a conjunction of equalities of a ground fluent and a value that
  /// describes the state after the step. `object` may be null: the instance that executes the
  /// action, which only an action of a user type has.
  TimeTriggeredStep(rational start_time, model::Action action, Parameters actual_parameters,
                    rational duration, model::Expression post_condition = nullptr,
                    model::Instance object = nullptr);

  /// A step without a duration, which then counts as 0.
  TimeTriggeredStep(rational start_time, model::Action action, Parameters actual_parameters,
                    model::Expression post_condition = nullptr, model::Instance object = nullptr);

  /// The form for callers that hold the duration of another step: empty for none.
  TimeTriggeredStep(rational start_time, model::Action action, Parameters actual_parameters,
                    const std::optional<rational>& duration, model::Expression post_condition,
                    model::Instance object);

  const rational& start_time() const { return start_time_; }
  const model::Action& action() const { return action_; }
  const Parameters& actual_parameters() const { return actual_parameters_; }
  const rational& duration() const { return duration_; }
  bool has_duration() const { return has_duration_; }
  /// The duration, empty for a step that has none.
  std::optional<rational> optional_duration() const;
  model::Expression post_condition() const { return post_condition_; }
  const model::Instance& object() const { return object_; }

 private:
  rational start_time_;
  model::Action action_;
  Parameters actual_parameters_;
  rational duration_;
  bool has_duration_;
  model::Expression post_condition_;
  model::Instance object_;
};

/// The plain form of a solution: steps with absolute start times, and the form that plan files
/// have.
class TimeTriggeredPlan : public Plan {
 public:
  using Steps = std::map<rational, std::vector<std::shared_ptr<TimeTriggeredStep>>>;

  explicit TimeTriggeredPlan(Environment& env) : Plan(env) {}

  /// Shares the steps of a time-triggered plan; gives the steps of a partial-order plan the
  /// earliest start times, with the option `plan-epsilon` between a step and its successors.
  /// Raises `InternalError` for another kind of plan and `TemporalNetworkIsUnsat` if the
  /// precedences form a cycle.
  explicit TimeTriggeredPlan(const std::shared_ptr<Plan>& plan);

  std::size_t size() const override;
  std::string kind() const override { return "Time-Triggered Plan"; }

  /// One line for each step. With the option `rational-precision` times are exact; without it they
  /// are rounded to hundredths, and a log line at `WARN` says so when that changes a time.
  std::ostream& print(std::ostream& os) const override;

  /// One line for each step, with exact times: as decimals where these are finite, else as
  /// fractions.
  std::ostream& print_exactly(std::ostream& os) const;
  /// Whether some time, printed without the option `rational-precision`, does not read back.
  bool is_changed_by_rounding() const;
  /// The plan with times as they read back from such a text; null if some do not, for large ones
  /// get an exponent.
  std::shared_ptr<TimeTriggeredPlan> rounded() const;

  void add_step(std::shared_ptr<TimeTriggeredStep> step);

  /// The steps by start time; those with one start time in the order in which they were added.
  const Steps& plan() const { return plan_; }

 private:
  Steps plan_;
};

}  // namespace kelvo
