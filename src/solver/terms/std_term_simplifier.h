#pragma once

#include "solver/terms/linear_form.h"
#include "solver/terms/term_manager.h"
#include "solver/terms/term_simplifier.h"

namespace ordax {

/// The constructive simplifier: each rule gives the one canonical form of its kind of term, so that
/// scaled and rearranged copies of a linear constraint are one term.
class StdTermSimplifier : public TermSimplifier {
 public:
  explicit StdTermSimplifier(TermManager& terms) : terms_(terms) {}

  TermRef simplify(const Symbol* symbol, const TermRef* args) override;

 private:
  TermRef simplify_not(TermRef a);
  TermRef simplify_and(TermRef a, TermRef b);
  TermRef simplify_or(TermRef a, TermRef b);
  TermRef simplify_iff(TermRef a, TermRef b);
  TermRef simplify_term_ite(const TermRef* args);
  TermRef simplify_plus(TermRef a, TermRef b);
  TermRef simplify_times(TermRef a, TermRef b);
  TermRef simplify_divide(TermRef a, TermRef b);
  TermRef simplify_floor(TermRef a);
  TermRef simplify_generic_equal(TermRef a, TermRef b);
  TermRef simplify_arithmetic(TermRef a, TermRef b, bool equality);

  TermRef simplify_simple_equal(TermRef a, TermRef b);
  TermRef decide(const Number& constant, bool equality) const;
  TermRef rebuild(const LinearForm& form, bool equality, bool mirror);
  TermRef make_relation(TermRef a, TermRef b, bool equality);
  TermRef make_sum(const LinearForm& form);

  TermManager& terms_;
  Lineariser lineariser_;
  LinearForm form_;
};

}  // namespace ordax
