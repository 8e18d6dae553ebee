#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <set>
#include <utility>
#include <vector>

#include "model/expression.h"
#include "planners/heuristics/relaxed_exploration.h"

namespace kelvo {

/// Facts that every plan must make true at some time, each a literal or a disjunction of literals,
/// found backward from the goal through first achievers, and their orderings (Hoffmann, Porteous
/// and Sebastia, "Ordered landmarks in planning", 2004).
class LandmarkGraph {
 public:
  using Disjunction = std::vector<model::ExpressionSet>;

  struct Landmark {
    model::Expression expression;
    Condition condition;
    bool is_goal = false;
    /// What must be true before it can first be, and what it must precede.
    std::vector<std::uint32_t> before;
    std::vector<std::uint32_t> after;
  };

  LandmarkGraph(StateSpace& space, const Disjunction& goal,
                const std::vector<ClassicalAction>& actions, const StateValues& initial);

  const std::vector<Landmark>& landmarks() const { return landmarks_; }

 private:
  struct Builder;

  std::vector<Landmark> landmarks_;
};

}  // namespace kelvo
