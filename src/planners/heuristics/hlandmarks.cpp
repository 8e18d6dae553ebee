#include "planners/heuristics/hlandmarks.h"

#include <algorithm>

namespace kelvo {

namespace {

bool has(const HLandmarks::Accepted& accepted, std::size_t landmark) {
  return ((accepted[landmark / 64] >> (landmark % 64)) & 1) != 0;
}

}  // namespace

HLandmarks::HLandmarks(StateSpace& space, const LandmarkGraph::Disjunction& goal,
                       const std::vector<ClassicalAction>& actions, const StateValues& initial)
    : Heuristic(space.environment()), graph_(space, goal, actions, initial), machine_(space) {}

double HLandmarks::evaluate(const State& state) {
  const std::vector<LandmarkGraph::Landmark>& landmarks = graph_.landmarks();
  const StateValues values = initial_values(state);
  holds_.resize(landmarks.size());
  for (std::size_t i = 0; i < landmarks.size(); ++i) {
    holds_[i] = machine_.holds(landmarks[i].condition, values);
  }
  const bool is_initial = is_initial_state(state);
  const Accepted before =
      is_initial ? Accepted((landmarks.size() + 63) / 64) : parent_accepted(state);
  accepted_ = before;
  for (std::size_t i = 0; i < landmarks.size(); ++i) {
    const std::vector<std::uint32_t>& demanded = landmarks[i].before;
    const bool may_be_accepted = std::all_of(
        demanded.begin(), demanded.end(), [&](std::uint32_t other) { return has(before, other); });
    if (holds_[i] && may_be_accepted) accepted_[i / 64] |= std::uint64_t{1} << (i % 64);
  }
  store_accepted(state, accepted_);

  double needed = 0;
  for (std::size_t i = 0; i < landmarks.size(); ++i) {
    if (!has(accepted_, i)) {
      ++needed;
    } else if (!holds_[i]) {
      const std::vector<std::uint32_t>& after = landmarks[i].after;
      const bool is_needed_again =
          landmarks[i].is_goal || std::any_of(after.begin(), after.end(), [&](std::uint32_t other) {
            return !has(accepted_, other);
          });
      if (is_needed_again) ++needed;
    }
  }
  return needed;
}

}  // namespace kelvo
