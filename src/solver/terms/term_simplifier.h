#pragma once

#include "solver/terms/term.h"

namespace ordax {

/// Normalises a term while it is built. The `TermManager` asks before it looks into its table.
class TermSimplifier {
 public:
  virtual ~TermSimplifier() = default;

  /// The term that stands for `symbol` on `args`, or null to build exactly this one. `args` are
  /// normalised already and well typed.
  virtual TermRef simplify(const Symbol* symbol, const TermRef* args) = 0;
};

}  // namespace ordax
