#pragma once

#include <cstdint>
#include <vector>

#include "solver/base/termination.h"
#include "solver/terms/term_manager.h"
#include "solver/terms/term_walk.h"

namespace ordax {

/// Pushes negations below conjunctions and disjunctions. "Partial", because an equivalence keeps
/// its two sides as they are: only its own negation moves, into the first side.
class PartialNnf {
 public:
  explicit PartialNnf(TermManager& terms) : terms_(terms) {}

  void set_termination_test(TerminationTest* test) { stop_.set(test); }

  TermRef convert(TermRef formula);

 private:
  TermRef* memo(TermRef term, bool negated) {
    return negated ? negative_.find(term) : positive_.find(term);
  }

  TermManager& terms_;
  StopPoint stop_;
  TermMap<TermRef> positive_;
  TermMap<TermRef> negative_;
};

}  // namespace ordax
