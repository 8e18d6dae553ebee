#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "shell/environment.h"
#include "shell/numbers.h"
#include "transformers/duration_bounds.h"

namespace kelvo::ftp {

/// What an opening of an action is made of: the range of its duration, its start condition and its
/// timed conditions and effects, one for each interval.
struct ActionEvents {
  ActionEvents(Environment& env, const model::Action& action);

  model::Action action;
  DurationBounds duration;
  /// The conditions that hold exactly at the start, under the point interval at the start; null
  /// when there are none.
  model::Expression start_condition = nullptr;
  /// Timed expressions in the order of their interval's printed text.
  std::vector<model::Expression> conditions;
  std::vector<model::Expression> effects;

  /// A duration inside the range (unless that is empty), which orders events and binds nothing.
  rational nominal_duration() const;
};

/// Timed expressions with the bodies of one interval joined, in the order of the interval's printed
/// text. A statement without time counts as one at `untimed`.
std::vector<model::Expression> group_by_interval(model::ExpressionFactory& ef,
                                                 const std::vector<model::Expression>& statements,
                                                 model::Expression untimed);

/// Where a timed expression puts an event: `offset` after the start or before the end of what it is
/// anchored to, and the key that orders it among the events of its table.
struct EventTime {
  bool from_start;
  rational offset;
  rational key;
};

/// The role of an event in a list.
enum class EventRole : std::uint8_t {
  EFFECT,
  POINT,    // a condition at a point
  OPENING,  // the left end of a durative condition
  CLOSING,  // the right end
};

/// An event in the order in which it takes its fresh id, before the table is sorted.
struct PlacedEvent {
  EventRole role;
  model::Expression expression;
  std::size_t index;
  EventTime time;
  /// A durative condition that is not tested when it opens.
  bool left_open = false;
  /// Not in the table: a durative condition that is open from the start of its list.
  bool at_once = false;
};

/// The events of an opening of the action, effects first, with indices from 1. A condition that is
/// open on the left opens `gap` later than it says, behind the effects of that time.
std::vector<PlacedEvent> place_action_events(model::ExpressionFactory& ef,
                                             const ActionEvents& action, const rational& gap);

/// The events of the problem's timed literals and goals (timed expressions, one for each interval),
/// with indices from 0. A goal at the start point makes no event. A goal that is open on the left
/// opens `gap` later than it says, behind the effects of that time; an empty interval makes none.
std::vector<PlacedEvent> place_problem_events(model::ExpressionFactory& ef,
                                              const std::vector<model::Expression>& literals,
                                              const std::vector<model::Expression>& goals,
                                              const rational& gap);

/// Sorts by key, at one key conditions before effects, else in the order given.
void sort_table(std::vector<PlacedEvent>& table);

}  // namespace kelvo::ftp
