#pragma once

#include <sys/resource.h>
#include <sys/time.h>

namespace kelvo::random_tests {

/// Limits the calling process: it ends by SIGPROF after that much processor time, and allocation
/// fails beyond `max_bytes`. The sanitizers slow a program down and reserve address space without
/// end: under them time is eight times as long, and memory not limited.
inline void limit_process(long max_milliseconds, rlim_t max_bytes = RLIM_INFINITY) {
#if defined(__SANITIZE_ADDRESS__)
  max_milliseconds *= 8;
  max_bytes = RLIM_INFINITY;
#endif
  const timeval left = {max_milliseconds / 1000, max_milliseconds % 1000 * 1000};
  const itimerval timer = {{0, 0}, left};
  setitimer(ITIMER_PROF, &timer, nullptr);
  const rlimit bytes = {max_bytes, max_bytes};
  if (max_bytes != RLIM_INFINITY) setrlimit(RLIMIT_AS, &bytes);
}

}  // namespace kelvo::random_tests
