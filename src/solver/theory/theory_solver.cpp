#include "solver/theory/theory_solver.h"

namespace ordax {

void TheorySolver::retract_atoms(Var first) {
  throw error("can't retract atom: " + std::to_string(first));
}

void TheorySolver::get_conflict(LitVector& /*literals*/) {
  throw error("can't be in conflict");
}

bool TheorySolver::next_implied_literal(Lit& /*literal*/) {
  return false;
}

bool TheorySolver::accept_implied_literal(Lit /*literal*/, LitVector& /*reason*/) {
  throw error("can't explain");
}

void TheorySolver::explain_last_implied(LitVector& /*reason*/) {
  throw error("can't explain");
}

void TheorySolver::explain(Lit /*literal*/, LitVector& /*reason*/) {
  throw error("can't explain");
}

void TheorySolver::get_lemmas(std::vector<TermLemma>& /*lemmas*/) {
  throw error("can't generate lemmas");
}

void TheorySolver::retract_lemmas() {
  throw error("can't retract lemmas");
}

void TheorySolver::build_model() {
  build_abstract_model();
}

void TheorySolver::build_abstract_model() {
  throw error("can't build abstract model");
}

void TheorySolver::detect_alien_terms(TermRef /*atom*/, std::vector<TermRef>& /*aliens*/) {
  throw error("can't detect alien terms");
}

bool TheorySolver::check_equality(TermRef a, TermRef b) {
  throw error("can't check equality of " + std::to_string(a->id) + " and " + std::to_string(b->id));
}

void TheorySolver::get_proof() {
  throw error("can't produce proofs");
}

TermRef TheorySolver::get_interpolant() {
  throw error(name() + ": interpolation not supported");
}

void TheorySolver::split_proof() {
  throw error(name() + ": proof splitting not supported");
}

}  // namespace ordax
