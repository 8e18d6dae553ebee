#pragma once

#include "model/expression.h"
#include "shell/numbers.h"

namespace kelvo {

/// One timed record of the simulation of a plan: a condition over an interval, or an effect.
struct ValidationEvent {
  /// When the record becomes due.
  rational lower;
  /// The end of the interval; equal to `lower` for a point.
  rational upper;
  /// The condition, or the right side of an effect.
  model::Expression expression = nullptr;
  /// The fluent that an effect assigns; null for a condition.
  model::Expression lvalue = nullptr;
  bool left_closed = true;
  bool right_closed = true;
  bool is_effect = false;
  /// The condition must hold at some time of the interval, not at all.
  bool is_contains = false;
};

/// The order of the simulation: by time; at one time records with an open left end first, then
/// conditions before effects, so that they read the state before the effects.
inline bool comes_before(const ValidationEvent& a, const ValidationEvent& b) {
  if (a.lower != b.lower) return a.lower < b.lower;
  if (a.left_closed != b.left_closed) return b.left_closed;
  return !a.is_effect && b.is_effect;
}

}  // namespace kelvo
