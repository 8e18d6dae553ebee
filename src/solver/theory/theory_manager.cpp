#include "solver/theory/theory_manager.h"

#include <cstdio>

#include "solver/theory/lemma_dump.h"

namespace ordax {

TheoryManager::TheoryManager(const Configuration& configuration, Logger& logger, DpllSolver& engine,
                             const PolarityStore& polarities)
    : configuration_(configuration),
      logger_(logger),
      engine_(engine),
      polarities_(polarities),
      interface_equalities_(configuration.theory, logger) {}

void TheoryManager::add_solver(std::unique_ptr<TheorySolver> solver, bool enabled) {
  solvers_.push_back(std::move(solver));
  enabled_.push_back(enabled ? 1 : 0);
  counters_.emplace_back();
}

bool TheoryManager::get_model_value(TermRef term, Number& value) {
  for (std::size_t i = 0; i < solvers_.size(); ++i) {
    if (enabled_[i] != 0 && solvers_[i]->get_model_value(term, value)) return true;
  }
  return false;
}

bool TheoryManager::validate_models() {
  for (std::size_t i = 0; i < solvers_.size(); ++i) {
    if (enabled_[i] != 0 && !solvers_[i]->validate_model()) return false;
  }
  return true;
}

void TheoryManager::polarities_changed() {
  for (std::size_t i = 0; i < solvers_.size(); ++i) {
    if (enabled_[i] != 0) solvers_[i]->polarities_changed();
  }
}

bool TheoryManager::tell_atom(Var variable, TermRef atom) {
  if (index(variable) >= owners_.size()) {
    owners_.resize(index(variable) + 1, 0);
    implied_by_.resize(index(variable) + 1, -1);
    lemma_signs_.resize(index(variable) + 1, 0);
  }
  owners_[index(variable)] = 0;
  lemma_signs_[index(variable)] = 0;
  if (is_connective(atom) || is_variable(atom)) return false;
  for (std::size_t i = 0; i < solvers_.size(); ++i) {
    if (enabled_[i] != 0 && solvers_[i]->tell_atom(variable, atom)) {
      owners_[index(variable)] |= 1U << i;
    }
  }
  if (owners_[index(variable)] == 0 && (is_leq(atom) || is_equal(atom) || is_uf(atom))) {
    throw error("missing feature: no enabled theory solver for an atom with the head \"" +
                std::string(atom->symbol->name) + "\"");
  }
  return owners_[index(variable)] != 0;
}

void TheoryManager::forget_atoms(Var first) {
  for (const std::unique_ptr<TheorySolver>& solver : solvers_) solver->retract_atoms(first);
  if (index(first) < owners_.size()) {
    owners_.shrink(index(first));
    implied_by_.shrink(index(first));
    lemma_signs_.shrink(index(first));
  }
  // Lemmas that wait are about atoms that may be gone; those of older atoms are valid, and the
  // terms of them live on.
}

void TheoryManager::new_decision_level() {
  for (const std::unique_ptr<TheorySolver>& solver : solvers_) solver->new_decision_level();
}

void TheoryManager::backtrack(int level) {
  conflict_solver_ = -1;
  for (const std::unique_ptr<TheorySolver>& solver : solvers_) solver->backtrack(level);
}

// With pure-literal filtering, the sign of an atom that neither the formula nor a lemma needs is
// not told: they hold for either value of the atom. A lemma counts since it may stand for what a
// solver would do with a literal: an equality holds by the two inequalities that it is split into.
bool TheoryManager::is_filtered(Lit literal) const {
  if (!configuration_.theory.pure_literal_filtering) return false;
  const TermRef atom = engine_.term_of(var_of(literal));
  if (atom == nullptr) return false;
  const int signs = polarities_.get(atom) | lemma_signs_[index(var_of(literal))];
  return signs == (is_negated(literal) ? PolarityStore::POSITIVE : PolarityStore::NEGATIVE);
}

bool TheoryManager::assume(Lit literal, bool /*at_check*/) {
  if (is_filtered(literal)) {
    if (logger_.verbosity() >= 5) {
      logger_.log(5, "THEORY", "filtering out " + std::to_string(literal));
    }
    return true;
  }
  const std::uint32_t owners = owners_[index(var_of(literal))];
  for (std::size_t i = 0; i < solvers_.size(); ++i) {
    if ((owners >> i & 1U) != 0 && !solvers_[i]->assume(literal)) {
      fail(i);
      return false;
    }
  }
  return true;
}

void TheoryManager::fail(std::size_t solver) {
  conflict_solver_ = static_cast<int>(solver);
  ++counters_[solver].conflicts;
}

bool TheoryManager::check(bool approx) {
  if (conflict_solver_ >= 0) return false;
  for (std::size_t i = 0; i < solvers_.size(); ++i) {
    if (enabled_[i] == 0) continue;
    ++(approx ? counters_[i].approximate_checks : counters_[i].complete_checks);
    if (!solvers_[i]->check(approx)) {
      fail(i);
      return false;
    }
  }
  return true;
}

void TheoryManager::get_conflict_clause(LitVector& clause) {
  clause.clear();
  solvers_[index(conflict_solver_)]->get_conflict(clause);
  for (Lit& l : clause) l = negate(l);
  conflict_solver_ = -1;
}

TheoryHook::Implied TheoryManager::next_implied_literal(Lit& literal, LitVector& clause) {
  for (std::size_t i = 0; i < solvers_.size(); ++i) {
    if (enabled_[i] == 0) continue;
    while (solvers_[i]->next_implied_literal(literal)) {
      if (engine_.is_true(literal)) continue;
      clause.clear();
      clause.push_back(literal);
      bool known = true;
      if (engine_.is_false(literal)) {
        solvers_[i]->explain_last_implied(clause);
      } else {
        implied_by_[index(var_of(literal))] = static_cast<std::int8_t>(i);
        known = solvers_[i]->accept_implied_literal(literal, clause);
      }
      for (std::size_t k = 1; k < clause.size(); ++k) clause[k] = negate(clause[k]);
      return known ? Implied::WITH_CLAUSE : Implied::LAZY;
    }
  }
  return Implied::NONE;
}

void TheoryManager::explain(Lit literal, LitVector& clause) {
  clause.clear();
  clause.push_back(literal);
  solvers_[index(implied_by_[index(var_of(literal))])]->explain(literal, clause);
  for (std::size_t k = 1; k < clause.size(); ++k) clause[k] = negate(clause[k]);
}

bool TheoryManager::has_lemma() const {
  if (next_lemma_ < lemmas_.size()) return true;
  for (std::size_t i = 0; i < solvers_.size(); ++i) {
    if (enabled_[i] != 0 && solvers_[i]->has_lemma()) return true;
  }
  return false;
}

void TheoryManager::collect_lemmas() {
  lemmas_.clear();
  next_lemma_ = 0;
  for (std::size_t i = 0; i < solvers_.size(); ++i) {
    if (enabled_[i] != 0 && solvers_[i]->has_lemma()) solvers_[i]->get_lemmas(lemmas_);
  }
}

// The literal of an atom or its negation; a new atom is told to its owners by the way.
Lit TheoryManager::literal_of(TermRef term) {
  bool negated = false;
  while (is_not(term)) {
    negated = !negated;
    term = term->arg(0);
  }
  Var variable = kNoVar;
  engine_.variable_of_term(term, variable);
  return make_lit(variable, negated);
}

void TheoryManager::next_lemma(LitVector& clause, bool& is_permanent, bool& trackable) {
  if (next_lemma_ == lemmas_.size()) collect_lemmas();
  const TermLemma lemma = lemmas_[next_lemma_++];
  if (configuration_.debug.dump_theory_lemmas) dump_lemma(lemma);
  clause.clear();
  is_permanent = lemma.is_permanent;
  trackable = true;
  bool satisfied = false;
  for (const TermRef term : lemma.literals) {
    if (is_false(term)) continue;
    if (is_true(term)) {
      satisfied = true;
      continue;
    }
    const Lit literal = literal_of(term);
    lemma_signs_[index(var_of(literal))] |=
        is_negated(literal) ? PolarityStore::NEGATIVE : PolarityStore::POSITIVE;
    clause.push_back(literal);
  }
  if (satisfied) {
    // A tautology over any variable stands for a lemma that says nothing.
    const Var any = clause.empty() ? 0 : var_of(clause[0]);
    clause.clear();
    clause.push_back(make_lit(any));
    clause.push_back(make_lit(any, /*negated=*/true));
  }
}

void TheoryManager::dump_lemma(const TermLemma& lemma) {
  const std::string name = "tlemma_" + std::to_string(num_dumped_lemmas_++) + ".smt2";
  std::FILE* const file = std::fopen(name.c_str(), "w");
  if (file == nullptr) {
    logger_.log(1, "THEORY", "can't write the file " + name);
    return;
  }
  const std::string text = lemma_script(lemma.literals);
  std::fwrite(text.data(), 1, text.size(), file);
  std::fclose(file);
}

int TheoryManager::final_check() {
  if (termination_ != nullptr) termination_->check();
  bool all_enabled = true;
  for (const std::uint8_t e : enabled_) all_enabled = all_enabled && e != 0;
  return interface_equalities_.generate(!enabled_.empty() && enabled_[0] != 0, all_enabled);
}

void TheoryManager::compute_models() {
  for (std::size_t i = 0; i < solvers_.size(); ++i) {
    if (enabled_[i] != 0) solvers_[i]->build_model();
  }
}

}  // namespace ordax
