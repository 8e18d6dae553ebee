#pragma once

#include <cstdint>
#include <vector>

namespace kelvo {

/// A set of numbers that is asked again and again whether it has a member in common with another.
struct IdSet {
  std::vector<std::uint32_t> members;  // sorted, once the set is finished
  /// One bit for each member, by its number modulo 64: disjoint signatures, disjoint sets.
  std::uint64_t signature = 0;

  void add(std::uint32_t member) { members.push_back(member); }
  /// Sorts what was added.
  void finish();
  bool contains(std::uint32_t member) const;
};

bool have_common_member(const IdSet& a, const IdSet& b);

/// Fluents, as the free variables of an expression name them.
using FluentSet = IdSet;
/// Slots of the state space.
using SlotSet = IdSet;

}  // namespace kelvo
