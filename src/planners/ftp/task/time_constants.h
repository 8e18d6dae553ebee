#pragma once

#include <algorithm>

#include "shell/numbers.h"

namespace kelvo::ftp {

// The times that both searches keep apart, and how far their doubles are trusted. Times are sums of
// durations and gaps along a chain of constraints; what is printed is computed again exactly, so
// that a tolerance may cost a plan but makes no wrong one.

/// Between an effect and what must come before or after it: the least distance of two things that
/// may not happen at once, and what an open bound of a duration keeps off. The times of a plan are
/// rounded to as many decimal places.
inline constexpr int GAPS_IN_A_UNIT = 100;
inline constexpr double NETWORK_EPSILON = 1.0 / GAPS_IN_A_UNIT;
inline rational exact_gap() {
  return {1, GAPS_IN_A_UNIT};
}

/// Under the rule of no moving targets: between happenings of two steps that touch one fluent and
/// one of which writes it, in both orders. The other gap is kept in any case.
inline rational target_gap(const rational& plan_epsilon) {
  return std::max(exact_gap(), plan_epsilon);
}

/// Behind it sums of times could leave the range of doubles.
inline constexpr double LONGEST_TIME = 1e300;

/// Every action, and every effect, ends so long before the plan does.
inline constexpr double PLAN_END_GAP = 1.0;

/// Two sums of the same durations and offsets, in other orders, differ by less: rounding of doubles
/// alone. Only for the question whether two pending effects stand at one time.
inline constexpr double SAME_TIME = 1e-9;

/// What a time of the search over steps has to grow by to be raised. It has to be coarser than the
/// rounding of sums, or circles of constraints whose weights cancel would never come to rest.
inline constexpr double STEP_TOLERANCE = 1e-6;

/// The search over steps tells distances apart to so many parts of a time unit when it compares
/// states: coarser than what a time may be off by.
inline constexpr double DISTANCES_IN_A_UNIT = 1e5;

/// The same for the search over events, which only rounds: its states count as known exactly.
inline constexpr double EVENT_DISTANCES_IN_A_UNIT = 1e7;

/// The same as `STEP_TOLERANCE` for the network of the search over events, whose chains of
/// constraints are longer: it holds what `TemporalNetwork` holds.
inline constexpr double NETWORK_TOLERANCE = 1e-4;

/// A plan, or another way to a known state, has to be shorter by more than this to be better. It
/// has to be coarser than the tolerances, which could pass for progress.
inline constexpr double LEAST_GAIN = 1e-3;

static_assert(SAME_TIME < STEP_TOLERANCE && STEP_TOLERANCE < 1 / DISTANCES_IN_A_UNIT &&
                  1 / DISTANCES_IN_A_UNIT < NETWORK_TOLERANCE && NETWORK_TOLERANCE < LEAST_GAIN &&
                  LEAST_GAIN < NETWORK_EPSILON && NETWORK_EPSILON < PLAN_END_GAP,
              "each tells apart only what the finer ones count as different");

}  // namespace kelvo::ftp
