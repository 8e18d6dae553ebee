#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "planners/task/state.h"

namespace kelvo::ftp {

/// An action whose list is not through: the position of its next step, and its first node in the
/// schedule.
struct OpenAction {
  std::uint32_t list;
  std::uint32_t position;
  std::uint32_t node;
};

/// Who used a slot last, as numbers of `GuidedSchedule`: its latest writer, and those who read it
/// since, the latest first.
struct SlotUsers {
  static constexpr std::uint32_t NONE = 0xffffffff;

  std::uint32_t writer = NONE;
  std::uint32_t readers = NONE;
};

/// A partial plan of the guided search. What it shares with its ancestors lies in the
/// `GuidedSchedule`.
struct GuidedState {
  std::vector<std::uint64_t> bits;
  std::vector<ValueId> ids;
  std::vector<OpenAction> open;
  /// In the list of the problem.
  std::uint32_t problem_position = 0;

  // The schedule, by node: the least time, the newest constraint that leaves it, the list that it
  // belongs to. Node 0 is the start of the plan.
  std::vector<double> times;
  std::vector<std::uint32_t> heads;
  std::vector<std::uint32_t> node_lists;
  std::vector<SlotUsers> slots;

  /// By landmark: has held once.
  std::vector<std::uint64_t> landmarks;

  StateValues values() const { return {bits.data(), ids.data()}; }

  /// Bytes, but for what the allocator adds.
  std::size_t memory() const {
    const auto size_of = [](const auto& vector) { return vector.capacity() * sizeof(vector[0]); };
    return sizeof(GuidedState) + size_of(bits) + size_of(ids) + size_of(open) + size_of(times) +
           size_of(heads) + size_of(node_lists) + size_of(slots) + size_of(landmarks);
  }
};

/// What leads from a state to a successor.
struct GuidedMove {
  enum class Kind : std::uint8_t {
    OPEN,      // the first step of an action
    OPEN_ALL,  // all steps of an action
    STEP,      // the next step of an open action, or of the problem
  };
  std::uint32_t list = 0;
  Kind kind = Kind::STEP;
};

}  // namespace kelvo::ftp
