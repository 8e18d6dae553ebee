#include "planners/heuristics/hmax.h"

#include <algorithm>

namespace kelvo {

HMax::HMax(StateSpace& space, const std::vector<model::Expression>& goals,
           const std::vector<ClassicalAction>& actions)
    : Heuristic(space.environment()), exploration_(space, actions) {
  for (const model::Expression goal : goals) {
    goals_.push_back(exploration_.compiler().compile_condition(goal));
  }
}

void HMax::initial_values(const State& state, RelaxedExploration& exploration) {
  exploration.start(state.values);
}

double HMax::evaluate(const State& state) {
  initial_values(state, exploration_);
  std::vector<const Condition*> open;
  for (const Condition& goal : goals_) open.push_back(&goal);
  for (double round = 0;; ++round) {
    std::erase_if(
        open, [this](const Condition* goal) { return exploration_.values().possibly_true(*goal); });
    if (open.empty()) return round;
    if (!exploration_.advance()) return DEAD_END;
  }
}

}  // namespace kelvo
