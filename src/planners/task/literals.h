#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <optional>

#include "planners/task/program.h"
#include "planners/task/state_space.h"

namespace kelvo {

/// What a literal asks of a slot: the value, or another one. Of a boolean slot it is always a
/// value. A slot without a value has no literal that holds.
struct SlotLiteral {
  std::uint32_t slot;
  ValueId value;
  bool is_equal = true;

  bool holds_for(ValueId of_slot) const {
    return of_slot != ValueTable::NONE && (of_slot == value) == is_equal;
  }
  friend bool operator==(const SlotLiteral&, const SlotLiteral&) = default;
};

/// Calls `visit(literal)` for each literal of a condition that is a conjunction of them: those of
/// boolean slots in the order of the slots, then the others.
template <typename Visitor>
void for_each_literal(const StateSpace& space, const Condition& condition, Visitor&& visit) {
  assert(condition.is_conjunction);
  for (const std::uint32_t slot : condition.program.reads) {
    const SlotPlace place = space.place(slot);
    if (!place.is_boolean) continue;
    const std::uint64_t bit = std::uint64_t{1} << (place.position % 64);
    for (const WordTest& test : condition.tests) {
      if (test.word != place.position / 64 || (test.mask & bit) == 0) continue;
      const bool value = (test.expected & bit) != 0;
      visit(SlotLiteral{slot, value ? ValueTable::TRUE : ValueTable::FALSE});
    }
  }
  for (const ValueTest& test : condition.values) {
    visit(SlotLiteral{test.slot, test.value, test.is_equal});
  }
}

/// Calls `visit(slot, value)` for each slot that the effect names; the value is there if it is the
/// same in every state. What is written by arguments that depend on the state (`writes_all`) is
/// left out.
template <typename Visitor>
void for_each_change(const StateSpace& space, const EffectProgram& effect, Visitor&& visit) {
  for (const std::uint32_t slot : effect.writes) {
    const SlotPlace place = space.place(slot);
    std::optional<ValueId> value;
    for (const WordUpdate& update : effect.updates) {
      if (!place.is_boolean || update.word != place.position / 64) continue;
      if ((update.clear >> (place.position % 64) & 1) == 0) continue;
      const bool is_true = (update.set >> (place.position % 64) & 1) != 0;
      value = is_true ? ValueTable::TRUE : ValueTable::FALSE;
    }
    // A later assignment wins.
    for (const Assignment& assignment : effect.assignments) {
      if (assignment.target != nullptr || assignment.slot != slot) continue;
      value = assignment.is_constant ? std::optional(assignment.constant) : std::nullopt;
    }
    visit(slot, value);
  }
}

}  // namespace kelvo
