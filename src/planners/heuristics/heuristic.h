#pragma once

#include "planners/task/state.h"
#include "shell/env_object.h"

namespace kelvo {

/// Estimates how far a state is from the goal.
class Heuristic : public EnvObject {
 public:
  /// A state from which the goal can't be reached.
  static constexpr double DEAD_END = -1.0;

  using EnvObject::EnvObject;

  /// The estimate, or `DEAD_END`. The state is complete: a heuristic of one planner may expect that
  /// planner's own class of states.
  virtual double evaluate(const State& state) = 0;
};

}  // namespace kelvo
