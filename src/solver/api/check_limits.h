#pragma once

#include <cstdint>

#include "solver/base/configuration.h"
#include "solver/base/termination.h"

namespace ordax {

/// The termination test of a check: the caller's own, and the limits of the configuration.
class CheckLimits : public TerminationTest {
 public:
  explicit CheckLimits(const LimitConfiguration& limits) : limits_(limits) {}

  void set_user_test(TerminationTest* test) { user_ = test; }
  TerminationTest* user_test() const { return user_; }
  bool is_needed() const { return user_ != nullptr || limits_.cpu_time > 0 || limits_.memory > 0; }

  /// Begins a check.
  void start();
  /// True if the caller wants to stop; throws `LimitReached` when a limit is exceeded.
  bool should_stop() override;

 private:
  // Looking at the clock or at the memory costs as much as a few propagations.
  static constexpr unsigned kTimeMask = 15;
  static constexpr unsigned kMemoryMask = 255;

  const LimitConfiguration& limits_;
  TerminationTest* user_ = nullptr;
  double start_time_ = 0;
  unsigned asked_ = 0;
};

}  // namespace ordax
