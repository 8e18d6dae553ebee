#pragma once

#include <cstdint>
#include <vector>

#include "planners/ftp/relaxation/relaxed_task.h"
#include "planners/task/state_space.h"

namespace kelvo::ftp {

/// The task's space with the phase markers as slots behind the others, for heuristics that evaluate
/// expressions over both.
class MarkedSpace {
 public:
  explicit MarkedSpace(RelaxedTask& relaxed);

  StateSpace& space() { return space_; }
  std::size_t marker_slot(std::size_t marker) const { return first_slot_ + marker; }
  /// The values of the state with all actions idle. Valid until the next call.
  StateValues idle_values(const State& state);
  void set_marker(std::size_t marker, bool value);

 private:
  StateSpace space_;
  std::size_t first_slot_;
  std::size_t num_task_words_;
  std::vector<std::uint64_t> idle_bits_;
  std::vector<std::uint64_t> task_mask_;
  std::vector<std::uint64_t> bits_;
};

}  // namespace kelvo::ftp
