// The conversions between the forms of plans: they know each other only here.

#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "model/action.h"
#include "plans/pot_plan.h"
#include "plans/time_triggered_plan.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/hashing.h"
#include "shell/warnings.h"
#include "temporal/temporal_network.h"

namespace kelvo {

namespace {

// The number of a step, and true for the moment at which its predecessors let it begin, false for
// its end.
using TimePoint = std::pair<std::size_t, bool>;

Environment& environment_of(const std::shared_ptr<Plan>& plan, const char* target) {
  if (plan == nullptr) {
    throw InternalError() << "No known conversion to " << target << " from the specified plan";
  }
  return plan->environment();
}

// When each step may begin at the earliest, in the order of the steps.
std::vector<rational> earliest_ready_times(const POTPlan& plan) {
  const rational epsilon =
      rational_from_string(plan.environment().configuration().get_string_value("plan-epsilon"));
  TNInterpreter<TimePoint> interpreter;
  const auto network = TemporalNetwork<TimePoint, rational>::make();
  // The network takes the newest constraint first. Entered from the last step to the first, and
  // with a step's precedences after its length, the constraints of a plan that is numbered along
  // its precedences raise each time once.
  for (auto step = plan.steps().rbegin(); step != plan.steps().rend(); ++step) {
    const TimePoint ready((*step)->id(), true);
    const TimePoint end((*step)->id(), false);
    const rational length = (*step)->delay() + (*step)->duration();
    network->add_ge(interpreter, end, ready, length);
    network->add_le(interpreter, end, ready, length);
    for (const POTPlan::Step& predecessor : plan.precedences(*step)) {
      network->add_ge(interpreter, ready, TimePoint(predecessor->id(), false), epsilon);
    }
  }
  const auto solution = network->get_min_makespan_solution(interpreter);
  std::vector<rational> result;
  result.reserve(plan.size());
  for (const POTPlan::Step& step : plan.steps()) {
    result.push_back(solution.at(TimePoint(step->id(), true)));
  }
  return result;
}

// A step without a duration counts as one of length 0, which is no sound guess for an action whose
// duration the environment chooses.
void warn_of_uncertain_steps(const POTPlan& plan) {
  std::set<std::string> warned;
  for (const POTPlan::Step& step : plan.steps()) {
    const model::Action& action = step->action();
    if (step->has_duration() || !action->is_temporally_uncertain(/*really_uncertain=*/true)) {
      continue;
    }
    if (!warned.insert(action->name()).second) continue;
    plan.environment().warning_manager().warn(
        "The schedule gives no time to action '" + action->name() +
        "', whose duration the environment chooses: steps that wait for it may come too early");
  }
}

}  // namespace

TimeTriggeredPlan::TimeTriggeredPlan(const std::shared_ptr<Plan>& plan)
    : Plan(environment_of(plan, "TimeTriggeredPlan")) {
  if (const auto same = std::dynamic_pointer_cast<TimeTriggeredPlan>(plan)) {
    plan_ = same->plan_;
    return;
  }
  const auto partial_order = std::dynamic_pointer_cast<POTPlan>(plan);
  if (partial_order == nullptr) environment_of(nullptr, "TimeTriggeredPlan");
  warn_of_uncertain_steps(*partial_order);
  const std::vector<rational> ready_times = earliest_ready_times(*partial_order);
  auto ready_time = ready_times.begin();
  for (const POTPlan::Step& step : partial_order->steps()) {
    const rational start_time = *ready_time++ + step->delay();
    add_step(std::make_shared<TimeTriggeredStep>(start_time, step->action(),
                                                 step->actual_parameters(), step->duration(),
                                                 step->post_condition(), step->object()));
  }
}

POTPlan::POTPlan(const std::shared_ptr<Plan>& plan) : Plan(environment_of(plan, "POTPlan")) {
  if (const auto same = std::dynamic_pointer_cast<POTPlan>(plan)) {
    std::map<Step, Step, StepLess> copies;
    for (const Step& step : same->steps_) {
      copies[step] = add_step(step->delay(), step->action(), step->actual_parameters(),
                              step->duration(), step->post_condition(), step->object());
    }
    for (const auto& [step, predecessors] : same->precedences_) {
      for (const Step& predecessor : predecessors) {
        add_precedence(copies.at(step), copies.at(predecessor));
      }
    }
    return;
  }
  const auto time_triggered = std::dynamic_pointer_cast<TimeTriggeredPlan>(plan);
  if (time_triggered == nullptr) environment_of(nullptr, "POTPlan");
  for (const auto& [time, steps] : time_triggered->plan()) {
    for (const std::shared_ptr<TimeTriggeredStep>& step : steps) {
      add_step(time, step->action(), step->actual_parameters(), step->duration(),
               step->post_condition(), step->object());
    }
  }
}

}  // namespace kelvo
