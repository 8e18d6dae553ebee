#include "planners/ftp/events/known_states.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "planners/ftp/task/time_constants.h"

namespace kelvo::ftp {

namespace {

constexpr double UNREACHED = -std::numeric_limits<double>::infinity();
constexpr std::uint64_t NOT_ORDERED = 0x8000000000000000ULL;

// Distances are told apart by more than the rounding of sums, and less than any two that differ.
std::int64_t parts_of(double distance) {
  constexpr double LARGEST = 9e18;
  if (distance == UNREACHED) return static_cast<std::int64_t>(NOT_ORDERED);
  return std::llround(std::clamp(distance * EVENT_DISTANCES_IN_A_UNIT, -LARGEST, LARGEST));
}

bool is_left_unchecked(const EventTemplate& events, const TodoList& list) {
  const std::vector<OpenCondition>& open = events.open_at[list.position];
  return list.unchecked_from < list.position &&
         std::any_of(open.begin(), open.end(), [&](const OpenCondition& one) {
           return one.left_open && one.opened_at != OpenCondition::AT_ONCE &&
                  one.opened_at >= list.unchecked_from;
         });
}

}  // namespace

KnownStates::KnownStates(const CompiledTask& task) : task_(task) {
  const std::vector<TemplateEvent>& at_end = task.template_of(CompiledTask::PROBLEM_END).events;
  end_may_wait_ = !task.template_of(CompiledTask::PROBLEM_START).events.empty() ||
                  std::any_of(at_end.begin(), at_end.end(),
                              [](const TemplateEvent& e) { return e.offset != 0; });
}

bool KnownStates::insert(const SearchState& state) {
  one_ = StateHash();
  other_ = StateHash();
  other_.mix(1);
  mix_past(state);
  mix_lists(state);
  if (!mix_distances(state)) return true;
  return known_.insert({one_.value(), other_.value()}).second;
}

void KnownStates::mix_past(const SearchState& state) {
  one_.mix(task_.space(), state.values);
  other_.mix(task_.space(), state.values);
  const std::size_t num_goal_words = (task_.goal_conditions().size() + 63) / 64;
  for (std::size_t i = 0; i < num_goal_words; ++i) {
    mix(state.open_goals[i]);
    mix(state.unchecked_goals[i]);
  }
}

// In the order of their templates: no action is open twice.
void KnownStates::mix_lists(const SearchState& state) {
  lists_.assign(state.todo, state.todo + state.num_todo);
  std::sort(lists_.begin(), lists_.end(),
            [](const TodoList& a, const TodoList& b) { return a.template_id < b.template_id; });
  mix(lists_.size());
  for (const TodoList& list : lists_) {
    mix(list.template_id);
    mix(list.position);
    mix(is_left_unchecked(task_.template_of(list.template_id), list) ? list.unchecked_from
                                                                     : list.position);
  }
}

bool KnownStates::add_variable(const SearchState& state, const Variable& variable) {
  variables_.push_back(variable);
  if (distances_.size() < variables_.size()) distances_.emplace_back();
  return find_distances(state, variable.node, distances_[variables_.size() - 1]);
}

bool KnownStates::mix_distances(const SearchState& state) {
  variables_.clear();
  bool is_told = add_variable(state, {SearchState::PLAN_END, 0.0});
  const bool has_path = state.path != nullptr;
  if (has_path) {
    const PathNode& latest = *state.path;
    const TemplateEvent* event =
        latest.is_opening() ? nullptr
                            : &task_.template_of(latest.template_id).events[latest.position];
    mix(event == nullptr ? 2 : event->is_effect());
    const bool from_start = event == nullptr || event->from_start;
    is_told = is_told && add_variable(state, {from_start ? latest.node : latest.node + 1,
                                              event == nullptr ? 0.0 : event->offset});
  }
  bool counts_from_start = false;
  for (const TodoList& list : lists_) {
    if (list.template_id == CompiledTask::PROBLEM_END) continue;
    is_told = is_told && add_variable(state, {list.node, 0.0});
    if (list.template_id == CompiledTask::PROBLEM_START) {
      counts_from_start = true;
    } else {
      is_told = is_told && add_variable(state, {list.node + 1, 0.0});
    }
  }
  if (!is_told) return false;
  const std::size_t num_live = variables_.size();
  if (counts_from_start) {
    // Nor may any event be before the start.
    for (const Variable& one : variables_) {
      mix(static_cast<std::uint64_t>(parts_of(state.times[one.node])));
    }
  }
  for (std::size_t i = 0; i < num_live; ++i) {
    for (std::size_t j = 0; j < num_live; ++j) {
      if (i == j) continue;
      const double distance = distances_[i][variables_[j].node];
      const double between = distance + variables_[j].offset - variables_[i].offset;
      mix(static_cast<std::uint64_t>(parts_of(between)));
    }
  }
  return !end_may_wait_ || mix_lasts(state);
}

// The plan ends one unit behind the last end of an action or effect that is told from the start, so
// that these can be seen as well, but for those that are never behind another one.
bool KnownStates::mix_lasts(const SearchState& state) {
  const std::size_t num_live = variables_.size();
  for (const PathNode* step = state.path; step != nullptr; step = step->parent) {
    if (!step->is_opening()) continue;
    const EventTemplate& opened = task_.template_of(step->template_id);
    if (!add_variable(state, {step->node + 1, 0.0})) return false;
    if (opened.latest_effect > opened.lower &&
        !add_variable(state, {step->node, opened.latest_effect})) {
      return false;
    }
  }
  const auto between = [&](std::size_t i, std::size_t j) {
    return distances_[i][variables_[j].node] + variables_[j].offset - variables_[i].offset;
  };
  std::vector<std::size_t> kept;
  for (std::size_t i = num_live; i < variables_.size(); ++i) {
    bool is_hidden = false;
    for (std::size_t j = num_live; j < variables_.size() && !is_hidden; ++j) {
      // Of two that are always at one time the first stays.
      is_hidden = i != j && between(i, j) >= -SAME_TIME && (between(j, i) < -SAME_TIME || j < i);
    }
    if (!is_hidden) kept.push_back(i);
  }
  // In an order that does not depend on that of the path.
  std::vector<std::pair<Row, std::size_t>> rows;
  for (const std::size_t i : kept) {
    Row row;
    for (std::size_t j = 0; j < num_live; ++j) {
      row.push_back(parts_of(between(i, j)));
      row.push_back(parts_of(between(j, i)));
    }
    rows.emplace_back(std::move(row), i);
  }
  std::sort(rows.begin(), rows.end());
  mix(rows.size());
  for (const auto& [row, i] : rows) {
    for (const std::int64_t part : row) mix(static_cast<std::uint64_t>(part));
    for (const auto& [other_row, j] : rows)
      mix(static_cast<std::uint64_t>(parts_of(between(i, j))));
  }
  return true;
}

// The longest ways from a node. Nothing can be told of a network with a circle that the tolerance
// of the search has let pass.
bool KnownStates::find_distances(const SearchState& state, std::uint32_t from,
                                 std::vector<double>& result) {
  result.assign(state.num_nodes, UNREACHED);
  result[from] = 0;
  is_queued_.assign(state.num_nodes, 0);
  queue_.assign(1, from);
  const std::size_t most = 64 + std::size_t{16} * state.num_nodes;
  for (std::size_t head = 0; head < queue_.size(); ++head) {
    if (head > most) return false;
    const std::uint32_t node = queue_[head];
    is_queued_[node] = 0;
    for (const Edge* edge = state.heads[node]; edge != nullptr; edge = edge->next) {
      const double distance = result[node] + edge->weight;
      if (!(distance > result[edge->to] + SAME_TIME)) continue;
      result[edge->to] = distance;
      if (is_queued_[edge->to] != 0) continue;
      is_queued_[edge->to] = 1;
      queue_.push_back(edge->to);
    }
  }
  return true;
}

}  // namespace kelvo::ftp
