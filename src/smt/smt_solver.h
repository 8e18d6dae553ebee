#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "smt/formula.h"

namespace kelvo::smt {

enum class SolverResult { SATISFIABLE, UNSATISFIABLE, UNKNOWN };

/// What a check may take; 0 for no limit.
struct SolverLimits {
  /// Resident in the process, in megabytes.
  std::uint64_t memory = 0;

  /// Three quarters of the machine's memory, or of what the process may address if that is less:
  /// a run that needs more ends with a reason and not by the system's hand.
  static SolverLimits of_machine();
};

/// A solver for formulas of one `SmtFactory`, which it must not outlive. Failures are
/// `SmtSolverError`s.
class SmtSolver {
 public:
  virtual ~SmtSolver() = default;
  SmtSolver() = default;
  SmtSolver(const SmtSolver&) = delete;
  SmtSolver& operator=(const SmtSolver&) = delete;

  /// The version text of the solver library.
  virtual std::string version() const = 0;
  virtual void assert_formula(Formula f) = 0;
  /// Open and close a backtrack point.
  virtual void push() = 0;
  virtual void pop() = 0;
  /// After a satisfiable answer, the value of `f` in the model: a Boolean or a rational constant.
  virtual Formula get_value(Formula f) = 0;
  virtual SolverResult solve() = 0;
  /// Solves with each element of the list assumed to be true.
  virtual SolverResult solve_with_assumptions(const std::vector<Formula>& assumptions) = 0;

  /// Why the last answer was unknown; empty when there is nothing to say.
  virtual std::string unknown_reason() const { return {}; }
  /// Whether a limit has ended the last check; a check of more would meet it, too.
  virtual bool has_reached_limit() const { return false; }
  /// What the last check counted, such as "num sat clauses"; 0 for a count that there is not.
  virtual std::uint64_t statistic(const std::string&) const { return 0; }
};

}  // namespace kelvo::smt
