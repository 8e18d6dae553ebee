#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "solver/base/configuration.h"
#include "solver/base/logger.h"
#include "solver/base/termination.h"
#include "solver/dpll/dpll_solver.h"
#include "solver/dpll/theory_hook.h"
#include "solver/terms/polarity_store.h"
#include "solver/theory/interface_equalities.h"
#include "solver/theory/theory_solver.h"

namespace ordax {

/// Stands between the engine and the theory solvers: knows who owns which atom, hands assignments
/// over, and collects conflicts, implied literals and lemmas.
class TheoryManager : public TheoryHook {
 public:
  class error : public Exception {
   public:
    using Exception::Exception;
  };

  /// Everything is borrowed and outlives the manager. The engine still has to be given this hook.
  TheoryManager(const Configuration& configuration, Logger& logger, DpllSolver& engine,
                const PolarityStore& polarities);

  void set_termination_test(TerminationTest* test) { termination_ = test; }

  /// Adds a solver behind those that are there; the first one is the equality solver.
  void add_solver(std::unique_ptr<TheorySolver> solver, bool enabled);
  std::size_t num_solvers() const { return solvers_.size(); }
  TheorySolver& solver(std::size_t i) { return *solvers_[i]; }

  /// The value of a non-Boolean variable in the current theory models; false if nobody knows it.
  bool get_model_value(TermRef term, Number& value);
  /// Each solver's own check of its model.
  bool validate_models();

  /// To be called after the polarity store has grown, before a check.
  void polarities_changed();

  bool tell_atom(Var variable, TermRef atom) override;
  void forget_atoms(Var first) override;
  void new_decision_level() override;
  void backtrack(int level) override;
  bool assume(Lit literal, bool at_check) override;
  bool check(bool approx) override;
  bool has_conflict() const override { return conflict_solver_ >= 0; }
  void get_conflict_clause(LitVector& clause) override;
  Implied next_implied_literal(Lit& literal, LitVector& clause) override;
  void explain(Lit literal, LitVector& clause) override;
  bool has_lemma() const override;
  void next_lemma(LitVector& clause, bool& is_permanent, bool& trackable) override;
  int final_check() override;
  void compute_models() override;
  bool is_filtered(Lit literal) const override;

  struct Counters {
    std::uint64_t approximate_checks = 0;
    std::uint64_t complete_checks = 0;
    std::uint64_t conflicts = 0;
  };
  const Counters& counters(std::size_t solver) const { return counters_[solver]; }

 private:
  static std::size_t index(std::int32_t i) { return static_cast<std::size_t>(i); }
  void collect_lemmas();
  void dump_lemma(const TermLemma& lemma);
  Lit literal_of(TermRef term);
  void fail(std::size_t solver);

  const Configuration& configuration_;
  Logger& logger_;
  DpllSolver& engine_;
  const PolarityStore& polarities_;
  TerminationTest* termination_ = nullptr;

  std::vector<std::unique_ptr<TheorySolver>> solvers_;
  std::vector<std::uint8_t> enabled_;
  std::vector<Counters> counters_;
  int conflict_solver_ = -1;
  Vector<std::uint32_t> owners_;      // by variable: a bit per solver
  Vector<std::int8_t> implied_by_;    // by variable: the solver of its last implication
  Vector<std::uint8_t> lemma_signs_;  // by variable: the polarities that lemmas have of it
  LitVector reason_;
  std::vector<TermLemma> lemmas_;
  std::size_t next_lemma_ = 0;
  InterfaceEqualities interface_equalities_;
  int num_dumped_lemmas_ = 0;
};

}  // namespace ordax
