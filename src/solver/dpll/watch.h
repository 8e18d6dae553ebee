#pragma once

#include <cstdint>

#include "solver/dpll/clause.h"

namespace ordax {

/// An entry of a watch list: a literal whose truth satisfies the clause, and the clause. For a
/// binary clause the blocker is the other literal, so that the clause need not be read.
class Watch {
 public:
  Watch() = default;
  Watch(Lit blocking, Clause* clause, bool binary)
      : blocker(blocking), tagged_(reinterpret_cast<std::uintptr_t>(clause) | (binary ? 1 : 0)) {}

  bool is_binary() const { return (tagged_ & 1) != 0; }
  Clause* clause() const { return reinterpret_cast<Clause*>(tagged_ & ~std::uintptr_t{1}); }

  Lit blocker = kNoLit;

 private:
  std::uintptr_t tagged_ = 0;
};
static_assert(sizeof(Watch) == 16, "four watches to a cache line");

}  // namespace ordax
