#pragma once

#include <cstdint>
#include <vector>

#include "planners/heuristics/heuristic.h"
#include "planners/heuristics/landmark_graph.h"

namespace kelvo {

/// The number of landmarks that a path has not met yet, or will have to meet again. Never a dead
/// end.
class HLandmarks : public Heuristic {
 public:
  /// A bit for each landmark that the path to a state has met in a possible order.
  using Accepted = std::vector<std::uint64_t>;

  /// `initial` are the values from which landmarks are found, over the whole space.
  HLandmarks(StateSpace& space, const LandmarkGraph::Disjunction& goal,
             const std::vector<ClassicalAction>& actions, const StateValues& initial);

  double evaluate(const State& state) override;

  const LandmarkGraph& graph() const { return graph_; }

 protected:
  /// The values of the state over the whole space, valid until the next call.
  virtual StateValues initial_values(const State& state) { return state.values; }
  virtual bool is_initial_state(const State& state) const = 0;
  /// What was stored for the parent.
  virtual const Accepted& parent_accepted(const State& state) const = 0;
  virtual void store_accepted(const State& state, const Accepted& accepted) = 0;

 private:
  LandmarkGraph graph_;
  Machine machine_;
  std::vector<bool> holds_;
  Accepted accepted_;
};

}  // namespace kelvo
