#include "solver/api/check_limits.h"

#include <cstdio>
#include <ctime>

namespace ordax {
namespace {

double thread_seconds() {
  std::timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// 0 where the system does not tell.
double resident_megabytes() {
  std::FILE* const file = std::fopen("/proc/self/statm", "r");
  if (file == nullptr) return 0;
  unsigned long total = 0;
  unsigned long resident = 0;
  const int count = std::fscanf(file, "%lu %lu", &total, &resident);
  std::fclose(file);
  constexpr double kPagesInMegabyte = 256;
  return count == 2 ? static_cast<double>(resident) / kPagesInMegabyte : 0;
}

}  // namespace

void CheckLimits::start() {
  asked_ = 0;
  if (limits_.cpu_time > 0) start_time_ = thread_seconds();
}

bool CheckLimits::should_stop() {
  if (user_ != nullptr && user_->should_stop()) return true;
  if (limits_.cpu_time > 0 && (asked_ & kTimeMask) == 0 &&
      thread_seconds() - start_time_ > limits_.cpu_time) {
    throw LimitReached("the limit on processor time is reached");
  }
  if (limits_.memory > 0 && (asked_ & kMemoryMask) == 0 && resident_megabytes() > limits_.memory) {
    throw LimitReached("the limit on memory is reached");
  }
  ++asked_;
  return false;
}

}  // namespace ordax
