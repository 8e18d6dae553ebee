#pragma once

#include <vector>

#include "solver/base/check.h"
#include "solver/base/logger.h"
#include "solver/base/termination.h"
#include "solver/base/vector.h"
#include "solver/dpll/literal.h"
#include "solver/la/bound_value.h"
#include "solver/la/tableau.h"

namespace ordax::la {

/// Number of a bound in the order of telling; 0 stands for no bound.
using BoundIndex = std::int32_t;

/// One lower or upper bound of a variable. Asserted bounds are those of the simplex; deduced ones
/// serve only to deduce further bounds and literals.
struct Bound {
  enum Kind : std::uint8_t { LITERAL, DEDUCED, FRAME, PERMANENT };

  BoundValue value;
  LaVar var;
  BoundIndex previous_asserted;  // what this bound replaced, on its side
  BoundIndex previous_deduced;
  /// A literal; for DEDUCED the place of its antecedents; for FRAME the number of a temporary
  /// bound.
  std::int32_t reason;
  Kind kind;
  bool upper;
};

/// Decides conjunctions of bounds over the rationals by the general simplex method (Dutertre and de
/// Moura, CAV 2006). Variables are dense numbers from 1.
///
/// Invariant between calls: every row holds for the current values, and every nonbasic variable
/// that is not in the list of touched ones is within its asserted bounds. So undoing bounds needs
/// no old values.
class Solver {
 public:
  static constexpr int kLower = 0;
  static constexpr int kUpper = 1;

  explicit Solver(Logger& logger, int greedy_threshold);
  Solver(const Solver&) = delete;
  Solver& operator=(const Solver&) = delete;

  void set_termination_test(TerminationTest* test) { termination_ = test; }

  LaVar new_variable(bool is_int);
  /// A variable that equals the sum of at least two others, which are not slacks themselves.
  LaVar new_slack(const std::vector<Tableau::Summand>& sum, bool is_int);

  /// Takes back the youngest variables, so that `count` are left. No bounds are told.
  void remove_variables(std::size_t count);

  std::size_t num_variables() const { return vars_.size(); }
  bool is_int(LaVar v) const { return vars_[index(v)].is_int; }
  bool is_slack(LaVar v) const { return vars_[index(v)].definition >= 0; }
  /// The sums that define the slacks, and the slack of each.
  std::size_t num_definitions() const { return definitions_.size(); }
  const std::vector<Tableau::Summand>& definition(std::size_t i) const {
    return definitions_[i].sum;
  }
  LaVar slack_of(std::size_t i) const { return definitions_[i].slack; }
  std::int32_t definition_of(LaVar v) const { return vars_[index(v)].definition; }

  /// Tells a bound; false if it crosses the opposite one, which is then the conflict. A bound that
  /// is no tighter than the current one is dropped. `constraint` is the literal behind the bound.
  bool assert_upper(Lit constraint, LaVar v, const BoundValue& value) {
    return assert_bound(v, kUpper, value, Bound::LITERAL, constraint);
  }
  bool assert_lower(Lit constraint, LaVar v, const BoundValue& value) {
    return assert_bound(v, kLower, value, Bound::LITERAL, constraint);
  }
  bool assert_bound(LaVar v, int side, const BoundValue& value, Bound::Kind kind,
                    std::int32_t reason);
  void assert_disequality(Lit constraint, LaVar v, const Number& value);
  /// Adds a bound that follows from others, for deduction only; no check that it is tighter.
  BoundIndex push_deduced(LaVar v, int side, const BoundValue& value, std::int32_t reason);

  void push();
  /// Undoes the bounds of the levels from `level` on.
  void pop_to(std::size_t level);
  /// Undoes everything.
  void pop_all();
  std::size_t num_levels() const { return level_marks_.size(); }

  /// Makes the bounds hold; false on a conflict.
  bool check();
  /// After a successful check, moves the values off the told disequalities; false on a conflict.
  bool check_disequalities();

  /// The asserted bounds that contradict one another after a failure, without temporary ones.
  const Vector<BoundIndex>& conflict() const { return conflict_; }
  /// Further literals of the conflict: disequalities.
  const LitVector& conflict_literals() const { return conflict_literals_; }

  const Bound& bound(BoundIndex i) const { return bounds_[index(i)]; }
  std::size_t num_bounds() const { return bounds_.size(); }
  BoundIndex asserted(LaVar v, int side) const { return vars_[index(v)].asserted[side]; }
  BoundIndex deduced(LaVar v, int side) const { return vars_[index(v)].deduced[side]; }
  bool is_fixed(LaVar v) const;
  const BoundValue& value(LaVar v) const { return vars_[index(v)].value; }
  const Tableau& tableau() const { return tableau_; }

