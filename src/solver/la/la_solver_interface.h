#pragma once

#include <memory>
#include <vector>

#include "solver/base/configuration.h"
#include "solver/la/bound_atoms.h"
#include "solver/la/la_solver.h"
#include "solver/la/laz_solver.h"
#include "solver/la/linear_term_mapper.h"
#include "solver/terms/polarity_store.h"
#include "solver/terms/term_manager.h"
#include "solver/theory/theory_solver.h"

namespace ordax {

/// The theory solver for linear arithmetic: maps atoms to bounds on the variables of the simplex.
///
/// An equality atom is split, when it is told, by permanent lemmas into two inequalities, so that
/// its own literal never reaches the simplex. Over the reals that depends on
/// `theory.la.split_rat_eq`.
class LaSolverInterface : public TheorySolver {
 public:
  /// Everything is borrowed and outlives the solver.
  LaSolverInterface(const Configuration& configuration, Logger& logger, TermManager& terms,
                    const PolarityStore& polarities);

  void set_termination_test(TerminationTest* test) {
    solver_.set_termination_test(test);
    atoms_.set_termination_test(test);
    integers_.set_termination_test(test);
  }

  /// Looks at the relations of the first formula for a common denominator of their constants, so
  /// that decimal times run on integers; later calls do nothing.
  void choose_scale(const std::vector<TermRef>& relations);
  bool has_variables() const { return solver_.num_variables() > 1; }

  /// Begins a check of the engine.
  void start_check() { integers_.start_check(); }

  std::string name() const override { return "LA"; }
  bool tell_atom(Var variable, TermRef atom) override;
  void retract_atoms(Var first) override;
  bool assume(Lit literal) override;
  bool check(bool approx) override;
  void new_decision_level() override;
  void backtrack(int level) override;
  void get_conflict(LitVector& literals) override;
  bool next_implied_literal(Lit& literal) override;
  bool accept_implied_literal(Lit literal, LitVector& reason) override;
  void explain_last_implied(LitVector& reason) override;
  void explain(Lit literal, LitVector& reason) override;
  bool has_lemma() const override { return !lemmas_.empty(); }
  void get_lemmas(std::vector<TermLemma>& lemmas) override;
  void build_model() override;
  bool get_model_value(TermRef term, Number& value) override;
  bool validate_model() override { return solver_.model_holds(); }
  void polarities_changed() override;

  /// The key and value lines of the solver's statistics.
  std::vector<std::pair<std::string, std::uint64_t>> statistics_table() const;

  const la::Solver& solver() const { return solver_; }

 private:
  struct Constraint {
    enum Kind : std::uint8_t { NONE, BOUND, EQUALITY };

    la::BoundValue limit;  // BOUND: the literal stands for var <= limit, EQUALITY: for var = limit
    la::BoundValue above;  // BOUND: the least value above the limit
    la::LaVar var = 0;
    Lit literal = kNoLit;
    TermRef atom = nullptr;
    Kind kind = NONE;
    std::size_t variables_before = 0;  // of the simplex, when the atom was told
  };
  struct SplitEquality {
    Var variable;
    TermRef atom;
  };

  static std::size_t index(std::int32_t i) { return static_cast<std::size_t>(i); }
  bool tell_inequality(Constraint& constraint, Var variable,
                       const la::LinearTermMapper::Mapped& sum);
  bool tell_equality(Constraint& constraint, Var variable, const la::LinearTermMapper::Mapped& sum);
  void split_equality(Var variable, TermRef atom);
  void add_completing_lemma(TermRef atom);
  void add_lemma(std::vector<TermRef> literals);
  bool is_filtered_equality(TermRef atom) const;
  bool lost_a_side(TermRef equality);
  bool check_integers();
  bool split_violated_disequalities();
  bool is_contradiction(const LitVector& literals) const;
  bool justifies(const LitVector& reason, std::size_t from, Lit implied) const;

  const LaConfiguration& config_;
  Logger& logger_;
  TermManager& terms_;
  const PolarityStore& polarities_;

  la::Solver solver_;
  la::LinearTermMapper mapper_;
  la::BoundAtoms atoms_;
  laz::Solver integers_;
  bool has_integers_ = false;

  Lineariser lineariser_;
  LinearForm form_;
  std::vector<Constraint> constraints_;  // by Boolean variable
  TermSet told_;
  std::vector<SplitEquality> splits_;
  std::vector<SplitEquality> filtered_;  // those whose completing lemma is not needed yet
  std::vector<TermLemma> lemmas_;

  LitVector conflict_;
  la::BoundIndex last_implied_ = 0;
  Vector<la::BoundIndex> implied_by_;  // by Boolean variable
};

}  // namespace ordax
