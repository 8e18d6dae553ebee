#pragma once

#include <optional>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "shell/numbers.h"

namespace kelvo {

class Environment;

/// The range that constraints leave to the duration of an action.
struct DurationBounds {
  rational lower = 0;
  /// Empty for a duration without upper bound.
  std::optional<rational> upper;
  bool lower_open = false;
  bool upper_open = false;

  /// Tightens the range by a constraint, conjunct by conjunct. A conjunct compares (`<`, `<=`, `>`,
  /// `>=`, `==`, `:=`) the `duration` anchor on its left with a constant, which is simplified
  /// first; if it is no constant, the conjunct changes nothing. Throws `InternalError` with the
  /// printed conjunct on any other form.
  void fold(Environment& env, model::Expression constraint);

  bool is_empty() const;
  /// Whether the range is one value.
  bool is_point() const { return upper && *upper == lower && !lower_open && !upper_open; }

  /// The range as one expression: "duration == c", or the conjunction of its bounds.
  model::Expression to_expression(Environment& env) const;
};

/// Whether the `duration` anchor occurs in `e`.
bool mentions_duration(Environment& env, model::Expression e);

/// The conjuncts of a constraint on the duration, in order: the leaves of its tree of `and`s.
std::vector<model::Expression> duration_conjuncts(model::Expression constraint);

/// Whether `e` compares (as `DurationBounds::fold` knows it) the `duration` anchor on its left.
bool is_duration_comparison(model::Expression e);

/// The conjuncts of `constraint` that compare the duration with what does not simplify to a
/// number, in order. `DurationBounds` passes over them, so that whoever writes its range instead
/// of the constraint must keep them beside it.
std::vector<model::Expression> non_constant_duration_bounds(Environment& env,
                                                            model::Expression constraint);

/// The first such conjunct in the duration constraints of `action`, or null.
model::Expression non_constant_duration_bound(Environment& env, const model::Action& action);

}  // namespace kelvo
