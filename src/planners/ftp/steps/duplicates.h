#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "planners/ftp/task/step_state.h"

namespace kelvo::ftp {

/// Which states count as the same.
enum class Duplicates {
  NONE,
  /// The same values, and the same actions at the same positions: the times may differ, so that a
  /// plan may get lost.
  BY_VALUES,
  /// The same steps in the same partial order as well.
  EXACT,
};

/// The states that a search has met, as hashes of 64 bits.
class GuidedDuplicates {
 public:
  explicit GuidedDuplicates(Duplicates kind) : kind_(kind) {}

  /// Notes the state; false when it is known with a makespan that is no greater. With `any_time`
  /// the makespan does not matter.
  bool insert(const GuidedState& state, double makespan, bool any_time) {
    if (kind_ == Duplicates::NONE) return true;
    const float time = any_time ? 0 : static_cast<float>(makespan);
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

  static constexpr float LEAST_GAIN = 1e-3F;

  Duplicates kind_;
  std::unordered_map<std::uint64_t, float> known_;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> open_;  // scratch
};

}  // namespace kelvo::ftp
