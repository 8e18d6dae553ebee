#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "solver/base/configuration.h"
#include "solver/base/logger.h"
#include "solver/base/termination.h"
#include "solver/preprocessing/rewrite_step.h"
#include "solver/terms/eliminated_terms.h"
#include "solver/terms/linear_form.h"
#include "solver/terms/term_manager.h"
#include "solver/terms/term_walk.h"

namespace ordax {

/// Replaces variables that a top-level conjunct defines, round by round until nothing new is found.
///
/// Invariant: the table is acyclic (following replacements through replacements ends), and a
/// replacement's type is a subtype of the variable's. A variable that the engines know already
/// keeps its defining fact as a conjunct; only a variable new to them loses it. What is found
/// behind a push is forgotten at its pop.
class ToplevelPropagator : public EliminatedTerms {
 public:
  /// A pair offered by a checker; `replacement` is null if the conjunct does not fit.
  struct Substitution {
    TermRef variable = nullptr;
    TermRef replacement = nullptr;
  };

  /// Reads a substitution off one conjunct.
  class subst_check_fun {
   public:
    virtual ~subst_check_fun() = default;
    virtual Substitution check(TermRef conjunct, const ToplevelPropagator& owner) = 0;
  };

  ToplevelPropagator(TermManager& terms, Logger& logger);
  ~ToplevelPropagator() override;

  void set_termination_test(TerminationTest* test) { termination_ = test; }

  /// The formula without the variables that it defines at its top. `limit` bounds the rounds, 0 is
  /// no bound.
  TermRef rewrite(TermRef formula, int limit);
  /// Applies the table of all open levels.
  TermRef apply(TermRef formula);

  /// Notes the variables of a term that goes to the engines.
  void note_in_engine(TermRef formula);

  void push();
  void pop();

  TermRef replacement(TermRef term) const override;
  bool is_replaceable(TermRef term) const;
  bool is_in_engine(TermRef variable) const { return in_engine_.contains(variable); }
  /// How often the variable stands in the conjuncts of this round.
  std::uint32_t occurrences(TermRef variable) const;  // counted on the first question
  std::size_t num_substitutions() const { return substituted_.size(); }

 private:
  class ToplevelpropRewriteStep;

  bool split(const std::vector<TermRef>& formulas);
  bool find_candidates();
  void drop_cycles();
  void explore(TermRef root);
  bool substitute();
  void count_occurrences() const;
  TermRef fact_of(TermRef variable);

  struct Candidate {
    TermRef variable;
    TermRef replacement;
    std::size_t conjunct;
  };
  struct Level {
    std::size_t substituted;
    std::size_t in_engine;
  };

  TermManager& terms_;
  Logger& logger_;
  TerminationTest* termination_ = nullptr;
  std::vector<std::unique_ptr<subst_check_fun>> checkers_;
  std::unique_ptr<ToplevelpropRewriteStep> step_;

  TermMap<TermRef> table_;
  std::vector<TermRef> substituted_;  // in the order in which they entered the table
  TermSet in_engine_;
  std::vector<TermRef> engine_variables_;
  std::vector<Level> levels_;

  // Of one run.
  std::vector<TermRef> conjuncts_;
  std::vector<TermRef> kept_;  // replaced variables whose fact stays
  std::vector<Candidate> candidates_;
  TermMap<std::uint8_t> color_;
  mutable bool counted_ = false;
  mutable TermMap<std::uint32_t> occurrences_;
  mutable TermSet seen_;
  mutable std::vector<TermRef> stack_;
};

}  // namespace ordax
