#pragma once

#include <sys/resource.h>

namespace kelvo::random_tests {

/// Limits the calling process: it ends by a signal after `max_seconds` of processor time, and
/// allocation fails beyond `max_bytes`. The sanitizers slow a program down and reserve address
/// space without end: under them time is eight times as long, and memory not limited.
inline void limit_process(rlim_t max_seconds, rlim_t max_bytes = RLIM_INFINITY) {
#if defined(__SANITIZE_ADDRESS__)
  max_seconds *= 8;
  max_bytes = RLIM_INFINITY;
#endif
  const rlimit seconds = {max_seconds, max_seconds + 1};
  setrlimit(RLIMIT_CPU, &seconds);
  const rlimit bytes = {max_bytes, max_bytes};
  if (max_bytes != RLIM_INFINITY) setrlimit(RLIMIT_AS, &bytes);
}

}  // namespace kelvo::random_tests
