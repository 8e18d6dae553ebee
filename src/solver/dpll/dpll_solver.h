#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "solver/base/check.h"
#include "solver/base/configuration.h"
#include "solver/base/logger.h"
#include "solver/base/termination.h"
#include "solver/dpll/clause.h"
#include "solver/dpll/literal.h"
#include "solver/dpll/order_heap.h"
#include "solver/dpll/sat_preprocessor.h"
#include "solver/dpll/theory_hook.h"
#include "solver/dpll/trail.h"
#include "solver/dpll/watch.h"
#include "solver/terms/term.h"

namespace ordax {

/// The conflict-driven clause-learning engine, master of the search. It assigns literals, asks the
/// theories at fixed points, learns, restarts and forgets.
///
/// Between two calls no level is open, except after a check with `keep_trail`.
class DpllSolver {
 public:
  struct Statistics {
    std::uint64_t conflicts = 0;
    std::uint64_t decisions = 0;
    std::uint64_t random_decisions = 0;
    std::uint64_t propagations = 0;
    std::uint64_t restarts = 0;
    std::uint64_t theory_conflicts = 0;
    std::uint64_t implied_with_clause = 0;
    std::uint64_t implied_lazily = 0;
    std::uint64_t explanations = 0;
    std::uint64_t theory_lemmas = 0;
    std::uint64_t derived_literals = 0;    // of the clauses that conflicts gave
    std::uint64_t minimized_literals = 0;  // those of them that minimisation removed
    std::uint64_t forgotten_clauses = 0;
  };

  /// The configuration and the logger outlive the engine.
  DpllSolver(const Configuration& configuration, Logger& logger);
  DpllSolver(const DpllSolver&) = delete;
  DpllSolver& operator=(const DpllSolver&) = delete;
  virtual ~DpllSolver() = default;

  /// Each may be null; they are borrowed. To be set before the first variable.
  void set_hook(TheoryHook* hook) { hook_ = hook; }
  void set_preprocessor(SatPreprocessor* preprocessor);
  void set_termination_test(TerminationTest* test);
  /// The conflicts of a check after which it ends by `LimitReached`; 0 for no limit.
  void set_conflict_limit(std::uint64_t limit) { conflict_limit_ = limit; }

  /// A variable without a term. A variable that is no decision variable is never branched on.
  virtual Var new_var(bool decision = true);
  virtual std::size_t num_vars() const { return values_.size(); }

  /// Deletes the youngest variable, which is unassigned and in no clause.
  virtual void delete_last_var();

  /// The variable that stands for a Boolean term; true if it was made by this call, which also
  /// tells it to the theories.
  virtual bool variable_of_term(TermRef term, Var& variable);
  /// The variable of a term that has one, else `kNoVar`.
  Var find_variable(TermRef term) const;
  /// The term of a variable, null for labels and variables without one.
  TermRef term_of(Var variable) const { return terms_[index(variable)]; }

  /// Sets the saved phase: 0 true, 1 false.
  void set_saved_phase(Var variable, Value phase) { saved_phase_[index(variable)] = phase; }
  void set_decision(Var variable, bool decision);
  /// Branches on the variable before all others; `phase` is 0 true, 1 false, 2 the saved one.
  void set_preferred(Var variable, Value phase);
  void clear_preferred();
  /// The variable stays when clauses are preprocessed.
  virtual void set_frozen(Var variable, bool frozen);

  /// Adds a problem clause, which a pop of the innermost backtrack point retracts. False if the
  /// clauses are now unsatisfiable.
  virtual bool add_clause(const LitVector& literals, bool boosted = false, bool tracked = true);

  /// True if satisfiable; the model is then in `model_value`. On false, `failed_assumptions` is a
  /// subset of the assumptions that the clauses contradict. Throws `TerminationTest::terminated`,
  /// and what a theory throws; the engine is then only fit for destruction.
  virtual bool solve(const LitVector& assumptions, bool keep_trail = false);
  bool solve() { return solve(LitVector()); }