  /// Variables that have a new bound since the list was last cleared, each once.
  const Vector<LaVar>& changed() const { return changed_; }
  void clear_changed();

  /// Takes a bound away until it is given back; meanwhile nothing is told on that side of `v`, and
  /// no level is left that was there before.
  BoundIndex suspend_bound(LaVar v, int side) {
    const BoundIndex bound = vars_[index(v)].asserted[side];
    vars_[index(v)].asserted[side] = 0;
    return bound;
  }
  void resume_bound(LaVar v, int side, BoundIndex bound) {
    vars_[index(v)].asserted[side] = bound;
    touch(v);
  }

  /// Replaces the values by ones that satisfy all rows; nothing is told of bounds.
  std::vector<BoundValue> save_values() const;
  void restore_values(const std::vector<BoundValue>& values);
  /// Sets the values of the variables that are not slacks, and computes the others.
  void set_values(const std::vector<BoundValue>& values);
  /// True if every asserted bound and disequality holds for the current values.
  bool values_hold() const;

  /// Fixes a rational value for every variable, with a positive number for epsilon: `largest`, or
  /// the first of its halves, quarters and so on that serves.
  void build_model(const Number& largest = Number(1));
  bool has_model_value(LaVar v) const { return index(v) < model_.size(); }
  const Number& model_value(LaVar v) const { return model_[index(v)]; }
  /// True if the rational values satisfy every told bound and disequality.
  bool model_holds() const;

  // What holds between calls, looked through as a whole (la_checks.cpp).

  /// Rows and definitions hold for the values, and violated bounds are noted.
  bool state_holds() const;
  /// True if every asserted bound holds for the current values.
  bool bounds_hold() const;

  std::uint64_t num_checks() const { return num_checks_; }

 private:
  struct Variable {
    BoundValue value;
    BoundIndex asserted[2] = {0, 0};
    BoundIndex deduced[2] = {0, 0};
    std::int32_t definition = -1;
    bool is_int = false;
    bool is_violated = false;  // is in violated_vars_
    bool is_touched = false;
    bool is_changed = false;
  };
  struct Definition {
    LaVar slack;
    std::vector<Tableau::Summand> sum;
  };
  struct Disequality {
    LaVar var;
    BoundValue value;
    Lit literal;
  };
  struct LevelMark {
    std::size_t bounds;
    std::size_t disequalities;
  };

  static std::size_t index(std::int32_t i) { return static_cast<std::size_t>(i); }
  bool below_lower(const Variable& x) const {
    return x.asserted[kLower] != 0 && x.value < bounds_[index(x.asserted[kLower])].value;
  }
  bool above_upper(const Variable& x) const {
    return x.asserted[kUpper] != 0 && x.value > bounds_[index(x.asserted[kUpper])].value;
  }
  void mark_changed(LaVar v);
  void touch(LaVar v);
  void note_if_violated(LaVar v);
  void apply_touched();
  void move_off_violations();
  void move_within_bounds(LaVar basic);
  void move_nonbasic(LaVar v, const BoundValue& target);
  LaVar pick_leaving(bool greedy);
  std::int32_t pick_entering(LaVar leaving, bool raise, bool greedy) const;
  bool can_move(const RowEntry& entry, bool raise) const;
  void explain_row(LaVar basic, bool raise, Vector<BoundIndex>& out) const;
  void choose_shortest_conflict(LaVar found);
  void pivot_and_move(std::int32_t row, std::int32_t position, const BoundValue& target);
  bool is_row_conflict(LaVar basic, bool raise) const;
  bool audit_due() { return audit_.due(tableau_.num_entries() + vars_.size()); }
  bool avoid_violated_disequality(std::size_t i);
  void repair_disequalities();
  bool disequality_holds(const Disequality& d) const {
    return !(vars_[index(d.var)].value == d.value);
  }
  Number choose_epsilon(const Number& largest) const;

  Logger& logger_;
  TerminationTest* termination_ = nullptr;
  int greedy_threshold_;
  Tableau tableau_;
  std::vector<Variable> vars_;
  std::vector<Definition> definitions_;
  std::size_t num_problem_vars_ = 0;

  std::vector<Bound> bounds_;
  std::vector<Disequality> disequalities_;
  std::vector<LevelMark> level_marks_;
  Vector<LaVar> touched_;
  Vector<LaVar> changed_;
  Vector<LaVar> violated_vars_;  // sorted; a superset of the basic variables out of bounds

  Vector<BoundIndex> conflict_;
  LitVector conflict_literals_;
  Vector<BoundIndex> scratch_;
  std::vector<Number> model_;
  std::uint64_t num_checks_ = 0;
  Audit audit_;
};

}  // namespace ordax::la
