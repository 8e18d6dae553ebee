#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "solver/base/vector.h"

namespace ordax {

/// A Boolean variable: a dense number from 0.
using Var = std::int32_t;

/// A literal: twice the variable, plus 1 if negated.
using Lit = std::int32_t;

constexpr Lit kNoLit = -2;
constexpr Lit kPlaceholderLit = -1;
constexpr Var kNoVar = -1;

using LitVector = Vector<Lit>;

constexpr Lit make_lit(Var variable, bool negated = false) {
  return variable * 2 + static_cast<Lit>(negated);
}
constexpr Lit negate(Lit literal) {
  return literal ^ 1;
}
constexpr Var var_of(Lit literal) {
  return literal >> 1;
}
constexpr bool is_negated(Lit literal) {
  return (literal & 1) != 0;
}

/// The value of a variable: 0 true, 1 false, 2 undefined. The value of a literal is the byte of its
/// variable xor its sign; undefined literals hence read 2 or 3, and are recognised by bit 1.
using Value = std::uint8_t;

constexpr Value kTrue = 0;
constexpr Value kFalse = 1;
constexpr Value kUndefined = 2;

/// Sorts the literals of a clause and drops repeated ones; false if the clause is a tautology, and
/// then what is left of it means nothing.
template <typename Literals>
bool make_distinct(Literals& literals) {
  std::sort(literals.begin(), literals.end());
  std::size_t kept = 0;
  for (const Lit literal : literals) {
    if (kept > 0 && literals[kept - 1] == literal) continue;
    if (kept > 0 && literals[kept - 1] == negate(literal)) return false;
    literals[kept++] = literal;
  }
  literals.resize(kept);
  return true;
}

}  // namespace ordax
