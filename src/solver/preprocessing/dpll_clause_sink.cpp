#include "solver/preprocessing/dpll_clause_sink.h"

namespace ordax {

DpllClauseSink::DpllClauseSink(DpllSolver& engine, const DpllConfiguration& configuration,
                               const PolarityStore& polarities)
    : engine_(engine), configuration_(configuration), polarities_(polarities) {}

Lit DpllClauseSink::literal(TermRef term, bool negated) {
  while (is_not(term)) {
    negated = !negated;
    term = term->arg(0);
  }
  Var variable = kNoVar;
  if (engine_.variable_of_term(term, variable)) {
    ++num_variables_;
    if (configuration_.branching_initial_phase == 2) {
      const bool only_negative = polarities_.get(term) == PolarityStore::NEGATIVE;
      engine_.set_saved_phase(variable, only_negative ? kTrue : kFalse);
    }
    engine_.set_decision(variable, true);
  }
  return make_lit(variable, negated);
}

}  // namespace ordax
