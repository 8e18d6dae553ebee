#include "planners/ftp/steps/timing.h"

#include <algorithm>

#include "plans/time_triggered_plan.h"

namespace kelvo::ftp {

namespace {

using ExactEdge = GuidedSchedule::ExactEdge;

/// What all weights become whole numbers with.
integer common_denominator(const std::vector<ExactEdge>& edges) {
  integer result = 1;
  for (const ExactEdge& edge : edges) {
    result = boost::multiprecision::lcm(result, denominator(edge.weight));
  }
  return result;
}

/// The least times of the nodes that meet all constraints (Bellman and Ford); empty when there are
/// none.
std::vector<rational> least_times(std::size_t num_nodes, const std::vector<ExactEdge>& edges) {
  const integer scale = common_denominator(edges);
  std::vector<integer> weights;
  for (const ExactEdge& edge : edges) weights.push_back(numerator(edge.weight * scale));
  std::vector<integer> times(num_nodes);
  bool has_changed = true;
  for (std::size_t round = 0; has_changed; ++round) {
    if (round > num_nodes || times[0] > 0) return {};
    has_changed = false;
    for (std::size_t i = 0; i < edges.size(); ++i) {
      const integer earliest = times[edges[i].from] + weights[i];
      if (earliest <= times[edges[i].to]) continue;
      times[edges[i].to] = earliest;
      has_changed = true;
    }
  }
  std::vector<rational> result;
  for (const integer& time : times) result.emplace_back(time, scale);
  return result;
}

}  // namespace

std::shared_ptr<TimeTriggeredPlan> make_exact_plan(GuidedSuccessors& successors,
                                                   const std::vector<GuidedMove>& moves) {
  const GuidedTask& task = successors.task();
  std::vector<ExactEdge> edges;
  GuidedState state;
  successors.make_initial_state(state);
  successors.schedule().record(&edges);
  const bool applies = std::all_of(moves.begin(), moves.end(), [&](const GuidedMove& move) {
    return successors.apply(state, move);
  });
  const bool is_plan = applies && successors.end_plan(state);  // may put an action off
  successors.schedule().record(nullptr);
  if (!is_plan) return nullptr;
  const std::vector<rational> times = least_times(state.times.size(), edges);
  if (times.empty()) return nullptr;

  std::vector<std::uint32_t> starts;
  for (std::uint32_t node = 1; node < times.size(); ++node) {
    starts.push_back(node);
    if (!task.list(state.node_lists[node]).has_fixed_duration) ++node;
  }
  std::stable_sort(starts.begin(), starts.end(),
                   [&](std::uint32_t a, std::uint32_t b) { return times[a] < times[b]; });
  auto plan = std::make_shared<TimeTriggeredPlan>(task.task().environment());
  for (const std::uint32_t node : starts) {
    const GuidedList& list = task.list(state.node_lists[node]);
    const rational duration =
        list.has_fixed_duration ? list.exact_lower : rational(times[node + 1] - times[node]);
    plan->add_step(std::make_shared<TimeTriggeredStep>(times[node], list.action,
                                                       TimeTriggeredStep::Parameters(), duration));
  }
  return plan;
}

}  // namespace kelvo::ftp
