#pragma once

#include <vector>

#include "solver/la/la_solver.h"

namespace ordax::la {

/// Deduces literals from bounds.
///
/// An atom is "variable <= limit"; its negation is "variable >= the next value above the limit".
/// Per variable the atoms are sorted by limit, and two cursors tell which of them the current
/// bounds decide: those below `low` are false, those from `high` on are true. A new bound moves a
/// cursor over the atoms that it implies, so that all of this is amortised constant per atom.
/// Further bounds are deduced from the sums that define slacks, and from rows of the tableau.
class BoundAtoms {
 public:
  explicit BoundAtoms(Solver& solver) : solver_(solver) {}
  BoundAtoms(const BoundAtoms&) = delete;
  BoundAtoms& operator=(const BoundAtoms&) = delete;

  /// `literal` stands for "v <= limit".
  void add_atom(LaVar v, const BoundValue& limit, Lit literal);
  /// Forgets the atoms of Boolean variables from `first` on; no bound is told.
  void remove_atoms(Var first);
  /// Forgets the variables from `count` on, which have no atoms, before the simplex takes them
  /// back.
  void forget_variables(std::size_t count);
  std::size_t num_atoms() const { return num_atoms_; }

  /// The least value above a limit on a variable.
  BoundValue next_above(LaVar v, BoundValue limit) const {
    limit += solver_.is_int(v) ? BoundValue(1) : BoundValue(0, 1);
    return limit;
  }

  /// Deduces what follows from the bounds that changed since the last call. False if two bounds
  /// cross, which are then in `crossing`.
  bool deduce(bool with_rows);
  void set_termination_test(TerminationTest* test) { stop_.set(test); }
  BoundIndex crossing(int i) const { return crossing_[i]; }

  void push();
  void pop_to(std::size_t level);
  void pop_all();

  /// Takes the next literal that a bound implies.
  bool next_implied(Lit& literal, BoundIndex& reason);
  /// Appends the literals behind bounds, each once.
  void explain(const BoundIndex* first, const BoundIndex* last, LitVector& literals);

  /// The atoms are sorted, and the cursors claim no more than the bounds imply (la_checks.cpp).
  bool cursors_hold() const;

  std::uint64_t num_deduced() const { return num_deduced_; }

 private:
  struct Atom {
    BoundValue limit;
    Lit literal;
  };
  struct AtomList {
    std::vector<Atom> atoms;
    std::int32_t low = 0;
    std::int32_t high = 0;
    bool in_queue = false;
    Vector<std::int32_t> definitions;  // the sums that hold the variable
  };
  struct CursorChange {
    LaVar var;
    std::int32_t low;
    std::int32_t high;
  };
  struct Implied {
    Lit literal;
    BoundIndex reason;
  };
  struct LevelMark {
    std::size_t cursors;
    std::size_t implied;
    std::size_t antecedents;
  };
  struct Summand {
    LaVar var;
    std::int32_t sign;  // of the coefficient
    bool is_unit;       // 1 or -1
    const Number* coefficient;
  };
  using Sum = Vector<Summand>;

  static constexpr std::size_t kMaxRowLength = 10;

  static std::size_t index(std::int32_t i) { return static_cast<std::size_t>(i); }
  void know_definitions();
  void advance(LaVar v);
  void enqueue(LaVar v);
  bool passes_atom(LaVar v, int side, const BoundValue& value) const;
  bool is_useful(LaVar v, int side, const BoundValue& value) const;
  bool propagate_tableau_row(std::int32_t row);
  static Summand summand(LaVar v, const Number& coefficient) {
    const bool is_unit = coefficient.is_one() || coefficient.is_minus_one();
    return {v, coefficient.sign(), is_unit, &coefficient};
  }
  static void add_value(BoundValue& total, const Summand& s, const BoundValue& value) {
    if (!s.is_unit) {
      total.addmul(*s.coefficient, value);
    } else if (s.sign > 0) {
      total += value;
    } else {
      total -= value;
    }
  }
  bool propagate_sum(const Sum& sum);
  bool propagate_side(const Sum& sum, bool minimum);
  bool derive(const Sum& sum, std::size_t i, bool minimum, BoundValue rest);

  Solver& solver_;
  std::vector<AtomList> lists_;
  std::size_t num_atoms_ = 0;
  const Number minus_one_{-1};

  std::vector<CursorChange> cursor_trail_;
  std::vector<Implied> implied_;
  std::size_t next_implied_ = 0;
  Vector<BoundIndex> antecedents_;  // a count, then so many bounds
  std::vector<LevelMark> level_marks_;

  Vector<LaVar> queue_;
  std::vector<Sum> definitions_;  // each with its slack: the sum is 0
  Sum row_;
  BoundIndex crossing_[2] = {0, 0};
  Vector<std::uint64_t> row_stamp_;
  Vector<std::uint64_t> bound_stamp_;
  std::uint64_t stamp_ = 0;
  Vector<BoundIndex> stack_;
  std::uint64_t num_deduced_ = 0;
  Audit audit_;
  StopPoint stop_;
};

}  // namespace ordax::la
