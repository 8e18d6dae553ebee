// The clause database: making, watching, forgetting and simplifying clauses.

#include <algorithm>

#include "solver/dpll/dpll_solver.h"

namespace ordax {

// Numbers break ties where clauses are sorted; they may come round, which costs no more than an
// order.
Clause* DpllSolver::make_clause(const LitVector& literals, bool learnt, bool boosted) {
  if (next_clause_id_ == Clause::kMarkerId) next_clause_id_ = 0;
  return arena_.make(literals.data(), literals.size(), next_clause_id_++, learnt, boosted);
}

// The first two literals are watched, and each watch names the other one as its blocker.
void DpllSolver::attach(Clause* clause) {
  const bool binary = clause->size() == 2;
  watches_[index((*clause)[0])].push_back(Watch((*clause)[1], clause, binary));
  watches_[index((*clause)[1])].push_back(Watch((*clause)[0], clause, binary));
}

void DpllSolver::detach(const Clause* clause) {
  for (int i = 0; i < 2; ++i) {
    Vector<Watch>& list = watches_[index((*clause)[index(i)])];
    Watch* entry = list.begin();
    while (entry->clause() != clause) ++entry;
    list.erase(entry, entry + 1);
  }
}

// Whether the clause is the reason of a literal. Propagation puts the implied literal first, except
// in binary clauses, which it does not touch.
bool DpllSolver::is_locked(const Clause* clause) const {
  const Lit first = (*clause)[0];
  if (info_[index(var_of(first))].reason == clause && is_true(first)) return true;
  if (clause->size() != 2) return false;
  const Lit second = (*clause)[1];
  return info_[index(var_of(second))].reason == clause && is_true(second);
}

// Satisfied by a fact of level 0; what a backtrack point's level satisfies may come back.
bool DpllSolver::is_satisfied(const Clause& clause) const {
  return std::any_of(clause.begin(), clause.end(),
                     [this](Lit l) { return is_true(l) && level_of(var_of(l)) == 0; });
}

// A pending clause is held: it may be forgotten by the lists before it is examined.
void DpllSolver::add_pending(Clause* clause) {
  clause->hold();
  pending_.push_back(clause);
}

void DpllSolver::clear_pending() {
  for (Clause* clause : pending_) arena_.release(clause);
  pending_.clear();
}

// Facts need no reasons, and clauses that were some may then go.
void DpllSolver::clear_level_zero_reasons() {
  const std::size_t facts = trail_lim_.empty() ? trail_.size() : index(trail_lim_[0]);
  for (std::size_t i = 0; i < facts; ++i) {
    Clause*& reason = info_[index(var_of(trail_[i]))].reason;
    reason = nullptr;
  }
  std::size_t kept = 0;
  for (const TheoryReason& held : theory_reasons_) {
    if (index(held.position) < facts) {
      arena_.release(held.clause);
    } else {
      theory_reasons_[kept++] = held;
    }
  }
  theory_reasons_.shrink(kept);
}

void DpllSolver::remove_marked(Vector<Clause*>& removed) {
  if (removed.empty()) return;
  for ([[maybe_unused]] const Clause* clause : removed) ORDAX_CHECK(!is_reason(clause));
  // Few are looked up one by one; of many, each list of watches is filtered once.
  if (removed.size() < 8) {
    for (const Clause* clause : removed) detach(clause);
  } else {
    // A marked clause is recognised by its placeholder in the first place; the other watch, which
    // is looked up through the second literal, sees the same mark.
    LitVector touched;
    for (Clause* clause : removed) {
      touched.push_back((*clause)[0]);
      touched.push_back((*clause)[1]);
      (*clause)[0] = kPlaceholderLit;
    }
    std::sort(touched.begin(), touched.end());
    Lit last = kNoLit;
    for (const Lit literal : touched) {
      if (literal == last) continue;
      last = literal;
      Vector<Watch>& list = watches_[index(literal)];
      Watch* keep = list.begin();
      for (const Watch& watch : list) {
        if ((*watch.clause())[0] != kPlaceholderLit) *keep++ = watch;
      }
      list.shrink(static_cast<std::size_t>(keep - list.begin()));
    }
  }
  for (Clause* clause : removed) arena_.release(clause);
}

// Forgetting is due after so many conflicts, with intervals that grow, or when there are too many
// learnt clauses; the limit grows with each time that it is met.
void DpllSolver::forget_if_due() {
  if (statistics_.conflicts >= reduce_count_ * reduce_interval_) {
    if (static_cast<double>(learnts_.size()) <= learnt_limit_ || learnt_limit_ == 0) {
      reduce_count_ = statistics_.conflicts / reduce_interval_ + 1;
      reduce_interval_ += reduce_increment_;
    } else {
      learnt_limit_ *= 1.1;
    }
  } else if (learnt_limit_ != 0 && static_cast<double>(learnts_.size()) > learnt_limit_) {
    learnt_limit_ *= 1.1;
  } else {
    return;
  }
  // The limit may need several rounds to outgrow the list; without a new conflict there is nothing
  // new to forget.
  if (statistics_.conflicts == last_forgetting_) return;
  last_forgetting_ = statistics_.conflicts;
  reduce_learnts();
}

void DpllSolver::reduce_learnts() {
  if (learnts_.empty()) return;
  const std::size_t total = learnts_.size();
  // Half of the clauses go, those of least activity first, and of the rest those that would have
  // gone long ago. Short, binary, locked and held ones and those of two levels stay.
  const double extra_limit = cla_inc_ / static_cast<double>(total);
  const double factor = config_.boosted_activity_factor;
  const auto weight = [factor](const Clause* clause) {
    const double activity = clause->activity();
    return clause->boosted() ? activity * factor : activity;
  };
  std::sort(learnts_.begin(), learnts_.end(), [&weight](const Clause* a, const Clause* b) {
    const bool a_binary = a->size() == 2;
    const bool b_binary = b->size() == 2;
    if (a_binary != b_binary) return b_binary;
    const double x = weight(a);
    const double y = weight(b);
    return x < y || (x == y && a->id() < b->id());
  });
  Vector<Clause*> removed;
  std::size_t kept = 0;
  for (std::size_t i = 0; i < total; ++i) {
    Clause* const clause = learnts_[i];
    const bool protect = clause->lbd() == 1 || clause->lbd() == 2 || clause->size() == 2 ||
                         clause->refcount() > 1 || is_locked(clause);
    if (!protect && (i < total / 2 || clause->activity() < extra_limit)) {
      removed.push_back(clause);
    } else {
      learnts_[kept++] = clause;
    }
  }
  learnts_.shrink(kept);
  statistics_.forgotten_clauses += removed.size();
  if (logs(3)) {
    log(3, "reduced clause db (removed " + std::to_string(removed.size()) + " / " +
               std::to_string(total) + " learnt clauses)");
  }
  remove_marked(removed);
}

// A clause that is held elsewhere has to stay until it is released there.
void DpllSolver::remove_satisfied(Vector<Clause*>& list) {
  Vector<Clause*> removed;
  std::size_t kept = 0;
  for (Clause* clause : list) {
    if (clause->refcount() == 1 && is_satisfied(*clause)) {
      removed.push_back(clause);
    } else {
      list[kept++] = clause;
    }
  }
  list.shrink(kept);
  remove_marked(removed);
}

bool DpllSolver::simplify() {
  if (is_unsat()) return false;
  const std::size_t facts = trail_lim_.empty() ? trail_.size() : index(trail_lim_[0]);
  // Elimination of variables only where nothing depends on a level or on a backtrack point.
  const bool wants_preprocessing = preprocessor_ != nullptr && config_.preprocessor.mode != 0 &&
                                   trail_lim_.empty() && base_levels_.empty() &&
                                   (config_.preprocessor.mode == 2 || !preprocessed_);
  if (facts == simplified_facts_ && !(wants_preprocessing && !preprocessed_)) return true;
  // As much propagation as the clauses have literals pays for looking at them all.
  if (static_cast<std::int64_t>(statistics_.propagations) < simplify_budget_) return true;
  if (clauses_.size() < heap_.size() && !wants_preprocessing) return true;
  if (trail_lim_.empty()) {
    if (Clause* const conflict = propagate(); conflict != nullptr) {
      arena_.release(conflict);
      mark_unsat(0);
      return false;
    }
  }
  const std::size_t clauses_before = clauses_.size();
  const std::size_t learnts_before = learnts_.size();
  const std::size_t vars_before = heap_.size();
  clear_level_zero_reasons();
  remove_satisfied(learnts_);
  if (config_.simplify_problem_clauses) remove_satisfied(clauses_);
  if (wants_preprocessing) {
    preprocessed_ = true;
    if (!preprocess_clauses()) return false;
  }
  // Assigned and eliminated variables leave the heap.
  heap_.filter([this](Var v) {
    return decision_[index(v)] != 0 && (values_[index(v)] & 2) != 0 &&
           (preprocessor_ == nullptr || !preprocessor_->is_eliminated(v));
  });
  if (logs(3)) {
    log(3, "simplified clause db (removed " + std::to_string(clauses_before - clauses_.size()) +
               " / " + std::to_string(clauses_before) + " orig clauses, " +
               std::to_string(learnts_before - learnts_.size()) + " learnt, " +
               std::to_string(vars_before - heap_.size()) + " vars)");
  }
  std::int64_t literals = 0;
  for (const Clause* clause : clauses_) literals += clause->size();
  for (const Clause* clause : learnts_) literals += clause->size();
  simplify_budget_ = static_cast<std::int64_t>(statistics_.propagations) + literals;
  simplified_facts_ = trail_lim_.empty() ? trail_.size() : index(trail_lim_[0]);
  return true;
}

bool DpllSolver::preprocess_clauses() {
  SatPreprocessor::Clauses list;
  for (const Clause* clause : clauses_) {
    std::vector<Lit> literals;
    for (const Lit l : *clause) {
      if (!is_false(l)) literals.push_back(l);
    }
    if (!is_satisfied(*clause)) list.push_back(std::move(literals));
  }
  // What is assumed or preferred must keep its variable.
  std::vector<std::uint8_t> frozen(frozen_.begin(), frozen_.end());
  for (const Lit l : assumptions_) frozen[index(var_of(l))] = 1;
  for (const Var v : preferred_) frozen[index(v)] = 1;
  clear_pending();
  preprocessor_->preprocess(list, frozen);

  // The result takes the place of the problem's clauses; learnt ones over variables that are gone
  // go, too.
  remove_clauses_if([](const Clause& clause) { return !clause.learnt(); });
  remove_clauses_if([this](const Clause& clause) {
    return std::any_of(clause.begin(), clause.end(),
                       [this](Lit l) { return preprocessor_->is_eliminated(var_of(l)); });
  });
  for (const std::vector<Lit>& literals : list) {
    LitVector clause;
    for (const Lit l : literals) clause.push_back(l);
    if (!add_clause(clause)) return false;
  }
  if (Clause* const conflict = propagate(); conflict != nullptr) {
    arena_.release(conflict);
    mark_unsat(0);
    return false;
  }
  return true;
}

// Brings back the clauses of the eliminated variables among `literals`, and of those that the
// stored clauses mention in turn. False if that contradicts.
bool DpllSolver::restore_eliminated(const LitVector& literals) {
  SatPreprocessor::Clauses list;
  const auto restore = [this, &list](Lit literal) {
    const Var v = var_of(literal);
    if (!preprocessor_->is_eliminated(v)) return;
    preprocessor_->restore(v, list);
    if (decision_[index(v)] != 0) heap_.insert(v);
  };
  for (const Lit l : literals) restore(l);
  for (std::size_t i = 0; i < list.size(); ++i) {
    for (std::size_t j = 0; j < list[i].size(); ++j) restore(list[i][j]);
  }
  if (list.empty()) return true;
  // Stored clauses come from outside of all backtrack points, and stay when these are popped.
  cancel_until(0);
  LitVector labels;
  labels.swap(base_levels_);
  bool consistent = true;
  for (const std::vector<Lit>& stored : list) {
    LitVector clause;
    for (const Lit l : stored) clause.push_back(l);
    consistent = add_clause(clause) && consistent;
  }
  labels.swap(base_levels_);
  return consistent;
}

}  // namespace ordax
