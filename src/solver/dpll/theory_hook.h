#pragma once

#include "solver/dpll/literal.h"
#include "solver/terms/term.h"

namespace ordax {

/// What the engine knows of the theories. An engine without a hook is a plain SAT solver.
///
/// The theory sees the trail in order, with its own decision levels: the engine opens a theory
/// level only when the first literal that it sends crosses into it.
class TheoryHook {
 public:
  enum class Implied {
    NONE,         ///< nothing is implied
    LAZY,         ///< a literal without its reason: `explain` gives it on demand
    WITH_CLAUSE,  ///< a literal with its reason
  };

  virtual ~TheoryHook() = default;

  /// A new Boolean variable stands for `atom`. Returns true if a theory owns the atom, so that its
  /// assignments are to be sent.
  virtual bool tell_atom(Var variable, const Term* atom) = 0;

  /// Forgets every atom of a variable from `first` on. Nothing is assumed at this time.
  virtual void forget_atoms(Var first) = 0;

  virtual void new_decision_level() = 0;

  /// Undoes what was assumed above `level`; -1 also undoes what was assumed outside of all levels.
  virtual void backtrack(int level) = 0;

  /// Hands over an assigned literal; false if that is a conflict at once.
  virtual bool assume(Lit literal, bool at_check) = 0;

  /// Checks what has been assumed; false on a conflict. An approximate check may overlook one.
  virtual bool check(bool approx) = 0;

  virtual bool has_conflict() const = 0;

  /// Writes the clause that the conflict falsifies. An empty clause is a contradiction by itself.
  virtual void get_conflict_clause(LitVector& clause) = 0;

  /// Takes the next implied literal; for `WITH_CLAUSE` the clause starts with it.
  virtual Implied next_implied_literal(Lit& literal, LitVector& clause) = 0;

  /// Writes the reason of a literal that was implied lazily; the clause starts with it, and the
  /// others were assumed before it was taken.
  virtual void explain(Lit literal, LitVector& clause) = 0;

  virtual bool has_lemma() const = 0;
  virtual void next_lemma(LitVector& clause, bool& is_permanent, bool& trackable) = 0;

  /// The last step at a full assignment; a level to go back to, or -1.
  virtual int final_check() = 0;

  /// Fixes the values of the theory variables; called at a full, checked assignment.
  virtual void compute_models() = 0;

  /// True if the atom of the literal is filtered, so that the engine need not decide it.
  virtual bool is_filtered(Lit literal) const = 0;
};

}  // namespace ordax
