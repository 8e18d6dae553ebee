#pragma once

#include "solver/base/configuration.h"
#include "solver/dpll/dpll_solver.h"
#include "solver/dpll/literal.h"
#include "solver/terms/polarity_store.h"
#include "solver/terms/term.h"

namespace ordax {

/// The bridge from the CNF generator to the engine: terms become variables here.
class DpllClauseSink {
 public:
  DpllClauseSink(DpllSolver& engine, const DpllConfiguration& configuration,
                 const PolarityStore& polarities);

  void begin_clause() { clause_.clear(); }
  /// Adds a literal; `not` chains are stripped.
  void add_literal(TermRef term, bool negated) { clause_.push_back(literal(term, negated)); }
  void end_clause() { engine_.add_clause(clause_, false, true); }

  /// Makes sure that the engine has a variable for the term.
  void new_label(TermRef term) { literal(term, false); }
  /// The literal that stands for a term, made if need be.
  Lit literal_of(TermRef term) { return literal(term, false); }

  std::size_t num_variables() const { return num_variables_; }

 private:
  Lit literal(TermRef term, bool negated);

  DpllSolver& engine_;
  const DpllConfiguration& configuration_;
  const PolarityStore& polarities_;
  LitVector clause_;
  std::size_t num_variables_ = 0;
};

}  // namespace ordax
