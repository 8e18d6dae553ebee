#pragma once

#include <cstdint>
#include <vector>

#include "planners/ftp/relaxation/relaxed_task.h"
#include "planners/heuristics/hadd.h"

namespace kelvo::ftp {

/// The additive heuristic on the relaxed problem: open actions are marked by the phase that comes
/// next, and must come back to their first.
class HAdd : public kelvo::HAdd {
 public:
  explicit HAdd(RelaxedTask& relaxed);

  /// The actions of the task that have a relevant phase and all of whose phases the latest
  /// recording evaluation reached: their template numbers, by name.
  std::vector<std::uint32_t> useful_actions() const;

 protected:
  model::ExpressionSet goal_fluents() const override;
  void reach_initial_literals(const State& state) override;

 private:
  struct MarkerLiterals {
    std::uint32_t positive;
    std::uint32_t negative;
  };

  RelaxedTask& relaxed_;
  std::vector<MarkerLiterals> markers_;  // as `RelaxedTask::markers()`
};

/// The number of lists that are still to be gone through.
class HSize : public Heuristic {
 public:
  using Heuristic::Heuristic;

  double evaluate(const State& state) override { return as_search_state(state).num_todo; }
};

}  // namespace kelvo::ftp
