#pragma once

#include "solver/base/configuration.h"
#include "solver/base/logger.h"

namespace ordax {

/// Decides whether equalities between terms that several theories share have to be made. Where the
/// only owner of atoms is arithmetic no term is shared, and no pair arises.
class InterfaceEqualities {
 public:
  InterfaceEqualities(const TheoryConfiguration& configuration, Logger& logger)
      : configuration_(configuration), logger_(logger) {}

  /// Makes what is missing; the level to go back to for the first new atom, or -1. The flags tell
  /// whether the equality solver and every other solver are enabled.
  int generate(bool equality_solver_enabled, bool all_enabled);

 private:
  void log(const char* text);

  const TheoryConfiguration& configuration_;
  Logger& logger_;
};

}  // namespace ordax
