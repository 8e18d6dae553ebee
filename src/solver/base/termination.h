#pragma once

#include "solver/base/exception.h"

namespace ordax {

/// Stops a running check from outside. `check` is called often, so `should_stop` has to be cheap.
class TerminationTest {
 public:
  /// Unwinds a stopped check; the environment rebuilds its engines before the next one.
  class terminated : public Exception {
   public:
    terminated() : Exception("user-requested termination") {}
  };

  virtual ~TerminationTest() = default;

  virtual bool should_stop() = 0;

  void check() {
    if (should_stop()) throw terminated();
  }
};

}  // namespace ordax
