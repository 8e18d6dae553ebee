#pragma once

#include "solver/terms/term.h"

namespace ordax {

/// Tells what preprocessing replaced, so that values of replaced variables can be computed.
class EliminatedTerms {
 public:
  virtual ~EliminatedTerms() = default;

  /// What replaces `term`, or null if it was not replaced. The table is triangular: following
  /// replacements (also inside replacements) ends.
  virtual TermRef replacement(TermRef term) const = 0;
};

}  // namespace ordax
