#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "planners/ftp/steps/live_times.h"
#include "planners/ftp/task/step_state.h"
#include "planners/ftp/task/time_constants.h"

namespace kelvo::ftp {

/// Which states count as the same.
enum class Duplicates {
  NONE,
  /// The same values, and the same actions at the same positions: the times may differ, so that a
  /// plan may get lost.
  BY_VALUES,
  /// The times that the steps to come can see are the same as well: what is lost is found
  /// otherwise.
  EXACT,
};

/// The states that a search has met, as hashes of 64 bits.
class GuidedDuplicates {
 public:
  /// The task and the schedule are borrowed.
  GuidedDuplicates(Duplicates kind, const GuidedTask& task, const GuidedSchedule& schedule)
      : kind_(kind), space_(task.task().space()), times_(task, schedule) {}

  /// The state that the move has made of its parent, which comes next. False when the plans through
  /// it are found by other orders of their steps.
  bool enter(const GuidedState& parent, GuidedMove move, const GuidedState& state) {
    return kind_ != Duplicates::EXACT || times_.enter(parent, move, state);
  }

  /// Notes the state; false when it is known with a makespan that is no greater. With `any_time`
  /// the makespan does not matter.
  bool insert(const GuidedState& state, double makespan, bool any_time) {
    if (kind_ == Duplicates::NONE) return true;
    const double time = any_time ? 0 : makespan;
    const auto [known, is_new] = known_.try_emplace(hash_of(state), time);
    if (is_new) return true;
    if (time + LEAST_GAIN >= known->second) return false;
    known->second = time;
    return true;
  }

  /// Bytes, roughly: a node and its place in the table for each state.
  std::size_t memory() const { return known_.size() * 48; }

 private:
  std::uint64_t hash_of(const GuidedState& state);

  Duplicates kind_;
  const StateSpace& space_;
  LiveTimes times_;
  std::unordered_map<std::uint64_t, double> known_;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> open_;  // scratch
};

}  // namespace kelvo::ftp