  /// The value after the last satisfiable check; 2 for a variable younger than it.
  Value model_value(Var variable) const {
    return index(variable) < model_.size() ? model_[index(variable)] : kUndefined;
  }
  const LitVector& failed_assumptions() const { return failed_; }
  /// True if the clauses of the open backtrack points are known to be unsatisfiable.
  bool is_unsat() const { return unsat_base_ >= 0; }

  virtual void push_backtrack_point();
  /// Takes back all clauses and variables since the last push.
  virtual void pop_backtrack_point();
  std::size_t num_backtrack_points() const { return base_levels_.size(); }

  virtual void remove_clauses_containing(Lit literal);

  /// Undoes the assignments above a level.
  virtual void cancel_until(int level);

  int decision_level() const { return static_cast<int>(trail_lim_.size()); }
  Value value(Var variable) const { return values_[index(variable)]; }
  Value literal_value(Lit literal) const {
    return static_cast<Value>(values_[index(var_of(literal))] ^ (literal & 1));
  }
  bool is_true(Lit literal) const { return literal_value(literal) == kTrue; }
  bool is_false(Lit literal) const { return literal_value(literal) == kFalse; }
  bool is_undefined(Lit literal) const { return (literal_value(literal) & 2) != 0; }
  int level_of(Var variable) const { return info_[index(variable)].level; }

  const Statistics& statistics() const { return statistics_; }
  std::size_t num_clauses() const { return clauses_.size(); }
  std::size_t num_learnts() const { return learnts_.size(); }
  std::size_t memory() const { return arena_.bytes(); }
  /// The key and value lines of the engine's statistics.
  std::vector<std::pair<std::string, std::uint64_t>> statistics_table() const;
  /// The problem clauses and the facts of level 0.
  std::vector<std::vector<Lit>> problem_clauses() const;
  /// The learnt clauses as they stand, for tests of forgetting.
  const Vector<Clause*>& learnt_clauses() const { return learnts_; }
  /// The conflicts after which the current or next run restarts, under strategies 0 to 2.
  double restart_limit() const { return restart_limit_; }

  // What holds between two steps of the search, looked through as a whole (dpll_checks.cpp).

  /// Each clause stands in the lists of its first two literals, and nothing else does.
  bool watches_hold() const;
  /// Every assignment stands on the trail at its level, and its reason implied it there.
  bool reasons_hold() const;
  /// Every open decision variable can be picked, and no more active one stands below another.
  bool heap_holds() const;
  /// No problem clause lacks a true literal.
  bool model_holds() const;

  /// Term `i` of the restart series 1, 1, 2, 1, 1, 2, 4, ..., counted from 1.
  static std::uint64_t luby(std::uint64_t i);

 private:
  /// Where and why a variable was assigned; kept together, for it is written together.
  struct Assignment {
    Clause* reason = nullptr;   // null for decisions and facts
    std::int32_t level = -1;    // -1 when unassigned
    std::int32_t position = 0;  // on the trail
  };
  static_assert(sizeof(Assignment) == 16, "four to a cache line");
  static constexpr std::size_t kLoggedTermLength = 200;
  enum class SearchResult { SAT, UNSAT, RESTART };
  enum class LemmaResult { NOTHING, ADDED, UNSAT };

  static std::size_t index(std::int32_t number) { return static_cast<std::size_t>(number); }
  int num_base_levels() const { return static_cast<int>(base_levels_.size()); }
  bool base_levels_open() const { return decision_level() >= num_base_levels(); }

