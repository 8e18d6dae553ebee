#pragma once

#include <algorithm>
#include <cstdint>

#include "planners/task/state_space.h"

namespace kelvo {

/// Hashes the words of a state. Each is spread over all bits, so that 64 bits may stand for a state
/// where a table holds hashes alone.
class StateHash {
 public:
  void mix(std::uint64_t word) {
    hash_ = (hash_ ^ word) * 0x9e3779b97f4a7c15ULL;
    hash_ ^= hash_ >> 32;
    hash_ *= 0xd6e8feb86659fd93ULL;
    hash_ ^= hash_ >> 29;
  }
  void mix(const StateSpace& space, const StateValues& values) {
    std::for_each_n(values.bits, space.num_words(), [this](std::uint64_t word) { mix(word); });
    std::for_each_n(values.ids, space.num_ids(), [this](ValueId id) { mix(id); });
  }
  std::uint64_t value() const { return hash_; }

 private:
  std::uint64_t hash_ = 0x243f6a8885a308d3ULL;  // not 0, so that a leading 0 counts
};

inline bool have_same_values(const StateSpace& space, const StateValues& a, const StateValues& b) {
  return std::equal(a.bits, a.bits + space.num_words(), b.bits) &&
         std::equal(a.ids, a.ids + space.num_ids(), b.ids);
}

}  // namespace kelvo
