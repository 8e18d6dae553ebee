#pragma once

#include <vector>

#include "solver/dpll/literal.h"

#include "solver/base/termination.h"

namespace ordax {

/// Simplifies the problem clauses of an engine while no level is open. It may replace clauses and
/// eliminate variables, and keeps what it needs to bring them back.
class SatPreprocessor {
 public:
  using Clauses = std::vector<std::vector<Lit>>;

  virtual ~SatPreprocessor() = default;

  /// Rewrites `clauses`, which hold no variable assigned at level 0 and no clause of fewer than two
  /// literals; the result may hold units and the empty clause. A variable with a non-zero byte in
  /// `frozen` stays. A variable eliminated before is in none of the clauses.
  virtual void preprocess(Clauses& clauses, const std::vector<std::uint8_t>& frozen) = 0;

  /// Asked now and then during `preprocess`; null for none.
  virtual void set_termination_test(TerminationTest* test) = 0;

  virtual bool is_eliminated(Var variable) const = 0;

  /// Makes an eliminated variable known again: appends the clauses that were stored for it, which
  /// may mention other eliminated variables.
  virtual void restore(Var variable, Clauses& clauses) = 0;

  /// Gives the eliminated variables their values in a model of the remaining clauses.
  virtual void extend_model(std::vector<Value>& values) const = 0;

  /// Forgets the variables from `first` on, after a backtrack point was popped.
  virtual void forget_vars(Var first) = 0;
};

}  // namespace ordax
