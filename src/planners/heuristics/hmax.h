#pragma once

#include <vector>

#include "model/expression.h"
#include "planners/heuristics/heuristic.h"
#include "planners/heuristics/relaxed_exploration.h"

namespace kelvo {

/// The number of rounds of relaxed exploration after which each goal is possible: not a cost
/// maximum.
class HMax : public Heuristic {
 public:
  /// The space and the actions are borrowed; the space may have more slots than the states.
  HMax(StateSpace& space, const std::vector<model::Expression>& goals,
       const std::vector<ClassicalAction>& actions);

  double evaluate(const State& state) override;

 protected:
  /// Starts the exploration with the values of the state.
  virtual void initial_values(const State& state, RelaxedExploration& exploration);

 private:
  RelaxedExploration exploration_;
  std::vector<Condition> goals_;
};

}  // namespace kelvo
