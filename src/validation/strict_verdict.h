#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "model/expression.h"
#include "plans/time_triggered_plan.h"
#include "shell/numbers.h"

namespace kelvo {

/// Where a value comes from or what a fault is about: a statement of a step or of the problem.
struct StrictSource {
  /// Null for a statement of the problem.
  std::shared_ptr<TimeTriggeredStep> step;
  /// The owner of the statement as `model::SourceMap` has it: "", an action, or "type.action".
  std::string owner;
  /// As it was read. Null where no one statement is meant.
  model::Expression statement = nullptr;
};

/// A value that was read, and what wrote it last.
struct StrictRead {
  std::string fluent;
  /// Empty for a fluent without a value.
  std::string value;
  StrictSource writer;
  /// When it was written; empty for initial values and where there is no value.
  std::optional<rational> written_at;
};

/// Times over which a condition is asked for.
struct StrictWindow {
  rational from;
  rational to;
  bool from_closed = true;
  bool to_closed = true;
};

/// Why a plan is not valid: the first thing that is wrong, by time.
struct StrictFault {
  /// One sentence without its full stop, as "the condition does not hold".
  std::string rule;
  StrictSource source;
  /// For a fault between two statements: the other one.
  std::optional<StrictSource> other;
  /// When that one happened, where it was at another time.
  std::optional<rational> other_time;
  std::optional<rational> time;
  /// The state that was asked is the one just after `time`, not that of `time` itself.
  bool just_behind = false;
  std::optional<StrictWindow> window;
  /// The conjunct of the condition that fails, where it is not all of it.
  model::Expression part = nullptr;
  std::vector<StrictRead> reads;
  /// Durations that were assumed for steps whose duration the environment chooses.
  std::vector<std::pair<std::shared_ptr<TimeTriggeredStep>, rational>> chosen_durations;
};

struct StrictVerdict {
  /// Empty for a valid plan.
  std::optional<StrictFault> fault;

  bool is_valid() const { return !fault.has_value(); }
};

}  // namespace kelvo
