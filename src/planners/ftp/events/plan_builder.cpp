#include "planners/ftp/events/plan_builder.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include "plans/time_triggered_plan.h"
#include "shell/log.h"

namespace kelvo::ftp {

std::shared_ptr<TimeTriggeredPlan> PlanBuilder::build(const SearchState& goal) {
  NetworkReplay replay(task_, generator_.rules().deordering);
  replay.replay(goal.path);
  std::optional<NetworkReplay::Times> least = replay.exact_times();
  if (!least) return nullptr;
  if (replay.is_end_exact(*least)) return build(replay, *least);
  if (const auto plan = build_with_early_end(goal, replay, *least)) return plan;
  least = replay.bind_end(*least);
  return least ? build(replay, *least) : nullptr;
}

// The path may wait with what is tied to the end of the plan for what the problem does later: the
// same plan with all of that as early as the end may be, if that is one.
std::shared_ptr<TimeTriggeredPlan> PlanBuilder::build_with_early_end(
    const SearchState& goal, NetworkReplay& replay, const NetworkReplay::Times& least) {
  struct TimedStep {
    rational time;
    const PathNode* step;
  };
  std::vector<TimedStep> steps;
  for (const PathNode* step = goal.path; step != nullptr; step = step->parent) {
    const rational& time =
        least[replay.number_of(replay.path()[replay.path().size() - steps.size() - 1])];
    steps.push_back({time, step});
  }
  std::reverse(steps.begin(), steps.end());
  const auto of_end = std::stable_partition(steps.begin(), steps.end(), [](const TimedStep& one) {
    return one.step->template_id != CompiledTask::PROBLEM_END;
  });
  std::vector<TimedStep> order;
  auto next = steps.begin();
  for (auto late = of_end; late != steps.end(); ++late) {
    const TemplateEvent& event =
        task_.template_of(CompiledTask::PROBLEM_END).events[late->step->position];
    const rational time = replay.earliest_end(least) + event.exact_offset;
    for (; next != of_end && next->time < time; ++next) order.push_back(*next);
    order.push_back(*late);
  }
  order.insert(order.end(), next, of_end);

  SearchState* state = generator_.make_initial_state();
  for (const TimedStep& one : order) {
    const SearchState* child = repeat(*state, *one.step);
    SearchState* const kept = child == nullptr ? nullptr : generator_.keep(*state);
    generator_.release(state);
    state = kept;
    if (state == nullptr) return nullptr;
  }
  NetworkReplay reordered(task_, generator_.rules().deordering);
  reordered.replay(state->path);
  const bool is_goal = generator_.is_goal(*state);
  generator_.release(state);
  const std::optional<NetworkReplay::Times> times = reordered.exact_times();
  const bool is_plan = is_goal && times && reordered.is_end_exact(*times);
  return is_plan ? build(reordered, *times) : nullptr;
}

// The same step in another state; null when it is not possible there.
const SearchState* PlanBuilder::repeat(const SearchState& state, const PathNode& step) {
  if (step.is_opening()) return generator_.open_action(state, step.template_id);
  for (std::size_t list = 0; list < state.num_todo; ++list) {
    const TodoList& todo = state.todo[list];
    if (todo.template_id != step.template_id || todo.node != step.node) continue;
    return generator_.apply_event(state, list);
  }
  return nullptr;
}

// The plan with the least times, rounded if they bear it.
std::shared_ptr<TimeTriggeredPlan> PlanBuilder::build(NetworkReplay& replay,
                                                      const NetworkReplay::Times& least) {
  constexpr unsigned DECIMAL_PLACES = 2;
  const auto times = replay.network().get_min_makespan_solution(replay.interpreter());
  std::vector<std::pair<double, Event>> openings;
  for (const Event& opening : replay.openings()) openings.emplace_back(times.at(opening), opening);
  std::stable_sort(openings.begin(), openings.end(), [](const auto& a, const auto& b) {
    return a.first != b.first ? a.first < b.first : a.second.fresh_id < b.second.fresh_id;
  });
  // A time with hundreds of digits is infinite as a double; there is nothing to round then.
  bool is_exact = is_exact_;
  for (const Event& opening : replay.openings()) {
    const Event closing = NetworkReplay::end_of(opening);
    if (!std::isfinite(times.at(opening)) || !std::isfinite(times.at(closing))) is_exact = true;
  }
  std::vector<NetworkReplay::Placement> rounded;
  std::vector<NetworkReplay::Placement> exact;
  for (const auto& [time, opening] : openings) {
    const Event closing = NetworkReplay::end_of(opening);
    const rational& start = least[replay.number_of(opening)];
    exact.push_back({opening, start, least[replay.number_of(closing)] - start});
    if (is_exact) continue;
    const rational end(times.at(closing));
    rational duration = kelvo::round(rational(end - rational(time)), DECIMAL_PLACES);
    // A bound with more digits must not be rounded away.
    const DurationBounds& bounds = task_.template_of(task_.template_id(opening.action)).duration;
    if (duration < bounds.lower) duration = bounds.lower;
    if (bounds.upper && duration > *bounds.upper) duration = *bounds.upper;
    rounded.push_back({opening, kelvo::round(rational(time), DECIMAL_PLACES), duration});
  }
  if (!is_exact && !replay.admits(rounded, least)) {
    LOG(LogLevel::INFO) << "The plan does not bear rounding: its times are exact";
    is_exact = true;
  }
  auto plan = std::make_shared<TimeTriggeredPlan>(task_.environment());
  for (const NetworkReplay::Placement& one : is_exact ? exact : rounded) {
    plan->add_step(std::make_shared<TimeTriggeredStep>(
        one.start, one.opening.action, TimeTriggeredStep::Parameters(), one.duration));
  }
  return plan;
}

}  // namespace kelvo::ftp
