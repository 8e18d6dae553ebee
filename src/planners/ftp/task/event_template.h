#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "planners/ftp/task/action_events.h"
#include "planners/task/id_set.h"
#include "planners/task/program.h"
#include "shell/numbers.h"

namespace kelvo::ftp {

/// An event of a list, laid out once for all openings.
struct TemplateEvent {
  EventRole role;
  model::Expression expression;
  std::size_t index;
  bool from_start;
  /// The event's time less that of its anchor: negative before the end.
  double offset;
  rational exact_offset;
  bool left_open;
  /// Into the task's effects or conditions.
  std::uint32_t program;
  FluentSet fluents;
  /// The bounds of the interval as they were written; both the one time of a point.
  model::Expression left_time;
  model::Expression right_time;
  static constexpr std::uint32_t NO_BIT = 0xffffffff;
  /// Durative conditions of the problem: the number of this event among them; that of the closing
  /// follows that of the opening.
  std::uint32_t goal_bit = NO_BIT;

  bool is_effect() const { return role == EventRole::EFFECT; }
  bool is_opening() const { return role == EventRole::OPENING; }
};

/// A durative condition that is open between two positions of a list.
struct OpenCondition {
  static constexpr std::uint32_t AT_ONCE = 0xffffffff;

  std::uint32_t program;
  /// The position of its opening, `AT_ONCE` when it is open from the start of the list.
  std::uint32_t opened_at;
  bool left_open;
};

/// How far back the events from a position on hold their anchors: of those at the start the least
/// offset counts, of those at the end too. Infinite where there is none.
struct SuffixOffsets {
  double start = 0;
  double end = 0;
  double start_condition = 0;
  double end_condition = 0;
};

/// The list of events that an opening of an action, or the problem, has to go through, with what
/// the search asks of it at each position.
struct EventTemplate {
  /// Null for the problem's two lists.
  model::Action action;
  std::vector<TemplateEvent> events;
  /// By position, from 0 to the number of events: empty for the problem's lists, whose conditions
  /// may open in one list and close in the other.
  std::vector<std::vector<OpenCondition>> open_at;
  /// By position: the slots that the open conditions read, as a bitset, and whether one may read
  /// any slot.
  std::vector<std::vector<std::uint64_t>> open_reads;
  std::vector<bool> open_reads_all;
  std::vector<SuffixOffsets> suffix;

  // Of actions only.
  Condition start_condition;
  FluentSet start_fluents;
  model::Expression start_expression = nullptr;
  DurationBounds duration;
  double lower = 0;  // with the network's epsilon for an open bound
  double upper = 0;
  bool has_upper = false;
  /// The least times of the two anchors at which no event lies before time 0.
  double earliest_start = 0;
  double earliest_end = 0;
  /// How far behind the start the latest effect is that is told from there.
  double latest_effect = 0;
  /// An opening changes something and can come to its end.
  bool is_useful = true;
  /// An opening changes nothing, but can come to its end.
  bool is_idle = false;
};

}  // namespace kelvo::ftp
