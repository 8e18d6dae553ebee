#pragma once

#include "model/model_fwd.h"
#include "model/timed_effect.h"
#include "model/window_extent.h"
#include "shell/environment.h"

namespace kelvo::smt {

/// What the statements of a problem ask of the first instant and of the end of the plan. Where they
/// ask nothing the encoding takes any time after the last change for the end, and no step starts
/// at 0: fewer plans of one kind, and a shorter formula.
struct StatementTimes {
  /// The end has to lie one time unit after the last step: something changes by itself, or a
  /// statement counts back from the end.
  bool asks_exact_end = false;
  /// A plan may have to start a step at 0.
  bool asks_first_instant = false;

  explicit StatementTimes(const model::ProblemInstance& problem);
};

/// Whether a time point lies at 0 or later in every plan; for an action, a point that counts from
/// its start, or is its end.
bool is_never_negative(Environment& env, model::Expression time);

/// Whether `e` mentions the `start` or the `end` anchor: a time without any counts from the start
/// of its action.
bool is_anchored(model::Expression e);

}  // namespace kelvo::smt
