#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_set>
#include <vector>

#include "planners/ftp/task/compiled_task.h"
#include "planners/ftp/task/search_state.h"
#include "planners/search/state_hash.h"

namespace kelvo::ftp {

/// The states that a search over events has expanded, as hashes of 128 bits: of two states that are
/// the same here, one can be continued to a plan if the other can, by the same events.
///
/// What a continuation can see of the past are the values, the open lists and goals, and how far
/// the times that new constraints may mention lie apart: the latest event, the ends of open
/// actions, the end of the plan, and its start while an event at a told time is to come. All else
/// of the network is in the distances between these, as it is when variables are eliminated from
/// a temporal network (Dechter, Meiri and Pearl, AIJ 1991). Holds for paths in the order of time,
/// and where steps may touch what others do at that instant.
class KnownStates {
 public:
  explicit KnownStates(const CompiledTask& task);

  /// Notes the state; false when it was known. A state that can't be told apart is always new.
  bool insert(const SearchState& state);
  /// Bytes, roughly: a node and its place in the table for each state.
  std::size_t memory() const { return known_.size() * 48; }

 private:
  struct Key {
    std::uint64_t one;
    std::uint64_t other;
    friend bool operator==(const Key&, const Key&) = default;
  };
  struct KeyHash {
    std::size_t operator()(const Key& key) const { return key.one; }
  };
  /// A time that the future can see: that of a node, plus the offset.
  struct Variable {
    std::uint32_t node;
    double offset;
  };
  using Row = std::vector<std::int64_t>;

  void mix(std::uint64_t word) {
    one_.mix(word);
    other_.mix(word);
  }
  void mix_past(const SearchState& state);
  void mix_lists(const SearchState& state);
  bool mix_distances(const SearchState& state);
  bool mix_lasts(const SearchState& state);
  bool find_distances(const SearchState& state, std::uint32_t from, std::vector<double>& result);
  bool add_variable(const SearchState& state, const Variable& variable);

  const CompiledTask& task_;
  /// Whether the end of the plan may have to wait for more than the last end of an action.
  bool end_may_wait_ = false;
  std::unordered_set<Key, KeyHash> known_;

  // Of the state at hand.
  StateHash one_;
  StateHash other_;
  std::vector<TodoList> lists_;
  std::vector<Variable> variables_;
  std::vector<std::vector<double>> distances_;  // by variable, to the nodes
  std::vector<std::uint32_t> queue_;
  std::vector<std::uint8_t> is_queued_;
};

}  // namespace kelvo::ftp
