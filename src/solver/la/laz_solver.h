#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "solver/base/configuration.h"
#include "solver/la/diophantine.h"
#include "solver/la/la_solver.h"
#include "solver/la/linear_term_mapper.h"
#include "solver/terms/term_manager.h"
#include "solver/theory/theory_solver.h"

namespace ordax::laz {

using la::BoundIndex;
using la::BoundValue;
using la::Diophantine;
using la::LaVar;

/// Integer reasoning on top of the rational solver. A check starts at a feasible rational point,
/// and leaves one, unless it answers with a conflict.
class Solver {
 public:
  enum class Result {
    MODEL,     ///< every integer variable has an integer value
    CONFLICT,  ///< `conflict` has no integer solution
    LEMMA,     ///< the engine has to branch on `lemma`
  };

  struct Statistics {
    std::uint64_t equational_conflicts = 0;
    std::uint64_t tightening_conflicts = 0;
    std::uint64_t internal_calls = 0;
    std::uint64_t internal_timeouts = 0;
    std::uint64_t internal_conflicts = 0;
    std::uint64_t internal_branches = 0;
    std::uint64_t normal_lemmas = 0;
    std::uint64_t extended_lemmas = 0;
  };

  /// Everything is borrowed. `is_known` tells whether a term is an atom of the engine already.
  Solver(la::Solver& rational, const la::LinearTermMapper& mapper, TermManager& terms,
         const LaConfiguration& configuration, Logger& logger,
         std::function<bool(TermRef)> is_known);

  void set_termination_test(TerminationTest* test) { stop_.set(test); }
  /// Forgets the variables from `count` on.
  void forget_variables(std::size_t count);
  /// Begins a check of the engine: the limits on lemmas count from here.
  void start_check();
  Result check();
  const Vector<BoundIndex>& conflict() const { return conflict_; }
  const TermLemma& lemma() const { return lemma_; }
  const Statistics& statistics() const { return statistics_; }

 private:
  struct BBFrame {
    LaVar var;
    Number floor;
    bool right;                        // the left side is closed
    std::vector<BoundIndex> bounds;    // of the closed left side's proof, without frames
    std::vector<std::int32_t> frames;  // the frames below that it needs
  };
  enum class Search { MODEL, CONFLICT, LIMIT };

  static std::size_t index(std::int32_t i) { return static_cast<std::size_t>(i); }
  bool logs() const { return logger_.verbosity() >= 4; }
  void log(const std::string& text) const;
  std::string text_of(const Diophantine::Sum& sum) const;
  bool is_integral(LaVar v) const { return rational_.value(v).is_integer(); }
  bool all_integral() const;
  /// A non-integral integer variable: the one with the smallest domain, then the smallest number.
  LaVar pick_branch_variable() const;
  bool unit_cube_test();
  enum class Elimination { UNDECIDED, MODEL, CONFLICT };
  Elimination eliminate_equalities();
  bool try_rounded_solution(const Diophantine& equations);
  bool tighten(const Diophantine& equations, LaVar slack);
  Diophantine::Form form_of(LaVar v) const;
  void explain_proof(const Diophantine::Proof& proof);
  Search branch_and_bound();
  Search search_branches();
  void suspend_redundant();
  void resume_suspended();
  bool close_branches();
  bool open_side(const BBFrame& frame);
  std::size_t branch_limit() const;
  void build_lemma();
  void build_plain_lemma();
  bool build_extended_lemma();
  bool build_split(const Diophantine::Sum& sum, const Number& at_most, bool only_new);
  TermRef sum_term(const Diophantine::Sum& sum);

  la::Solver& rational_;
  const la::LinearTermMapper& mapper_;
  TermManager& terms_;
  const LaConfiguration& configuration_;
  Logger& logger_;
  std::function<bool(TermRef)> is_known_;

  std::vector<LaVar> integers_;  // the problem variables of type Int
  std::size_t known_variables_ = 0;
  std::optional<Diophantine> equations_;  // of the last elimination
  struct Suspended {
    LaVar var;
    int side;
    BoundIndex bound;
  };
  std::vector<Suspended> suspended_;
  std::vector<BBFrame> frames_;
  std::size_t base_level_ = 0;
  std::vector<BoundIndex> proof_bounds_;
  std::vector<std::int32_t> proof_frames_;
  Vector<BoundIndex> conflict_;
  TermLemma lemma_;
  std::uint64_t num_lemmas_ = 0;  // of this check of the engine, as the next one
  std::uint64_t num_unbounded_splits_ = 0;
  Statistics statistics_;
  StopPoint stop_;
};

}  // namespace ordax::laz
