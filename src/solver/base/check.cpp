#include "solver/base/check.h"

#include <cstdio>
#include <cstdlib>

namespace ordax {

void check_failed(const char* condition, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: broken invariant: %s\n", file, line, condition);
  std::abort();
}

}  // namespace ordax
