#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <span>

#include "planners/task/state.h"

namespace kelvo::ftp {

/// time(to) >= time(from) + weight
struct Edge {
  const Edge* next;  // the edge with the same `from` that was added before
  std::uint32_t from;
  std::uint32_t to;
  double weight;
};

/// One applied event, behind its predecessors. Shared by all states that continue it; holds the
/// constraints that the step added, which the states' networks point into.
struct PathNode {
  static constexpr std::uint32_t OPENING = 0xffffffff;

  PathNode* parent;
  std::uint32_t references;
  std::uint32_t template_id;
  /// The position of the event in its list, or `OPENING` for the start of an action.
  std::uint32_t position;
  /// The network's node of the list's start anchor.
  std::uint32_t node;
  std::uint32_t num_edges;

  bool is_opening() const { return position == OPENING; }
  Edge* edges() { return reinterpret_cast<Edge*>(this + 1); }
};
static_assert(sizeof(PathNode) % alignof(Edge) == 0, "the edges stand behind the node");

/// The events still to come of one opened action, or of the problem: a suffix of a template.
struct TodoList {
  std::uint32_t template_id;
  std::uint32_t position;
  /// Conditions that opened left-open at or behind this position have not been tested yet.
  std::uint32_t unchecked_from;
  /// The network's node of the start anchor; that of the end anchor is the next.
  std::uint32_t node;
};
static_assert(sizeof(TodoList) == 16, "copied with each state");

/// A partially built plan: the values at the latest applied event, the events still to come, and
/// the earliest times of the anchors of all events so far.
///
/// All arrays of a kept state lie in one block behind it.
struct SearchState : State {
  static constexpr std::uint32_t PLAN_START = 0;
  static constexpr std::uint32_t PLAN_END = 1;
  static constexpr std::uint32_t NO_NOTE = 0xffffffff;

  PathNode* path = nullptr;  // null before the first event
  std::uint64_t* bits = nullptr;
  ValueId* ids = nullptr;
  TodoList* todo = nullptr;
  /// The problem's durative conditions that are open, and those opened and not tested since.
  std::uint64_t* open_goals = nullptr;
  std::uint64_t* unchecked_goals = nullptr;
  /// By node: the least time, and the newest constraint that leaves it.
  double* times = nullptr;
  const Edge** heads = nullptr;
  std::uint32_t num_todo = 0;
  std::uint32_t num_nodes = 0;
  /// What a heuristic noted about this state and about its parent.
  mutable std::uint32_t note = NO_NOTE;
  std::uint32_t parent_note = NO_NOTE;
  std::uint32_t block_size = 0;
  /// Who needs the state: its holder, and successors that are not built yet.
  std::uint32_t references = 1;

  std::span<const TodoList> lists() const { return {todo, num_todo}; }
};

/// What a heuristic of this search is given: no other kind of state reaches it.
inline const SearchState& as_search_state(const State& state) {
  const auto& result = static_cast<const SearchState&>(state);
  assert(result.values.bits == result.bits && result.values.ids == result.ids);
  return result;
}

}  // namespace kelvo::ftp
