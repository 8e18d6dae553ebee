#pragma once

#include <deque>
#include <string>
#include <vector>

#include "solver/base/exception.h"
#include "solver/base/termination.h"
#include "solver/dpll/dpll_solver.h"
#include "solver/terms/eliminated_terms.h"
#include "solver/terms/term_manager.h"
#include "solver/terms/term_walk.h"
#include "solver/theory/model_term_simplifier.h"
#include "solver/theory/theory_manager.h"

namespace ordax {

/// Answers for the values of terms after a satisfiable check.
///
/// A Boolean constant has the engine's value, a number that of its theory, an eliminated variable
/// that of its replacement; everything else is computed from these, atoms included, for the engine
/// may hold another value for an atom that no clause needed. What nothing constrains reads as the
/// default of its type: false, 0, or a constant of its own.
class ModelStore {
 public:
  class error : public Exception {
   public:
    using Exception::Exception;
  };

  /// Everything is borrowed; `eliminated` may be null. Without `with_numbers` only Booleans answer.
  ModelStore(TermManager& terms, TheoryManager& theories, const DpllSolver& engine,
             const EliminatedTerms* eliminated, bool with_numbers);
  ModelStore(const ModelStore&) = delete;
  ModelStore& operator=(const ModelStore&) = delete;

  void set_termination_test(TerminationTest* test) { stop_.set(test); }

  /// Takes an asserted formula, which the model has to satisfy; null closes this phase.
  void add_formula(TermRef formula);
  bool is_complete() const { return complete_; }

  /// The value as a term: `true`, `false`, a numeral or a constant. Fails if the model turns out
  /// not to satisfy the asserted formulas.
  TermRef value(TermRef term);

 private:
  void validate();
  const ModelValue& evaluate(TermRef root);
  ModelValue value_of_leaf(TermRef term);
  ModelValue default_value(const Type* type);

  TermManager& terms_;
  TheoryManager& theories_;
  const DpllSolver& engine_;
  const EliminatedTerms* eliminated_;
  bool with_numbers_;
  StopPoint stop_;
  bool complete_ = false;
  bool validated_ = false;
  std::vector<TermRef> formulas_;
  std::deque<ModelValue> values_;
  TermMap<const ModelValue*> memo_;
  std::vector<TermRef> stack_;
  HashMap<std::uint32_t, TermRef> defaults_;  // by id of the type
};

}  // namespace ordax
