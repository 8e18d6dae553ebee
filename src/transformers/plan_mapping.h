#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "shell/numbers.h"

namespace kelvo {

class Environment;
class Plan;
class POTPlan;
class TimeTriggeredPlan;

/// What a step of either kind of plan says beside its place in time.
struct MappedStep {
  model::Instance object;
  model::Action action;
  std::vector<model::Expression> parameters;
  std::optional<rational> duration;
  model::Expression post_condition = nullptr;
};

/// Rewrites a step; an empty result leaves the step out.
using StepMapping = std::function<std::optional<MappedStep>(MappedStep)>;

/// The one walk by which transformers carry a plan of either kind over: a new plan with each step
/// rewritten by `mapping`, in the order and with the start time, delay and precedences that it had.
/// Precedences that touch a step left out are left out too. A null plan or one of another kind is
/// an `InternalError` "Unknown plan kind to be converted by " `who`.
std::shared_ptr<Plan> map_plan(const std::shared_ptr<Plan>& plan, const std::string& who,
                               const StepMapping& mapping);

/// The two halves of `map_plan`. Time-triggered steps go by ascending time and in order within one
/// time, partial-order steps by number.
std::shared_ptr<TimeTriggeredPlan> map_time_triggered_plan(const TimeTriggeredPlan& plan,
                                                           const StepMapping& mapping);
std::shared_ptr<POTPlan> map_partial_order_plan(const POTPlan& plan, const StepMapping& mapping);

/// Rewrites a post-condition conjunct by conjunct; a conjunct that becomes null is dropped. A null
/// post-condition stays null.
model::Expression map_post_condition(
    Environment& env, model::Expression post_condition,
    const std::function<model::Expression(model::Expression)>& map_conjunct);

/// The conjuncts of a post-condition, in order; none for null.
std::vector<model::Expression> post_condition_conjuncts(model::Expression post_condition);

}  // namespace kelvo
