#pragma once

#include <vector>

#include "solver/terms/number.h"
#include "solver/terms/term.h"

namespace ordax {

/// One summand `coefficient * term`; the coefficient is not 0.
struct Monomial {
  TermRef term;
  Number coefficient;
};

/// A linear expression: monomials over non-arithmetic subterms, sorted by term id, and a constant.
struct LinearForm {
  std::vector<Monomial> monomials;
  Number constant;

  void clear() {
    monomials.clear();
    constant = Number();
  }
  /// Whether every subterm has type Int.
  bool all_int_terms() const;
  /// Multiplies everything by `factor`, which is not 0.
  void scale(const Number& factor);
  /// Scales so that the coefficients are coprime integers (the sign stays) and returns the positive
  /// factor. There is at least one monomial.
  Number make_coprime();
};

/// The one way from terms to linear forms. Products of two non-numerals, `ite`, `floor` and the
/// like count as subterms. Shared sums cost one visit: coefficients are gathered from the youngest
/// term down, and an argument is always older than the term around it.
class Lineariser {
 public:
  /// Adds `factor * term` to the pending sum.
  void add(TermRef term, const Number& factor);
  /// Moves the pending sum into `out`.
  void finish(LinearForm& out);

  /// The form of `term`.
  void linearise(TermRef term, LinearForm& out) {
    add(term, Number(1));
    finish(out);
  }
  /// The form of left minus right for an atom `left <= right` or `left = right`.
  void difference(TermRef atom, LinearForm& out) {
    add(atom->arg(0), Number(1));
    add(atom->arg(1), Number(-1));
    finish(out);
  }

 private:
  std::vector<Monomial> heap_;  // by term id, the youngest on top
};

}  // namespace ordax
