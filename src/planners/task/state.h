#pragma once

#include <cstdint>

#include "planners/task/value_table.h"

namespace kelvo {

/// The fluents' values of a search state, borrowed: one bit for each boolean fluent and a value id
/// for each other, laid out by a `StateSpace`.
struct StateValues {
  const std::uint64_t* bits = nullptr;
  const ValueId* ids = nullptr;
};

/// What every search state has.
struct State {
  StateValues values;
  /// Depth: the number of applied events or actions.
  double g = 0;
  /// Search priority, the least first.
  double f = 0;
};

}  // namespace kelvo
