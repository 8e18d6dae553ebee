// The search: propagation, decisions, restarts and the steps between them.

#include <algorithm>

#include "solver/dpll/dpll_solver.h"
#include "solver/terms/term_printer.h"

namespace ordax {
namespace {

constexpr std::ptrdiff_t kPrefetchAhead = 8;

}  // namespace

// The sequence 1 1 2 1 1 2 4 ... (Luby, Sinclair and Zuckerman, 1993), from i = 1.
std::uint64_t DpllSolver::luby(std::uint64_t i) {
  for (;;) {
    std::uint64_t power = 1;  // 2^k for the k with 2^(k-1) <= i < 2^k
    while (power <= i) power *= 2;
    if (power - 1 == i) return power / 2;
    i = i - power / 2 + 1;
  }
}

// Small problems forget by a fixed rhythm, large ones in proportion to their clauses.
void DpllSolver::set_forgetting_limits() {
  const std::uint64_t n = clauses_.size();
  if (config_.forget_interval > 0) {
    reduce_interval_ = static_cast<std::uint64_t>(config_.forget_interval);
    reduce_increment_ = 0;
    learnt_limit_ = 50000;
  } else if (n < 3000) {
    reduce_interval_ = 3000;
    reduce_increment_ = 500;
    learnt_limit_ = 50000;
  } else {
    reduce_interval_ = n;
    const auto third = n / 3;  // a whole number
    learnt_limit_ = static_cast<double>(third * 50);
    reduce_increment_ = n < 5000 ? 500 : n / 10;
  }
}

// Strategies: 0 geometric, 1 Luby, 2 Luby with a unit that follows the agility (Biere, SAT 2008),
// 3 by the quality of recent clauses.
void DpllSolver::start_restarts() {
  switch (config_.restart_strategy) {
    case 0:
      restart_limit_ = config_.restart_initial;
      break;
    case 1:
    case 2:
      luby_index_ = 1;
      luby_unit_ = config_.restart_initial;
      restart_limit_ = luby_unit_;
      break;
    default:
      restart_limit_ = 0;
      lbd_sum_ = 0;
      lbd_ring_.clear();
      ring_next_ = 0;
      ring_sum_ = 0;
  }
}

void DpllSolver::next_restart() {
  ++statistics_.restarts;
  switch (config_.restart_strategy) {
    case 0:
      restart_limit_ *= config_.restart_geometric_factor;
      break;
    case 2:
      if (agility_ >= config_.agility_high) {
        luby_unit_ *= 2;
      } else if (agility_ <= config_.agility_low) {
        luby_unit_ = std::max(luby_unit_ / 2, static_cast<double>(config_.restart_initial));
      }
      [[fallthrough]];
    case 1:
      ++luby_index_;
      restart_limit_ = static_cast<double>(luby(luby_index_)) * luby_unit_;
      break;
    default:
      lbd_ring_.clear();
      ring_next_ = 0;
      ring_sum_ = 0;
  }
  if (logs(2)) {
    std::string text = "restarting (after " + std::to_string(statistics_.conflicts) + " conflicts";
    if (config_.restart_strategy == 2) {
      text += ", with agility " + std::to_string(agility_) + " and luby unit " +
              std::to_string(luby_unit_);
    }
    log(2, text + ")");
  }
}

// By quality: when the last clauses span clearly more levels than the mean of all.
bool DpllSolver::restart_due(std::uint64_t run_conflicts) const {
  if (config_.restart_strategy != 3) return restart_limit_ <= static_cast<double>(run_conflicts);
  if (lbd_ring_.size() < kRingSize || statistics_.conflicts == 0) return false;
  const double average = static_cast<double>(lbd_sum_) / static_cast<double>(statistics_.conflicts);
  const auto recent = ring_sum_ / kRingSize;  // a whole number
  return average < static_cast<double>(recent) * 0.7;
}

// Unsatisfiable means: with what was assumed. `failed_` then holds the assumptions to blame, and is
// empty if there are none.
bool DpllSolver::solve(const LitVector& assumptions, bool keep_trail) {
  failed_.clear();
  if (is_unsat()) return false;
  cancel_until(0);
  assumptions_ = assumptions;
  if (preprocessor_ != nullptr && !restore_eliminated(assumptions_)) return false;
  if (logs(1)) {
    log(1, "searching (vars: " + std::to_string(heap_.size()) +
               ", clauses: " + std::to_string(clauses_.size()) + ")");
  }
  // All limits are those of one check.
  set_forgetting_limits();
  last_conflict_ = conflict_limit_ == 0 ? UINT64_MAX : statistics_.conflicts + conflict_limit_;
  start_restarts();
  SearchResult result = search();
  while (result == SearchResult::RESTART) {
    next_restart();
    result = search();
  }
  if (result == SearchResult::SAT) {
    ORDAX_CHECK(model_holds());
    save_model();
    if (!keep_trail) cancel_until(0);
    return true;
  }
  cancel_until(0);
  return false;
}

void DpllSolver::save_model() {
  model_.assign(values_.begin(), values_.end());
  if (preprocessor_ != nullptr) preprocessor_->extend_model(model_);
  if (config_.minimize_model) minimize_model();
}

// Drops the values that no problem clause needs. Theory atoms stay: the theories' models were built
// for their values.
void DpllSolver::minimize_model() {
  if (preprocessor_ != nullptr && preprocessed_) return;  // eliminated clauses are not seen here
  std::vector<std::uint8_t> needed(model_.size(), 0);
  for (std::size_t v = 0; v < model_.size(); ++v) {
    needed[v] = is_theory_atom_[v] != 0 || info_[v].level == 0 ? 1 : 0;
  }
  for (const Lit l : assumptions_) needed[index(var_of(l))] = 1;
  for (const Lit l : base_levels_) needed[index(var_of(l))] = 1;
  // A clause is served by a literal that is needed anyway, else by its first true one.
  for (const Clause* clause : clauses_) {
    Lit choice = kNoLit;
    for (const Lit l : *clause) {
      if (!is_true(l)) continue;
      if (choice == kNoLit) choice = l;
      if (needed[index(var_of(l))] != 0) {
        choice = l;
        break;
      }
    }
    if (choice != kNoLit) needed[index(var_of(choice))] = 1;
  }
  for (std::size_t v = 0; v < model_.size(); ++v) {
    if (needed[v] == 0) model_[v] = kUndefined;
  }
}

// Level 0 again for the clauses that were unit when they arrived inside the search.
bool DpllSolver::examine_pending() {
  cancel_until(0);
  // At level 0 each is satisfied, unit, false or not due yet; the last ones are watched like
  // others.
  bool consistent = true;
  for (Clause* clause : pending_) {
    Lit open = kNoLit;
    bool done = false;
    for (const Lit l : *clause) {
      if (is_true(l) || (is_undefined(l) && open != kNoLit)) {
        done = true;
        break;
      }
      if (is_undefined(l)) open = l;
    }
    if (!done) {
      if (open == kNoLit) {
        consistent = false;
      } else {
        assign(open, nullptr);
      }
    }
  }
  clear_pending();
  return consistent;
}

// Assigns the labels of the backtrack points, each at a level of its own; false if one is false.
bool DpllSolver::open_base_levels(bool& assigned) {
  assigned = false;
  while (decision_level() < num_base_levels()) {
    const Lit label = base_levels_[index(decision_level())];
    if (is_false(label)) {
      mark_unsat(decision_level() + 1);
      return false;
    }
    new_decision_level();
    if (is_undefined(label)) {
      assign(label, nullptr);
      assigned = true;
      return true;
    }
  }
  return true;
}

// The theories' part of one loop turn. Returns ADDED if the turn has to begin anew (also after a
// conflict, which has then been analysed), and UNSAT if the search ends so.
DpllSolver::LemmaResult DpllSolver::theory_step(bool approx, std::uint64_t& run_conflicts) {
  if (hook_ == nullptr) return LemmaResult::NOTHING;
  Clause* conflict = nullptr;
  if (!send_to_theory(/*at_check=*/true) || !hook_->check(approx)) {
    conflict = take_theory_conflict();
  } else {
    const LemmaResult lemmas = add_theory_lemmas();
    if (lemmas == LemmaResult::UNSAT) return lemmas;
    const bool implied = propagate_theory();
    if (theory_conflict_ == nullptr) {
      return implied ? LemmaResult::ADDED : lemmas;
    }
    conflict = theory_conflict_;
    theory_conflict_ = nullptr;
  }
  if (logs(4)) {
    log(4, (approx ? "theory conflict: " : "theory complete conflict: ") +
               to_text(conflict->begin(), conflict->end()));
  }
  ++run_conflicts;
  return handle_conflict(conflict) ? LemmaResult::ADDED : LemmaResult::UNSAT;
}

DpllSolver::SearchResult DpllSolver::search() {
  std::uint64_t run_conflicts = 0;
  for (;;) {
    // One turn: go back where that is due, propagate to the end, ask the theories, and only then
    // decide.
    if (termination_ != nullptr && run_conflicts % 100 == 0) termination_->check();
    if (restart_due(run_conflicts)) {
      cancel_until(std::min(num_base_levels(), decision_level()));
      return SearchResult::RESTART;
    }
    if (!pending_.empty() && !examine_pending()) {
      mark_unsat(0);
      return SearchResult::UNSAT;
    }
    if (Clause* const conflict = propagate(); conflict != nullptr) {
      if (logs(4)) log(4, "boolean conflict: " + to_text(conflict->begin(), conflict->end()));
      ++run_conflicts;
      if (!handle_conflict(conflict)) return SearchResult::UNSAT;
      continue;
    }
    // Invariants of the whole state, in tests: their cost is kept in proportion to the search.
    if (search_audit_.due(audit_cost())) {
      ORDAX_CHECK(watches_hold());
      ORDAX_CHECK(reasons_hold());
      ORDAX_CHECK(heap_holds());
    }
    // Below all assumptions stand the labels of the backtrack points.
    if (decision_level() < num_base_levels()) {
      bool assigned = false;
      if (!open_base_levels(assigned)) return SearchResult::UNSAT;
      if (assigned) continue;
    }
    // The cheap checks at every turn; the full ones wait for a complete assignment.
    LemmaResult theory = theory_step(/*approx=*/true, run_conflicts);
    if (theory == LemmaResult::UNSAT) return SearchResult::UNSAT;
    if (theory == LemmaResult::ADDED) continue;
    if (decision_level() <= num_base_levels() && !simplify()) return SearchResult::UNSAT;
    // Simplifying may have made facts.
    if (head_ < trail_.size()) continue;
    forget_if_due();

    Lit next = kNoLit;
    // Assumptions are the next decisions, in order; one that holds already still takes a level, so
    // that levels tell assumptions.
    while (index(decision_level()) < base_levels_.size() + assumptions_.size()) {
      const Lit assumption = assumptions_[index(decision_level() - num_base_levels())];
      if (is_true(assumption)) {
        new_decision_level();
      } else if (is_false(assumption)) {
        analyze_final(assumption);
        return SearchResult::UNSAT;
      } else {
        next = assumption;
        break;
      }
    }
    if (next == kNoLit) {
      next = pick_branching_literal();
      if (next != kNoLit && ++statistics_.decisions % 100 == 0 && logs(1)) logger_.flush();
    }
    if (next != kNoLit) {
      decide(next);
      continue;
    }

    // Everything is assigned: the theories decide in full.
    if (hook_ == nullptr) return SearchResult::SAT;
    theory = theory_step(/*approx=*/false, run_conflicts);
    if (theory == LemmaResult::UNSAT) return SearchResult::UNSAT;
    if (theory == LemmaResult::ADDED) continue;
    const int wanted_level = hook_->final_check();
    if (wanted_level >= 0) {
      cancel_until(wanted_level);
      continue;
    }
    next = pick_branching_literal();  // the final step may have made new atoms
    if (next != kNoLit) {
      decide(next);
      continue;
    }
    // The step may have brought lemmas, and interface equalities that have to be looked at once
    // more.
    if (!pending_.empty()) continue;
    theory = theory_step(/*approx=*/false, run_conflicts);
    if (theory == LemmaResult::UNSAT) return SearchResult::UNSAT;
    if (theory == LemmaResult::ADDED) continue;
    if (logs(5)) log(5, "BOOLEAN MODEL: " + to_text(trail_.begin(), trail_.end()));
    if (configuration_.model_generation) hook_->compute_models();
    return SearchResult::SAT;
  }
}

// Assigns what follows from the trail. Returns the clause that became false, held once more, or
// null.
//
// Most of a run is spent here. A list is filtered in place, a true blocker saves the read of the
// clause, and a binary clause is never read. The learnt clauses rarely fit the caches near the
// processor, so those of the coming entries are asked for early. Two-watched-literal scheme:
// Moskewicz et al., DAC 2001; blockers: Chu, Harwood and Stuckey, JSAT 2008.
Clause* DpllSolver::propagate() {
  propagate_theory();
  if (theory_conflict_ != nullptr) {
    Clause* const conflict = theory_conflict_;
    theory_conflict_ = nullptr;
    head_ = trail_.size();
    return conflict;
  }
  // Stores through bytes may alias everything: what the loop needs is kept in locals.
  Value* const values = values_.data();
  Lit* const trail = trail_.data();
  Assignment* const info = info_.data();
  Vector<Watch>* const watches = watches_.data();
  const std::int32_t level = decision_level();
  const std::size_t start = head_;
  std::size_t head = head_;
  std::size_t size = trail_.size();
  Clause* conflict = nullptr;
  const auto value_of = [values](Lit l) {
    return static_cast<Value>(values[index(l >> 1)] ^ (l & 1));
  };
  const auto imply = [&](Lit l, Clause* reason) {
    const Var v = var_of(l);
    ORDAX_CHECK(is_undefined(l));
    values[index(v)] = static_cast<Value>(l & 1);
    info[index(v)] = {reason, level, static_cast<std::int32_t>(size)};
    if (track_agility_) update_agility(v);
    trail[size++] = l;
  };
  while (conflict == nullptr && head < size) {
    const Lit false_lit = negate(trail[head++]);
    Vector<Watch>& list = watches[index(false_lit)];
    Watch* keep = list.begin();
    Watch* next = keep;
    Watch* const end = list.end();
    while (next != end) {
      if (end - next > kPrefetchAhead) __builtin_prefetch(next[kPrefetchAhead].clause());
      const Watch watch = *next++;
      const Value blocker_value = value_of(watch.blocker);
      if (blocker_value == kTrue) {
        *keep++ = watch;
        continue;
      }
      if (watch.is_binary()) {
        *keep++ = watch;
        if (blocker_value == kFalse) {
          conflict = watch.clause();
          break;
        }
        imply(watch.blocker, watch.clause());
        continue;
      }
      Clause& clause = *watch.clause();
      Lit* const literals = clause.begin();
      // The other watched literal, whichever of the two places it has.
      const Lit first = literals[0] ^ literals[1] ^ false_lit;
      const Value first_value = value_of(first);
      if (first_value == kTrue) {
        *keep++ = Watch(first, &clause, /*binary=*/false);
        continue;
      }
      // A literal that is not false takes over the watch.
      const Lit* const last = literals + clause.size();
      Lit* candidate = literals + 2;
      while (candidate != last && value_of(*candidate) == kFalse) ++candidate;
      literals[0] = first;
      if (candidate != last) {
        literals[1] = *candidate;
        *candidate = false_lit;
        watches[index(literals[1])].push_back(Watch(first, &clause, /*binary=*/false));
        continue;
      }
      // Unit or false: the implied literal stands first, where `is_locked` looks for it.
      literals[1] = false_lit;
      *keep++ = Watch(first, &clause, /*binary=*/false);
      if (first_value == kFalse) {
        conflict = &clause;
        break;
      }
      imply(first, &clause);
    }
    if (keep != next) list.erase(keep, next);  // behind a conflict the rest stays as it is
  }
  trail_.set_size(size);
  statistics_.propagations += head - start;  // counted once, not in the loop
  head_ = head;
  if (conflict != nullptr) {
    head_ = size;
    conflict->hold();
  }
  return conflict;
}

// A linear congruential generator (Knuth, TAOCP 3.2.1) of the solver's own: the same on all
// machines.
std::uint64_t DpllSolver::next_random() {
  random_state_ = random_state_ * 25214903917ULL + 11;
  random_state_ &= ~(1ULL << 49);
  return random_state_;
}

Lit DpllSolver::pick_branching_literal() {
  // The caller's preferences come first, then a random choice now and then, then the highest
  // activity.
  for (const Var v : preferred_) {
    if ((values_[index(v)] & 2) == 0) continue;
    const Value phase =
        (preferred_phase_[index(v)] & 2) == 0 ? preferred_phase_[index(v)] : saved_phase_[index(v)];
    return make_lit(v, phase != kTrue);
  }
  Var chosen = kNoVar;
  bool random = false;
  if (config_.branching_random_frequency > 0) {
    const double draw = static_cast<double>((next_random() >> 16) % 2147483647ULL) / 2147483647.0;
    if (draw < config_.branching_random_frequency && !heap_.empty()) {
      const Var v = heap_[static_cast<std::size_t>((next_random() >> 16) % heap_.size())];
      if ((values_[index(v)] & 2) != 0 && decision_[index(v)] != 0 &&
          (preprocessor_ == nullptr || !preprocessor_->is_eliminated(v))) {
        chosen = v;
        random = true;
        ++statistics_.random_decisions;
        if (config_.branching_random_invalidate_phase_cache) saved_phase_[index(v)] = 4;
      }
    }
  }
  while (chosen == kNoVar && !heap_.empty()) {
    const Var v = heap_.pop();
    if ((values_[index(v)] & 2) == 0 || decision_[index(v)] == 0) continue;
    if (preprocessor_ != nullptr && preprocessor_->is_eliminated(v)) continue;
    if (config_.ghost_filtering && is_ghost(v)) {
      ghosts_.push_back(v);
      continue;
    }
    chosen = v;
  }
  if (chosen == kNoVar) return kNoLit;
  // The value that the variable had last (Pipatsrisawat and Darwiche, SAT 2007).
  bool negated = saved_phase_[index(chosen)] != kTrue;
  if (random && config_.branching_random_ignore_polarity)
    negated = ((next_random() >> 16) & 1) != 0;
  if (logs(4) && terms_[index(chosen)] != nullptr) {
    log(4, "branching on: " + print_term(terms_[index(chosen)], kLoggedTermLength));
  }
  return make_lit(chosen, negated);
}

// A theory atom is a ghost while every problem clause that mentions it is satisfied by another
// literal: neither of its values is needed. For an assigned atom these have to be older on the
// trail, so that it is undone before they are.
bool DpllSolver::is_ghost(Var v) {
  if (is_theory_atom_[index(v)] == 0) return false;
  // Preprocessing keeps the clauses of eliminated variables, and decides these by all values.
  if (preprocessed_) return false;
  const std::int32_t end = (values_[index(v)] & 2) != 0 ? static_cast<std::int32_t>(trail_.size())
                                                        : info_[index(v)].position;
  // Occurrences are counted anew when the clauses have changed.
  const std::uint32_t version = clauses_.empty() ? 0 : clauses_.back()->id();
  if (occurrences_version_ != version || occurrences_.size() != values_.size() ||
      occurrences_count_ != clauses_.size()) {
    occurrences_.assign(values_.size(), {});
    for (const Clause* clause : clauses_) {
      for (const Lit l : *clause) {
        if (is_theory_atom_[index(var_of(l))] != 0) {
          occurrences_[index(var_of(l))].push_back(clause);
        }
      }
    }
    occurrences_version_ = version;
    occurrences_count_ = clauses_.size();
  }
  for (const Clause* clause : occurrences_[index(v)]) {
    bool satisfied = false;
    for (const Lit l : *clause) {
      satisfied = satisfied || (is_true(l) && info_[index(var_of(l))].position < end);
    }
    if (!satisfied) return false;
  }
  return true;
}

void DpllSolver::save_phases(std::size_t from) {
  const Value initial = config_.branching_initial_phase == 1 ? kTrue : kFalse;
  // With the limited cache only the implied literals of the deepest level are remembered.
  std::size_t start = from;
  if (config_.branching_cache_phase == 1) start = index(trail_lim_.back()) + 1;
  const bool save = config_.branching_cache_phase != 0;
  for (std::size_t i = from; i < trail_.size(); ++i) {
    const Var v = var_of(trail_[i]);
    // A random decision may ask that its variable forgets its phase.
    if (saved_phase_[index(v)] == 4) {
      saved_phase_[index(v)] = initial;
    } else if (save && i >= start) {
      saved_phase_[index(v)] = static_cast<Value>(trail_[i] & 1);
    }
  }
}

void DpllSolver::cancel_until(int level) {
  if (decision_level() <= level) return;
  const std::size_t target = index(trail_lim_[index(level)]);
  // The theories go back first: they may still look at the trail.
  if (hook_ != nullptr && theory_level_ > level) {
    hook_->backtrack(level);
    theory_level_ = level;
  }
  sent_ = std::min(sent_, target);
  save_phases(target);
  for (std::size_t i = trail_.size(); i-- > target;) {
    const Var v = var_of(trail_[i]);
    values_[index(v)] = kUndefined;
    info_[index(v)].level = -1;
    info_[index(v)].reason = nullptr;
    if (decision_[index(v)] != 0) heap_.insert(v);
  }
  // Reasons that theories gave belong to nobody but the literals that go.
  while (!theory_reasons_.empty() && index(theory_reasons_.back().position) >= target) {
    arena_.release(theory_reasons_.back().clause);
    theory_reasons_.pop_back();
  }
  for (const Var v : ghosts_) {
    if ((values_[index(v)] & 2) != 0) heap_.insert(v);
  }
  ghosts_.clear();
  trail_.set_size(target);
  trail_lim_.shrink(index(level));
  head_ = std::min(head_, target);
}

}  // namespace ordax
