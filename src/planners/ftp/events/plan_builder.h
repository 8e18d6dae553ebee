#pragma once

#include <memory>

#include "planners/ftp/events/network_replay.h"
#include "planners/ftp/events/successor_generator.h"

namespace kelvo {
class TimeTriggeredPlan;
}

namespace kelvo::ftp {

/// Makes the plan of a goal state. The search lets the plan end as late as it likes; a plan ends
/// one time unit behind its last end or effect, and a goal state for which that can't be has none.
class PlanBuilder {
 public:
  /// With the rules of the generator, whose scratch state is overwritten. Unless `is_exact`, times
  /// are rounded where that is possible.
  PlanBuilder(SuccessorGenerator& generator, bool is_exact)
      : generator_(generator), task_(generator.task()), is_exact_(is_exact) {}

  /// With the least times; null when there is none.
  std::shared_ptr<TimeTriggeredPlan> build(const SearchState& goal);

 private:
  std::shared_ptr<TimeTriggeredPlan> build(NetworkReplay& replay,
                                           const NetworkReplay::Times& least);
  std::shared_ptr<TimeTriggeredPlan> build_with_early_end(const SearchState& goal,
                                                          NetworkReplay& replay,
                                                          const NetworkReplay::Times& least);
  const SearchState* repeat(const SearchState& state, const PathNode& step);

  SuccessorGenerator& generator_;
  CompiledTask& task_;
  bool is_exact_;
};

}  // namespace kelvo::ftp
