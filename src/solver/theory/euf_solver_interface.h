#pragma once

#include "solver/theory/theory_solver.h"

namespace ordax {

/// Stands in the place of the solver for equality with uninterpreted functions. It owns no atom,
/// and refuses those that would need it.
class EufSolverInterface : public TheorySolver {
 public:
  std::string name() const override { return "EUF"; }
  bool tell_atom(Var variable, TermRef atom) override;
  void retract_atoms(Var /*first*/) override {}
  bool assume(Lit /*literal*/) override { return true; }
  bool check(bool /*approx*/) override { return true; }
  void new_decision_level() override {}
  void backtrack(int /*level*/) override {}
  void build_model() override {}
  bool get_model_value(TermRef /*term*/, Number& /*value*/) override { return false; }
};

}  // namespace ordax
