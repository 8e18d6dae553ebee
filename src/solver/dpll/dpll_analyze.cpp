// Conflict analysis and learning.

#include <algorithm>

#include "solver/dpll/dpll_solver.h"

namespace ordax {

// Variables in recent conflicts come first (VSIDS, Moskewicz et al., DAC 2001). Instead of letting
// all activities decay, the increment grows; all are scaled down before they overflow.
void DpllSolver::bump_variable(Var v) {
  double& activity = activity_[index(v)];
  activity += var_inc_;
  if (activity > 1e100) {
    for (double& a : activity_) a *= 1e-100;
    var_inc_ *= 1e-100;
  }
  heap_.raised(v);
}

void DpllSolver::bump_clause(Clause* clause) {
  clause->activity() += static_cast<float>(cla_inc_);
  if (clause->activity() > 1e20F) {
    for (Clause* c : learnts_) c->activity() *= 1e-20F;
    cla_inc_ *= 1e-20;
  }
}

// Takes over a conflict clause: learns from it and goes back; false if that shows unsatisfiability.
bool DpllSolver::handle_conflict(Clause* conflict) {
  int level = 0;
  for (const Lit l : *conflict) level = std::max(level, level_of(var_of(l)));
  // The literals of a theory's clause stand by decreasing trail position; the clause may lie wholly
  // below the current level.
  for ([[maybe_unused]] const Lit l : *conflict) ORDAX_CHECK(is_false(l));
  // Below `level` the trail is as it was when the clause became false.
  if (level < decision_level()) cancel_until(level);
  if (++statistics_.conflicts >= last_conflict_ && level > 0) {
    throw LimitReached("the limit on conflicts is reached");
  }
  if (level == 0) {
    arena_.release(conflict);
    mark_unsat(0);
    return false;
  }
  // A fact: nothing is to be derived, and the literal holds for good.
  if (conflict->size() == 1) {
    if (logs(4)) log(4, "unit conflict, backtracking to level zero");
    const Lit literal = (*conflict)[0];
    arena_.release(conflict);
    cancel_until(0);
    assign(literal, nullptr);
    return true;
  }
  derive_clause(conflict, level);
  statistics_.derived_literals += learnt_clause_.size();
  ORDAX_CHECK(is_asserting(level));
  // Whatever minimisation drops has to follow from what it keeps.
  const bool audits = analysis_audit_.due(trail_.size());
  const LitVector derived = audits ? learnt_clause_ : LitVector();
  if (config_.learnt_minimization) minimize_learnt();
  ORDAX_CHECK(!audits || removed_follow(derived));
  // The marks are those of the literals in the clause and of all that was passed on the way.
  for (const Lit l : to_clear_) seen_[index(var_of(l))] = 0;
  to_clear_.clear();
  if (config_.glucose_learnt_minimization && !configuration_.proof_generation &&
      learnt_clause_.size() < 31) {
    minimize_with_binaries();
  }
  learn();
  arena_.release(conflict);
  return true;
}

// Marks the literals of one clause that is resolved on.
inline void DpllSolver::see_literals(const Lit* first, const Lit* last, Lit implied, int level,
                                     int& open_paths) {
  for (; first != last; ++first) {
    const Lit q = *first;
    if (q == implied) continue;
    const Var v = var_of(q);
    if (seen_[index(v)] != 0) continue;
    // Facts are false for good and need no place in the clause.
    const int q_level = info_[index(v)].level;
    if (q_level == 0 && !config_.store_tlemmas) continue;
    seen_[index(v)] = 1;
    to_clear_.push_back(q);
    bump_variable(v);
    if (q_level == level) {
      ++open_paths;
      resolved_.push_back(v);
    } else {
      learnt_clause_.push_back(q);
    }
  }
}

// Resolves the conflict back to the first unique implication point.
void DpllSolver::derive_clause(Clause* conflict, int level) {
  learnt_clause_.clear();
  learnt_clause_.push_back(kPlaceholderLit);
  resolved_.clear();
  int open_paths = 0;
  if (conflict->learnt()) bump_clause(conflict);
  see_literals(conflict->begin(), conflict->end(), kNoLit, level, open_paths);
  // Backwards over the trail: each marked literal of the conflict's level is replaced by its
  // reason, until one is left on which all paths meet (Marques-Silva and Sakallah, ICCAD 1996).
  std::size_t position = trail_.size();
  for (;;) {
    do {
      --position;
    } while (seen_[index(var_of(trail_[position]))] == 0);
    const Lit p = trail_[position];
    const Var v = var_of(p);
    if (--open_paths == 0) {
      learnt_clause_[0] = negate(p);
      return;
    }
    Clause* const reason = info_[index(v)].reason;
    ORDAX_CHECK(reason != nullptr);
    if (reason == marker_) {
      const LitVector& clause = explanation_of(p);
      see_literals(clause.begin(), clause.end(), p, level, open_paths);
    } else {
      if (reason->learnt()) bump_clause(reason);
      see_literals(reason->begin(), reason->end(), p, level, open_paths);
    }
  }
}

// Drops literals that the others imply through reasons (Sorensson and Biere, SAT 2009). The mask of
// levels is a quick necessary test: a literal of a level that the clause lacks cannot be implied.
void DpllSolver::minimize_learnt() {
  if (config_.store_tlemmas) {
    bool has_fact = false;
    for (std::size_t i = 1; i < learnt_clause_.size(); ++i) {
      has_fact = has_fact || level_of(var_of(learnt_clause_[i])) == 0;
    }
    if (has_fact) return;  // facts implied by a theory have lost their reasons
  }
  std::uint32_t mask = 0;
  for (std::size_t i = 1; i < learnt_clause_.size(); ++i) mask |= level_bit(learnt_clause_[i]);
  std::size_t kept = 1;
  for (std::size_t i = 1; i < learnt_clause_.size(); ++i) {
    const Lit literal = learnt_clause_[i];
    const Clause* const reason = info_[index(var_of(literal))].reason;
    if (reason == nullptr || reason == marker_ || !is_redundant(literal, mask)) {
      learnt_clause_[kept++] = literal;
    }
  }
  statistics_.minimized_literals += learnt_clause_.size() - kept;
  learnt_clause_.shrink(kept);
}

// True if the false literal follows from the others of the learnt clause. What it marks as seen on
// the way is implied by them, too; a failed test takes its marks back.
bool DpllSolver::is_redundant(Lit literal, std::uint32_t level_mask) {
  redundant_stack_.clear();
  redundant_stack_.push_back(literal);
  const std::size_t marks = to_clear_.size();
  while (!redundant_stack_.empty()) {
    const Lit top = redundant_stack_.back();
    redundant_stack_.pop_back();
    const Clause& reason = *info_[index(var_of(top))].reason;
    ORDAX_CHECK(&reason != marker_ && is_false(top));
    for (const Lit q : reason) {
      const Var v = var_of(q);
      if (v == var_of(top) || seen_[index(v)] != 0 || info_[index(v)].level == 0) continue;
      const Clause* const next = info_[index(v)].reason;
      if (next == nullptr || next == marker_ || (level_bit(q) & level_mask) == 0) {
        for (std::size_t i = marks; i < to_clear_.size(); ++i) {
          seen_[index(var_of(to_clear_[i]))] = 0;
        }
        to_clear_.shrink(marks);
        return false;
      }
      seen_[index(v)] = 1;
      to_clear_.push_back(q);
      redundant_stack_.push_back(q);
    }
  }
  return true;
}

// A binary clause (first or q) makes the literal "not q" of the learnt clause redundant.
void DpllSolver::minimize_with_binaries() {
  for (std::size_t i = 1; i < learnt_clause_.size(); ++i) {
    seen_[index(var_of(learnt_clause_[i]))] = 1;
  }
  bool removed = false;
  for (const Watch& watch : watches_[index(learnt_clause_[0])]) {
    if (!watch.is_binary() || !is_true(watch.blocker)) continue;
    std::uint8_t& mark = seen_[index(var_of(watch.blocker))];
    if (mark == 1) {
      mark = 2;
      removed = true;
    }
  }
  std::size_t kept = 1;
  for (std::size_t i = 1; i < learnt_clause_.size(); ++i) {
    std::uint8_t& mark = seen_[index(var_of(learnt_clause_[i]))];
    const bool keep = mark == 1;
    mark = 0;
    if (keep) learnt_clause_[kept++] = learnt_clause_[i];
  }
  if (!removed) return;
  statistics_.minimized_literals += learnt_clause_.size() - kept;
  learnt_clause_.shrink(kept);
}

// The number of different levels among the literals (Audemard and Simon, IJCAI 2009); a stamp for
// each level saves clearing.
std::uint32_t DpllSolver::compute_lbd(const Lit* first, const Lit* last) {
  if (++stamp_ == 0) {
    for (std::uint32_t& s : level_stamp_) s = 0;
    stamp_ = 1;
  }
  std::uint32_t lbd = 0;
  for (; first != last; ++first) {
    const std::size_t level = index(info_[index(var_of(*first))].level);
    if (level >= level_stamp_.size()) level_stamp_.resize(level + 1, 0);
    if (level_stamp_[level] != stamp_) {
      level_stamp_[level] = stamp_;
      ++lbd;
    }
  }
  return lbd;
}

// Goes back and adds the derived clause.
void DpllSolver::learn() {
  int backjump_level = 0;
  if (learnt_clause_.size() > 1) {
    std::size_t highest = 1;
    for (std::size_t i = 2; i < learnt_clause_.size(); ++i) {
      if (level_of(var_of(learnt_clause_[i])) > level_of(var_of(learnt_clause_[highest]))) {
        highest = i;
      }
    }
    // The second watch is the literal that becomes undefined first when going back further.
    std::swap(learnt_clause_[1], learnt_clause_[highest]);
    backjump_level = level_of(var_of(learnt_clause_[1]));
  }
  const std::uint32_t lbd = compute_lbd(learnt_clause_.begin(), learnt_clause_.end());
  // Variables whose reasons are better clauses than the new one count twice.
  if (config_.glucose_var_activity) {
    for (const Var v : resolved_) {
      const Clause* const reason = info_[index(v)].reason;
      if (reason != nullptr && reason != marker_ && reason->learnt() && reason->lbd() < lbd) {
        bump_variable(v);
      }
    }
  }
  cancel_until(backjump_level);
  ORDAX_CHECK(is_undefined(learnt_clause_[0]));
  ORDAX_CHECK(learnt_clause_.size() == 1 || is_false(learnt_clause_[1]));
  if (logs(4)) {
    log(4, "backtracking to level " + std::to_string(backjump_level));
    log(4, "learnt clause: " + to_text(learnt_clause_.begin(), learnt_clause_.end()));
  }
  // A ring of the last values against the mean of all: dynamic restarts by the quality of clauses.
  if (config_.restart_strategy == 3) {
    if (lbd_ring_.size() < kRingSize) {
      lbd_ring_.push_back(lbd);
    } else {
      ring_sum_ -= lbd_ring_[ring_next_];
      lbd_ring_[ring_next_] = lbd;
      ring_next_ = (ring_next_ + 1) % kRingSize;
    }
    ring_sum_ += lbd;
    lbd_sum_ += lbd;
  }
  if (learnt_clause_.size() == 1) {
    assign(learnt_clause_[0], nullptr);
  } else {
    Clause* const clause = make_clause(learnt_clause_, /*learnt=*/true);
    clause->set_lbd(lbd);
    clause->activity() = static_cast<float>(cla_inc_);
    learnts_.push_back(clause);
    attach(clause);
    assign(learnt_clause_[0], backjump_level == 0 ? nullptr : clause);
  }
  // Growing increments are decaying activities.
  var_inc_ *= config_.var_decay_factor;
  cla_inc_ *= config_.cla_decay_factor;
}

// The assumptions that make this one false, itself included.
void DpllSolver::analyze_final(Lit assumption) {
  failed_.clear();
  failed_.push_back(assumption);
  if (level_of(var_of(assumption)) == 0) return;
  seen_[index(var_of(assumption))] = 1;
  // Backwards from the false literal: decisions that are met are assumptions, and labels of
  // backtrack points are left out.
  const std::size_t bottom = index(trail_lim_[0]);
  const int base = num_base_levels();
  for (std::size_t i = trail_.size(); i-- > bottom;) {
    const Lit p = trail_[i];
    const Var v = var_of(p);
    if (seen_[index(v)] == 0) continue;
    seen_[index(v)] = 0;
    const Clause* const reason = info_[index(v)].reason;
    const auto see = [this, v](const Lit* first, const Lit* last) {
      for (; first != last; ++first) {
        if (var_of(*first) != v && level_of(var_of(*first)) > 0) {
          seen_[index(var_of(*first))] = 1;
        }
      }
    };
    if (reason == nullptr) {
      if (level_of(v) > base && p != assumption) failed_.push_back(p);
    } else if (reason == marker_) {
      const LitVector& clause = explanation_of(p);
      see(clause.begin(), clause.end());
    } else {
      see(reason->begin(), reason->end());
    }
  }
}

}  // namespace ordax
