// The hand-over between the engine and the theories.

#include <algorithm>

#include "solver/dpll/dpll_solver.h"

namespace ordax {

// With ghost filtering, a literal that only a learnt clause implies is not sent while no problem
// clause needs its atom. A fact is sent: clauses that come later may rest on it and vanish.
bool DpllSolver::is_implied_ghost(Lit literal) {
  if (!config_.ghost_filtering || level_of(var_of(literal)) == 0) return false;
  const Clause* const reason = info_[index(var_of(literal))].reason;
  return reason != nullptr && reason != marker_ && reason->learnt() && is_ghost(var_of(literal));
}

// Sends the literals that the theories have not seen; false on a conflict.
bool DpllSolver::send_to_theory(bool at_check) {
  const std::size_t size = trail_.size();
  while (sent_ < size) {
    while (theory_level_ < decision_level() && index(trail_lim_[index(theory_level_)]) <= sent_) {
      hook_->new_decision_level();
      ++theory_level_;
    }
    const Lit literal = trail_[sent_++];
    if (is_theory_atom_[index(var_of(literal))] == 0) continue;
    if (is_implied_ghost(literal)) {
      if (logs(5)) log(5, "filtering out " + to_text(&literal, &literal + 1));
      continue;
    }
    if (!hook_->assume(literal, at_check)) return false;
  }
  return true;
}

Clause* DpllSolver::take_theory_conflict() {
  hook_->get_conflict_clause(lemma_);
  return make_theory_conflict();
}

// `lemma_`, which the theories say is false, as a clause: highest level first, as analysis takes
// it, without the literals that are false for good.
Clause* DpllSolver::make_theory_conflict() {
  ++statistics_.theory_conflicts;
  std::sort(lemma_.begin(), lemma_.end(), [this](Lit a, Lit b) {
    const std::int32_t x = info_[index(var_of(a))].position;
    const std::int32_t y = info_[index(var_of(b))].position;
    return x > y;
  });
  std::size_t kept = 0;
  for (const Lit literal : lemma_) {
    ORDAX_CHECK(
        is_false(literal));  // else the theory explained its conflict by what is not assigned
    if (kept > 0 && lemma_[kept - 1] == literal) continue;
    if (level_of(var_of(literal)) == 0 && !config_.store_tlemmas) continue;
    lemma_[kept++] = literal;
  }
  lemma_.shrink(kept);
  return make_clause(lemma_, /*learnt=*/false);
}

const LitVector& DpllSolver::explanation_of(Lit literal) {
  ++statistics_.explanations;
  hook_->explain(literal, explanation_);
  ORDAX_CHECK(!explanation_.empty() && explanation_[0] == literal);
  ORDAX_CHECK(implies(explanation_.begin() + 1, explanation_.end(), literal));
  return explanation_;
}

// Takes the implied literals; true if one was assigned. One that is false already gives a conflict,
// which the caller finds in `theory_conflict_`.
bool DpllSolver::propagate_theory() {
  if (hook_ == nullptr || !base_levels_open() || theory_conflict_ != nullptr) return false;
  bool assigned = false;
  for (;;) {
    Lit literal = kNoLit;
    const TheoryHook::Implied kind = hook_->next_implied_literal(literal, lemma_);
    if (kind == TheoryHook::Implied::NONE) return assigned;
    if (is_true(literal)) continue;
    if (is_false(literal)) {
      if (kind == TheoryHook::Implied::LAZY) hook_->explain(literal, lemma_);
      theory_conflict_ = make_theory_conflict();
      return assigned;
    }
    Clause* reason = marker_;
    if (kind == TheoryHook::Implied::WITH_CLAUSE) {
      ++statistics_.implied_with_clause;
      reason = make_clause(lemma_, /*learnt=*/false);
      theory_reasons_.push_back({static_cast<std::int32_t>(trail_.size()), reason});
    } else {
      ++statistics_.implied_lazily;
    }
    if (decision_level() == 0) {
      // A fact needs no reason.
      if (reason != marker_) {
        arena_.release(reason);
        theory_reasons_.pop_back();
      }
      reason = nullptr;
    }
    assign(literal, reason);
    assigned = true;
  }
}

// True and undefined literals first, then the higher level, then the larger literal.
bool DpllSolver::better_watch(Lit a, Lit b) const {
  const auto rank = [this](Lit l) { return is_true(l) ? 0 : (is_undefined(l) ? 1 : 2); };
  const int x = rank(a);
  const int y = rank(b);
  if (x != y) return x < y;
  const int level_a = level_of(var_of(a));
  const int level_b = level_of(var_of(b));
  if (level_a != level_b) return level_a > level_b;
  return a > b;
}

void DpllSolver::sort_for_watching(LitVector& literals) const {
  std::sort(literals.begin(), literals.end(), [this](Lit a, Lit b) { return better_watch(a, b); });
}

// A lemma over variables that a backtrack point will delete goes with it.
void DpllSolver::cover_by_label(LitVector& lemma) const {
  if (base_levels_.empty()) return;
  Var youngest = kNoVar;
  for (const Lit l : lemma) youngest = std::max(youngest, var_of(l));
  for (std::size_t i = base_levels_.size(); i-- > 0;) {
    if (var_of(base_levels_[i]) >= youngest) continue;
    lemma.push_back(negate(base_levels_[i]));
    return;
  }
}

// Adds one lemma; false if it makes the clauses unsatisfiable.
bool DpllSolver::add_lemma(const LitVector& taken, bool permanent, int& backjump_level) {
  LitVector lemma(taken);
  if (preprocessor_ != nullptr && !restore_eliminated(lemma)) return false;
  if (!make_distinct(lemma)) return true;
  cover_by_label(lemma);
  ++statistics_.theory_lemmas;
  if (lemma.empty()) {
    mark_unsat(0);
    return false;
  }
  sort_for_watching(lemma);
  if (logs(4)) log(4, "adding theory lemma: " + to_text(lemma.begin(), lemma.end()));
  for (const Lit l : lemma) {
    if (decision_[index(var_of(l))] != 0 && is_undefined(l)) heap_.insert(var_of(l));
  }
  if (decision_level() == 0) {
    // At level 0 nothing has to be revisited: this is how the lemmas of told atoms arrive.
    std::size_t kept = 0;
    for (const Lit l : lemma) {
      if (is_true(l)) return true;
      if (!is_false(l)) lemma[kept++] = l;
    }
    lemma.shrink(kept);
    if (lemma.empty()) {
      mark_unsat(0);
      return false;
    }
    if (lemma.size() == 1) {
      assign(lemma[0], nullptr);
      return true;
    }
  }
  Clause* const clause = make_clause(lemma, /*learnt=*/!permanent);
  if (lemma.size() == 1) {
    if (logs(4)) log(4, "unit lemma, backtracking to level zero");
    add_pending(clause);
    arena_.release(clause);
    if (is_true(lemma[0])) {
      const int below = std::max(level_of(var_of(lemma[0])) - 1, 0);
      if (backjump_level < 0 || below < backjump_level) backjump_level = below;
    }
    return true;
  }
  if (!permanent) clause->activity() = static_cast<float>(cla_inc_);
  (permanent ? clauses_ : learnts_).push_back(clause);
  int lowest_true = -1;
  for (const Lit l : lemma) {
    if (is_true(l) && (lowest_true < 0 || level_of(var_of(l)) < lowest_true)) {
      lowest_true = level_of(var_of(l));
    }
  }
  if (lowest_true >= 0) {
    const int below = std::max(lowest_true - 1, 0);
    if (backjump_level < 0 || below < backjump_level) backjump_level = below;
  }
  attach(clause);
  if (is_undefined(lemma[0]) && is_false(lemma[1])) {
    if (logs(4)) log(4, "unit lemma, adding to pending");
    add_pending(clause);
  } else if (is_false(lemma[0])) {
    if (logs(4)) log(4, "conflict lemma!");
    if (level_of(var_of(lemma[0])) == 0) {
      mark_unsat(0);
      return false;
    }
    conflict_lemmas_.push_back(clause);
  }
  return true;
}

DpllSolver::LemmaResult DpllSolver::add_theory_lemmas() {
  if (hook_ == nullptr || !base_levels_open() || !hook_->has_lemma()) return LemmaResult::NOTHING;
  int backjump_level = -1;
  conflict_lemmas_.clear();
  while (hook_->has_lemma()) {
    bool permanent = false;
    bool trackable = false;
    hook_->next_lemma(lemma_, permanent, trackable);
    if (!add_lemma(lemma_, permanent, backjump_level)) return LemmaResult::UNSAT;
  }
  LemmaResult result = LemmaResult::ADDED;
  if (!conflict_lemmas_.empty()) {
    result = resolve_conflict_lemmas();
  } else if (backjump_level >= 0 && backjump_level < decision_level()) {
    cancel_until(backjump_level);
  }
  const std::uint64_t n = clauses_.size();
  const std::uint64_t third = n / 3;  // a whole number
  const double limit = n < 3000 ? 50000.0 : static_cast<double>(third * 50);
  if (learnt_limit_ < limit) learnt_limit_ = limit;
  return result;
}

DpllSolver::LemmaResult DpllSolver::resolve_conflict_lemmas() {
  Clause* lowest = nullptr;
  for (Clause* clause : conflict_lemmas_) {
    if (lowest == nullptr || level_of(var_of((*clause)[0])) < level_of(var_of((*lowest)[0]))) {
      lowest = clause;
    }
  }
  // The other ones hold their highest literals in the watches, and are seen again when these are
  // falsified anew.
  const Lit first = (*lowest)[0];
  const int top = level_of(var_of(first));
  const int second = level_of(var_of((*lowest)[1]));
  if (top != second) {
    if (logs(4)) log(4, "backtracking to level " + std::to_string(second));
    cancel_until(second);
    assign(first, second == 0 ? nullptr : lowest);
    return LemmaResult::ADDED;
  }
  if (top - 1 < num_base_levels()) {
    mark_unsat(num_base_levels());
    return LemmaResult::UNSAT;
  }
  cancel_until(top - 1);
  return LemmaResult::ADDED;
}

}  // namespace ordax
