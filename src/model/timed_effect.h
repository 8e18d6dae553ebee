#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "shell/environment.h"
#include "shell/numbers.h"

namespace kelvo {

/// One timed assignment taken apart.
class Effect {
 public:
  Effect(model::Expression timing, model::Fluent fluent, model::Expression value,
         model::Action action, std::vector<model::Expression> actual_params, std::string path)
      : timing_(timing),
        fluent_(std::move(fluent)),
        value_(value),
        action_(std::move(action)),
        actual_params_(std::move(actual_params)),
        path_(std::move(path)) {}

  /// The time point, as it was written.
  model::Expression timing() const { return timing_; }
  const model::Fluent& fluent() const { return fluent_; }
  /// The right side.
  model::Expression value() const { return value_; }
  /// Null for an effect of the problem.
  const model::Action& action() const { return action_; }
  /// Empty for a fluent without parameters.
  const std::vector<model::Expression>& actual_parameters() const { return actual_params_; }
  /// The printed scope of a scoped fluent, else empty.
  const std::string& path() const { return path_; }

 private:
  model::Expression timing_;
  model::Fluent fluent_;
  model::Expression value_;
  model::Action action_;
  std::vector<model::Expression> actual_params_;
  std::string path_;
};

/// The first timed assignment in `e`, or nothing when there is none or it assigns the duration.
/// Throws `InternalError` on an assignment over an interval that is not a point or without a time,
/// and `InvalidParameterError` on one to a constant's application.
std::optional<Effect> get_effect(model::ExpressionFactory& ef, model::Expression e,
                                 const model::Action& action = nullptr);

/// Whether `e` holds an assignment to anything but the duration.
bool is_effect(const model::ExpressionFactory& ef, model::Expression e);

/// A timed conjunction of assignments as one statement for each; any other statement as it stands.
std::vector<model::Expression> single_statements(model::ExpressionFactory& ef,
                                                 model::Expression statement);

/// The reference of the effect's fluent, applied to the actual parameters when it has any: the key
/// of a ground fluent when these are constants.
model::Expression assigned_fluent(model::ExpressionFactory& ef, const Effect& effect);

/// The rational constant that the first `duration := c` or `duration == c` of the action fixes.
/// Null when there is none or its right side does not simplify to a number.
model::Expression get_fixed_duration(Environment& env, model::ExpressionFactory& ef,
                                     const model::Action& action);

/// A time point relative to an anchor: `offset` after the start (of the action or of the plan), or
/// `offset` before the end.
struct AnchoredTime {
  bool from_start;
  rational offset;

  friend bool operator==(const AnchoredTime&, const AnchoredTime&) = default;
};

/// Reads `start`, `end`, `start + c`, `c + start`, `end - c` and `c` (counted from the start),
/// after simplification; throws `InternalError` on any other form.
AnchoredTime timing(model::ExpressionFactory& ef, model::Expression time);

/// As `timing`, with nothing for any other form.
std::optional<AnchoredTime> try_timing(model::ExpressionFactory& ef, model::Expression time);

/// Whether `time` is the start anchor, or simplifies to zero once the start is taken as zero: the
/// time of an initial assignment or condition.
bool is_at_start(model::ExpressionFactory& ef, model::Expression time);

/// A statement taken apart: its interval (null for a statement without time) and its body.
struct TimedStatement {
  model::Expression interval = nullptr;
  model::Expression body = nullptr;
  /// The bounds of the interval; both the one time of a point; null without interval.
  model::Expression left = nullptr;
  model::Expression right = nullptr;
  bool left_closed = true;
  bool right_closed = true;
  /// The interval is wrapped in a `contains`.
  bool is_contains = false;

  bool is_timed() const { return interval != nullptr; }
  /// Closed on both sides, with one bound.
  bool is_point() const;
};

/// `TEMPORAL_EXPR(INTERVAL, body)` or a plain body.
TimedStatement decompose_statement(model::Expression statement);

/// Whether a condition is over an interval in which, as far as its text tells, there is no time:
/// then it asks nothing. A `contains` over such an interval is never met, and is not meant here.
bool asks_nothing(model::ExpressionFactory& ef, const TimedStatement& condition);

}  // namespace kelvo
