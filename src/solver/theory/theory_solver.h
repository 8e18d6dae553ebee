#pragma once

#include <string>
#include <vector>

#include "solver/base/exception.h"
#include "solver/dpll/literal.h"
#include "solver/terms/number.h"
#include "solver/terms/term.h"

namespace ordax {

/// A lemma of a theory: a clause of Boolean terms, valid in the theory.
struct TermLemma {
  std::vector<TermRef> literals;
  bool is_permanent = false;
};

/// One theory behind the `TheoryManager`. Literals are those of the engine; a solver is only sent
/// literals of atoms that it owns.
class TheorySolver {
 public:
  class error : public Exception {
   public:
    using Exception::Exception;
  };

  virtual ~TheorySolver() = default;

  virtual std::string name() const = 0;

  /// A new atom; true if this solver owns it. May leave lemmas behind.
  virtual bool tell_atom(Var variable, TermRef atom) = 0;
  /// Forgets the atoms of all variables from `first` on. Nothing is assumed at this time.
  virtual void retract_atoms(Var first);

  /// Tells an assigned literal; false on a conflict.
  virtual bool assume(Lit literal) = 0;
  /// False on a conflict. An approximate check may overlook one.
  virtual bool check(bool approx) = 0;
  virtual void new_decision_level() = 0;
  /// Undoes what was assumed above `level`; -1 undoes everything.
  virtual void backtrack(int level) = 0;

  /// Appends the assumed literals that contradict one another.
  virtual void get_conflict(LitVector& literals);

  /// Takes the next implied literal; false if there is none.
  virtual bool next_implied_literal(Lit& literal);
  /// The engine will assign the literal that was taken last. If its reason is known now, it is
  /// appended and the answer is true; else `explain` will be asked if it is needed.
  virtual bool accept_implied_literal(Lit literal, LitVector& reason);
  /// Appends the reason of the literal that was taken last and is not assigned by it.
  virtual void explain_last_implied(LitVector& reason);
  /// Appends the assumed literals that imply an accepted literal.
  virtual void explain(Lit literal, LitVector& reason);

  virtual bool has_lemma() const { return false; }
  virtual void get_lemmas(std::vector<TermLemma>& lemmas);
  virtual void retract_lemmas();

  /// Fixes the value of every variable of the solver, at a full and checked assignment.
  virtual void build_model();
  virtual void build_abstract_model();
  /// True and the value if the solver owns the term.
  virtual bool get_model_value(TermRef term, Number& value) = 0;
  /// Re-evaluates everything that was told when the model was built; false if it does not hold.
  virtual bool validate_model() { return true; }

  /// Notes that polarities have grown, so that filtered parts of atoms may be needed now.
  virtual void polarities_changed() {}

  virtual void detect_alien_terms(TermRef atom, std::vector<TermRef>& aliens);
  virtual bool check_equality(TermRef a, TermRef b);
  virtual void get_proof();
  virtual TermRef get_interpolant();
  virtual void split_proof();
};

}  // namespace ordax