  // Search (dpll_search.cpp)
  void set_forgetting_limits();
  void start_restarts();
  void next_restart();
  bool restart_due(std::uint64_t run_conflicts) const;
  SearchResult search();
  bool examine_pending();
  bool open_base_levels(bool& assigned);
  LemmaResult theory_step(bool approx, std::uint64_t& run_conflicts);
  Clause* propagate();
  void assign(Lit literal, Clause* reason) {
    const Var v = var_of(literal);
    ORDAX_CHECK(is_undefined(literal));
    values_[index(v)] = static_cast<Value>(literal & 1);
    info_[index(v)].level = decision_level();
    info_[index(v)].reason = reason;
    info_[index(v)].position = static_cast<std::int32_t>(trail_.size());
    if (track_agility_) update_agility(v);
    trail_.push_back(literal);
  }
  void update_agility(Var v) {
    agility_ *= config_.agility_decay;
    if ((saved_phase_[index(v)] & 1) != values_[index(v)]) agility_ += 1 - config_.agility_decay;
  }
  void new_decision_level() { trail_lim_.push_back(static_cast<std::int32_t>(trail_.size())); }
  void decide(Lit literal) {
    new_decision_level();
    assign(literal, nullptr);
  }
  Lit pick_branching_literal();
  bool is_ghost(Var v);
  bool is_implied_ghost(Lit literal);
  std::uint64_t next_random();
  void save_phases(std::size_t from);
  virtual void save_model();
  void minimize_model();
  void mark_unsat(int base) {
    if (unsat_base_ < 0 || base < unsat_base_) unsat_base_ = base;
  }

  // Theories (dpll_lemmas.cpp)
  bool send_to_theory(bool at_check);
  Clause* take_theory_conflict();
  Clause* make_theory_conflict();
  bool propagate_theory();
  LemmaResult add_theory_lemmas();
  bool add_lemma(const LitVector& lemma, bool permanent, int& backjump_level);
  LemmaResult resolve_conflict_lemmas();
  void cover_by_label(LitVector& lemma) const;
  bool better_watch(Lit a, Lit b) const;
  void sort_for_watching(LitVector& literals) const;

  // Checks (dpll_checks.cpp)
  bool implies(const Lit* first, const Lit* last, Lit literal) const;
  bool is_reason(const Clause* clause) const;
  bool is_asserting(int conflict_level) const;
  bool removed_follow(const LitVector& before) const;
  std::size_t audit_cost() const { return 8 * (clauses_.size() + learnts_.size()) + trail_.size(); }

  // Conflicts (dpll_analyze.cpp)
  bool handle_conflict(Clause* conflict);
  void derive_clause(Clause* conflict, int level);
  void see_literals(const Lit* first, const Lit* last, Lit implied, int level, int& open_paths);
  void minimize_learnt();
  bool is_redundant(Lit literal, std::uint32_t level_mask);
  void minimize_with_binaries();
  std::uint32_t compute_lbd(const Lit* first, const Lit* last);
  void learn();
  void analyze_final(Lit assumption);
  const LitVector& explanation_of(Lit literal);
  void bump_variable(Var v);
  void bump_clause(Clause* clause);
  std::uint32_t level_bit(Lit literal) const {
    return 1U << (static_cast<unsigned>(info_[index(var_of(literal))].level) & 31U);
  }

  // Clauses (dpll_clause_db.cpp)
  Clause* make_clause(const LitVector& literals, bool learnt, bool boosted = false);
  void attach(Clause* clause);
  void detach(const Clause* clause);
  bool is_locked(const Clause* clause) const;
  bool is_satisfied(const Clause& clause) const;
  void add_pending(Clause* clause);
  void clear_pending();
  void reduce_learnts();
  void forget_if_due();
  bool simplify();
  bool preprocess_clauses();
  bool restore_eliminated(const LitVector& literals);
  void remove_satisfied(Vector<Clause*>& list);
  void remove_marked(Vector<Clause*>& list);
  void clear_level_zero_reasons();
  template <typename Test>
  void remove_clauses_if(Test&& test);

  bool logs(int level) const { return logger_.verbosity() >= level; }
  void log(int level, const std::string& text);
  std::string to_text(const Lit* first, const Lit* last) const;

  const Configuration& configuration_;
  const DpllConfiguration& config_;
  Logger& logger_;
  TheoryHook* hook_ = nullptr;
  SatPreprocessor* preprocessor_ = nullptr;
  TerminationTest* termination_ = nullptr;

