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

/// Unwinds a check that has used up what it was given.
class LimitReached : public Exception {
 public:
  using Exception::Exception;
};

/// Asks a termination test at each of many small steps, but not at all of them.
class StopPoint {
 public:
  void set(TerminationTest* test) { test_ = test; }
  void step() {
    if (test_ != nullptr && (++steps_ & kMask) == 0) test_->check();
  }

 private:
  static constexpr unsigned kMask = 255;

  TerminationTest* test_ = nullptr;
  unsigned steps_ = 0;
};

}  // namespace ordax
