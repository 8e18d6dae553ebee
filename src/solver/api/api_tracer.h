#pragma once

#include <vector>

#include "solver/terms/term.h"

namespace ordax {

/// Hears of each operation of an environment before it is done, so that the session can be
/// replayed.
class ApiTracer {
 public:
  virtual ~ApiTracer() = default;

  virtual void assert_formula(TermRef formula) = 0;
  virtual void push() = 0;
  virtual void pop() = 0;
  virtual void reset() = 0;
  virtual void solve(const std::vector<TermRef>& assumptions) = 0;
  virtual void get_model_value(TermRef term) = 0;
  virtual void comment(const char* text) = 0;
};

}  // namespace ordax
