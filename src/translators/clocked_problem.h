#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "model/expression.h"
#include "model/expression_substituter.h"
#include "model/model_fwd.h"
#include "shell/env_object.h"
#include "shell/numbers.h"

namespace kelvo {

/// Whether a problem can be written for a model checker with clocks: ground, with finite domains,
/// without uncertain durations, and with times that are constants, relative to a start, or an end
/// itself. The first reason why not stands in the log at `DEBUG`.
bool has_clocked_form(const model::ProblemInstance& problem);

/// The instances of each user type, numbered from 0 in the order of the problem.
class InstanceNumbers {
 public:
  /// Throws `InternalError` on an instance whose type is not the problem's.
  explicit InstanceNumbers(const model::ProblemInstance& problem);

  /// The names by number; null for a type that the problem does not have.
  const std::vector<std::string>* names(const std::string& type) const;
  /// Throws `InternalError` on an instance without number.
  std::size_t number(const model::Instance& instance) const;

 private:
  std::unordered_map<std::string, std::vector<std::string>> names_;
  std::unordered_map<model::Instance, std::size_t> numbers_;
};

/// One bound of an interval, relative to the start (of the action or of the plan), or the end.
struct ClockedTime {
  bool is_end = false;
  rational offset = 0;  // of a time that is not the end

  bool is_start() const { return !is_end && offset == 0; }
};

/// A statement with its times taken apart. `left` is `right` for a point and meaningless without an
/// interval.
struct ClockedStatement {
  /// As it was written, for messages.
  model::Expression source = nullptr;
  bool is_timed = false;
  bool is_point = false;
  ClockedTime left;
  ClockedTime right;
  bool left_closed = true;
  bool right_closed = true;
  /// Normalised.
  model::Expression body = nullptr;

  /// `body` assigns something other than the duration.
  bool is_assignment = false;
  /// The fluent that an assignment changes.
  model::Fluent fluent;
  /// The right side of an assignment.
  model::Expression value = nullptr;
};

/// How a target refuses a statement with a bound that is not a number: the texts before and after
/// the statement.
struct BoundRefusal {
  const char* before;
  const char* behind = "";
};

/// Takes statements apart: the start counts as 0, and what `replacements` relates is replaced, then
/// everything is simplified. A conjunction of assignments is one statement for each.
class ClockedStatements : public EnvObject {
 public:
  ClockedStatements(Environment& env, ExpressionSubstituter::Substitution replacements,
                    BoundRefusal refusal);

  /// In the order of the set. Throws `InternalError` on an assignment to what is no fluent, and on
  /// a bound that is not a number, as an end is not where an interval begins.
  std::vector<ClockedStatement> of(const model::ExpressionSet& expressions) const;

 private:
  void add(model::Expression source, model::Expression statement,
           std::vector<ClockedStatement>& statements) const;
  ClockedTime time_of(model::Expression bound, model::Expression source) const;

  [[noreturn]] void refuse_bound(model::Expression source) const;

  ExpressionSubstituter::Substitution replacements_;
  BoundRefusal refusal_;
};

/// Throws the `InternalError` of a fluent whose type has no finite range: an integer without both
/// bounds, a user type without instances in `numbers`, any other than boolean.
void require_finite_type(const model::Fluent& fluent, const InstanceNumbers& numbers);

}  // namespace kelvo
