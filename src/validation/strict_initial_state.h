#pragma once

#include "validation/strict_evaluator.h"
#include "validation/strict_statements.h"

namespace kelvo::strict {

/// The state at time 0: each `[start] f := e` gives f the value of e in this very state. Raises
/// `InvalidParameterError` where e reads what has no value or, by whatever way, f itself, where a
/// fluent is given two values, and where a value does not fit.
State initial_state(const StatementList& problem, Values& values, Functions& functions,
                    GroundFluents& fluents, Evaluator& evaluator);

/// Whether the statement gives an initial value: an effect at the start, or at the number 0.
bool is_initial_value(const Statement& statement, Values& values, Evaluator& evaluator);

}  // namespace kelvo::strict
