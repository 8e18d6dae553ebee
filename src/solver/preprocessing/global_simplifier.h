#pragma once

#include <cstdint>
#include <vector>

#include "solver/preprocessing/rewrite_step.h"
#include "solver/terms/linear_form.h"

namespace ordax {

/// One pass of rules that look at more than one operator at a time.
class GlobalSimplifier : public RewriteStep {
 public:
  /// `mask` is the option `preprocessor.simplification`: bit 1 switches the rules on if-then-else
  /// on, bit 16 those on arithmetic.
  GlobalSimplifier(TermManager& terms, int mask)
      : RewriteStep(terms), with_ite_((mask & 1) != 0), with_arithmetic_((mask & 16) != 0) {}

  TermRef simplify(TermRef formula);

 protected:
  TermRef rebuild(TermRef term, const TermRef* args) override;

 private:
  TermRef simplify_ite(TermRef term);
  TermRef lift_numeral_leaves(TermRef atom);
  TermRef check_chain(TermRef term);
  TermRef join_bounds(TermRef formula);

  bool with_ite_;
  bool with_arithmetic_;
  TermMap<TermRef> chains_;
  TermSet members_;
  std::vector<TermRef> work_;
  std::uint64_t chain_budget_ = 0;
  Lineariser lineariser_;
  LinearForm form_;
};

}  // namespace ordax