  // By variable.
  Vector<Value> values_;
  Vector<Value> saved_phase_;      // 0, 1, or 4 for an invalidated entry
  Vector<Value> preferred_phase_;  // 2 for none
  Vector<Assignment> info_;
  Vector<double> activity_;
  Vector<std::uint8_t> decision_;
  Vector<std::uint8_t> seen_;
  Vector<std::uint8_t> frozen_;
  Vector<std::uint8_t> is_theory_atom_;
  Vector<TermRef> terms_;
  Vector<Var> variable_of_;             // by term id
  std::vector<Vector<Watch>> watches_;  // by the literal that was falsified: clauses watching it
  OrderHeap heap_;
  Vector<Var> preferred_;

  Trail trail_;
  Vector<std::int32_t> trail_lim_;
  std::size_t head_ = 0;
  // How far the theories have seen the trail, and how many of its levels they have opened. Levels
  // are opened for them only when a literal beyond the level's start is sent, so that literals of
  // level 0 are never told inside a level.
  std::size_t sent_ = 0;
  int theory_level_ = 0;

  ClauseArena arena_;
  Clause* marker_;  // the reason that stands for an explanation on demand
  std::uint32_t next_clause_id_ = 0;
  Vector<Clause*> clauses_;
  Vector<Clause*> learnts_;
  Vector<Clause*> pending_;
  Vector<Clause*> conflict_lemmas_;
  Clause* theory_conflict_ = nullptr;  // from an implied literal that is false
  struct TheoryReason {
    std::int32_t position;
    Clause* clause;
  };
  Vector<TheoryReason> theory_reasons_;  // reasons held only by the trail, in its order

  LitVector assumptions_;
  LitVector failed_;
  LitVector base_levels_;
  int unsat_base_ = -1;  // backtrack points needed for unsatisfiability, or -1
  std::vector<Value> model_;

  std::uint64_t conflict_limit_ = 0;
  std::uint64_t last_conflict_ = UINT64_MAX;  // the count at which this check ends

  double var_inc_ = 1.0;
  double cla_inc_ = 1.0;
  double agility_ = 0.0;
  bool track_agility_ = false;
  std::uint64_t random_state_;

  std::uint64_t reduce_count_ = 1;
  std::uint64_t reduce_interval_ = 20000;
  std::uint64_t reduce_increment_ = 500;
  double learnt_limit_ = 0;
  std::uint64_t last_forgetting_ = UINT64_MAX;  // conflicts at the last forgetting

  double restart_limit_ = 0;
  std::uint64_t luby_index_ = 1;
  double luby_unit_ = 0;
  static constexpr std::size_t kRingSize = 100;
  Vector<std::uint32_t> lbd_ring_;
  std::size_t ring_next_ = 0;
  std::uint64_t ring_sum_ = 0;
  std::uint64_t lbd_sum_ = 0;

  std::size_t simplified_facts_ = 0;
  std::int64_t simplify_budget_ = 0;
  bool preprocessed_ = false;

  // Scratch.
  LitVector learnt_clause_;
  LitVector to_clear_;
  LitVector redundant_stack_;
  Vector<Var> resolved_;  // of the conflict level, met by the last analysis
  LitVector explanation_;
  LitVector lemma_;
  Vector<std::uint32_t> level_stamp_;
  std::uint32_t stamp_ = 0;
  Vector<Var> ghosts_;  // passed over by branching, to come back to the heap
  std::vector<Vector<const Clause*>> occurrences_;  // of theory atoms, for the ghost test
  std::uint32_t occurrences_version_ = 0;
  std::size_t occurrences_count_ = 0;
  Audit search_audit_;
  Audit analysis_audit_;
  Statistics statistics_;
};

// Detaches and releases what `test` accepts, with one pass over the watch lists.
template <typename Test>
void DpllSolver::remove_clauses_if(Test&& test) {
  Vector<Clause*> removed;
  for (Vector<Clause*>* list : {&clauses_, &learnts_}) {
    std::size_t kept = 0;
    for (Clause* clause : *list) {
      if (test(*clause)) {
        removed.push_back(clause);
      } else {
        (*list)[kept++] = clause;
      }
    }
    list->shrink(kept);
  }
  remove_marked(removed);
}

}  // namespace ordax
