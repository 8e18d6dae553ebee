#pragma once

#include <cstddef>
#include <vector>

#include "validation/strict_evaluator.h"
#include "validation/strict_statements.h"

namespace kelvo::strict {

/// The state at time 0.
struct InitialState {
  State state;
  /// The statements that gave the values, by the numbers of the writers.
  std::vector<model::Expression> sources;
};

/// Takes statements like `[start] at(r, hall) := true`, of which a problem may have many: neither
/// target nor value reads anything.
class InitialLiterals {
 public:
  InitialLiterals(Values& values, Functions& functions, GroundFluents& fluents,
                  InitialState& result)
      : values_(values), functions_(functions), fluents_(fluents), result_(result) {}

  /// False for a statement of another form. Raises `InvalidParameterError` as `add_initial_values`.
  bool take(model::Expression statement);

 private:
  Value value_of(model::Expression literal);
  std::size_t fluent_of(model::Expression reference);

  Values& values_;
  Functions& functions_;
  GroundFluents& fluents_;
  static constexpr Value kUnseen = static_cast<Value>(-1);
  std::vector<Value> literals_;  // by node
  model::Expression last_reference_ = nullptr;
  std::size_t last_fluent_ = 0;
  std::vector<Value> arguments_;
  InitialState& result_;
};

/// Adds what the other statements give: each `[start] f := e` gives f the value of e in this very
/// state. Raises `InvalidParameterError` where e reads what has no value or, by whatever way, f
/// itself, where a fluent is given two values, and where a value does not fit.
void add_initial_values(const StatementList& problem, Values& values, Functions& functions,
                        GroundFluents& fluents, Evaluator& evaluator, InitialState& result);

/// Whether the statement gives an initial value: an effect at the start, or at the number 0.
bool is_initial_value(const Statement& statement, Values& values, Evaluator& evaluator);

}  // namespace kelvo::strict
