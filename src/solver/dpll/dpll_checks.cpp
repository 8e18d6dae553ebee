// The invariants of the engine, written apart from the code that keeps them.

#include <algorithm>

#include "solver/dpll/dpll_solver.h"

namespace ordax {

bool DpllSolver::watches_hold() const {
  std::size_t expected = 0;
  for (const Vector<Clause*>* list : {&clauses_, &learnts_}) {
    for (const Clause* clause : *list) {
      if (clause->size() < 2 || clause->refcount() == 0) return false;
      for (std::size_t i = 0; i < 2; ++i) {
        const Vector<Watch>& watches = watches_[index((*clause)[i])];
        const Watch* const found =
            std::find_if(watches.begin(), watches.end(),
                         [clause](const Watch& w) { return w.clause() == clause; });
        if (found == watches.end() || found->is_binary() != (clause->size() == 2)) return false;
        if (found->is_binary() && found->blocker != (*clause)[1 - i]) return false;
        if (std::find(clause->begin(), clause->end(), found->blocker) == clause->end()) {
          return false;
        }
      }
      expected += 2;
    }
  }
  std::size_t total = 0;
  for (const Vector<Watch>& watches : watches_) total += watches.size();
  return total == expected;
}

bool DpllSolver::implies(const Lit* first, const Lit* last, Lit literal) const {
  const std::int32_t end = is_true(literal) ? info_[index(var_of(literal))].position
                                            : static_cast<std::int32_t>(trail_.size());
  return std::all_of(first, last, [this, end](Lit l) {
    return is_false(l) && info_[index(var_of(l))].position < end;
  });
}

bool DpllSolver::reasons_hold() const {
  std::size_t assigned = 0;
  for (const Value v : values_) assigned += (v & 2) == 0 ? 1 : 0;
  if (assigned != trail_.size() || head_ > trail_.size() || sent_ > trail_.size()) return false;
  std::size_t level = 0;
  for (std::size_t i = 0; i < trail_.size(); ++i) {
    while (level < trail_lim_.size() && index(trail_lim_[level]) <= i) ++level;
    const Lit literal = trail_[i];
    const Assignment& info = info_[index(var_of(literal))];
    if (!is_true(literal) || index(info.position) != i || index(info.level) != level) return false;
    if (info.reason == nullptr || info.reason == marker_) continue;
    // Watching keeps the implied literal first, but for binary clauses, which are not reordered.
    const Clause& reason = *info.reason;
    if (reason.size() == 0 || reason.refcount() == 0) return false;
    const std::size_t place = reason[0] == literal ? 0 : 1;
    if (place == 1 && (reason.size() != 2 || reason[1] != literal)) return false;
    if (!implies(reason.begin(), reason.begin() + place, literal)) return false;
    if (!implies(reason.begin() + place + 1, reason.end(), literal)) return false;
  }
  return true;
}

bool DpllSolver::heap_holds() const {
  for (std::size_t i = 1; i < heap_.size(); ++i) {
    const Var above = heap_[(i - 1) / 2];
    // Scaling down may have made equal what was not, so that the order of numbers is not looked at.
    if (activity_[index(above)] < activity_[index(heap_[i])]) return false;
  }
  for (Var v = 0; index(v) < values_.size(); ++v) {
    if (decision_[index(v)] == 0 || (values_[index(v)] & 2) == 0 || heap_.contains(v)) continue;
    if (preprocessor_ != nullptr && preprocessor_->is_eliminated(v)) continue;
    if (std::find(ghosts_.begin(), ghosts_.end(), v) == ghosts_.end()) return false;
  }
  return true;
}

bool DpllSolver::model_holds() const {
  return std::all_of(clauses_.begin(), clauses_.end(), [this](const Clause* clause) {
    return std::any_of(clause->begin(), clause->end(), [this](Lit l) { return is_true(l); });
  });
}

bool DpllSolver::is_reason(const Clause* clause) const {
  return std::any_of(clause->begin(), clause->end(),
                     [&](Lit l) { return info_[index(var_of(l))].reason == clause; });
}

// The learnt clause is false, and by the literal in its first place alone at the conflict level.
bool DpllSolver::is_asserting(int conflict_level) const {
  const Lit first = learnt_clause_[0];
  if (!is_false(first) || level_of(var_of(first)) != conflict_level) return false;
  return std::all_of(learnt_clause_.begin() + 1, learnt_clause_.end(),
                     [&](Lit l) { return is_false(l) && level_of(var_of(l)) < conflict_level; });
}

// The literals that minimisation removed follow from those that are left: walks the trail once and
// collects what is false by the reasons, beginning with the negated clause.
bool DpllSolver::removed_follow(const LitVector& before) const {
  std::vector<std::uint8_t> derived(values_.size(), 0);
  for (const Lit l : learnt_clause_) derived[index(var_of(l))] = 1;
  for (const Lit l : trail_) {
    const Assignment& info = info_[index(var_of(l))];
    std::uint8_t& mark = derived[index(var_of(l))];
    if (info.level == 0) mark = 1;
    if (mark != 0 || info.reason == nullptr || info.reason == marker_) continue;
    mark = std::all_of(info.reason->begin(), info.reason->end(),
                       [&](Lit q) { return q == l || derived[index(var_of(q))] != 0; });
  }
  return std::all_of(before.begin(), before.end(),
                     [&derived](Lit l) { return derived[index(var_of(l))] != 0; });
}

}  // namespace ordax
