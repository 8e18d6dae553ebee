#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "plans/plan.h"
#include "shell/numbers.h"

namespace kelvo {

/// One step of a partial-order plan. Immutable; its number is unique in its plan.
class POTStep {
 public:
  using Parameters = std::vector<model::Expression>;

  /// `delay` is the least distance of the step's start from the moment at which its predecessors
  /// let it begin. The other arguments are those of `TimeTriggeredStep`.
  POTStep(rational delay, model::Action action, Parameters actual_parameters,
          const std::optional<rational>& duration, model::Expression post_condition,
          model::Instance object, std::size_t id);

  const rational& delay() const { return delay_; }
  const model::Action& action() const { return action_; }
  const Parameters& actual_parameters() const { return actual_parameters_; }
  const rational& duration() const { return duration_; }
  bool has_duration() const { return has_duration_; }
  /// The duration, empty for a step that has none.
  std::optional<rational> optional_duration() const;
  model::Expression post_condition() const { return post_condition_; }
  std::size_t id() const { return id_; }
  const model::Instance& object() const { return object_; }

 private:
  rational delay_;
  model::Action action_;
  Parameters actual_parameters_;
  rational duration_;
  bool has_duration_;
  model::Expression post_condition_;
  std::size_t id_;
  model::Instance object_;
};

/// What must happen, and in which order: steps and a precedence relation, without times.
class POTPlan : public Plan {
 public:
  using Step = std::shared_ptr<POTStep>;
  /// Sets of steps are ordered by number, never by address.
  struct StepLess {
    bool operator()(const Step& a, const Step& b) const { return a->id() < b->id(); }
  };
  using StepSet = std::set<Step, StepLess>;

  explicit POTPlan(Environment& env) : Plan(env) {}

  /// Copies the steps and precedences of a partial-order plan, each step with a duration; makes the
  /// start times of a time-triggered plan the delays of steps without precedences. Raises
  /// `InternalError` for another kind of plan.
  explicit POTPlan(const std::shared_ptr<Plan>& plan);

  std::size_t size() const override { return steps_.size(); }
  std::string kind() const override { return "Partial-Order Temporal Plan"; }
  std::ostream& print(std::ostream& os) const override;

  /// Makes a step and enters it. Steps are numbered from 1 in the order of these calls.
  Step add_step(rational delay, model::Action action, POTStep::Parameters actual_parameters,
                rational duration, model::Expression post_condition = nullptr,
                model::Instance object = nullptr);
  Step add_step(rational delay, model::Action action, POTStep::Parameters actual_parameters,
                model::Expression post_condition = nullptr, model::Instance object = nullptr);
  /// The form for callers that hold the duration of another step: empty for none.
  Step add_step(rational delay, model::Action action, POTStep::Parameters actual_parameters,
                const std::optional<rational>& duration, model::Expression post_condition,
                model::Instance object);

  /// `b` must end before `a`. Both must belong to the plan, else `InternalError` is raised.
  void add_precedence(const Step& a, const Step& b);

  /// The steps that must end before `step`, which must belong to the plan.
  const StepSet& precedences(const Step& step) const;

  /// The steps, in the order of their numbers.
  const StepSet& steps() const { return steps_; }

 private:
  bool has_step(const Step& step) const;

  StepSet steps_;
  std::map<Step, StepSet, StepLess> precedences_;
};

}  // namespace kelvo
