#pragma once

#include <cstdint>
#include <vector>

#include "solver/terms/term.h"

namespace ordax {

/// With which signs each Boolean term occurs in what was given to the engines so far. Entries only
/// grow: a term that is no longer asserted keeps its signs, which is safe for every user.
class PolarityStore {
 public:
  static constexpr std::uint8_t POSITIVE = 1;
  static constexpr std::uint8_t NEGATIVE = 2;
  static constexpr std::uint8_t BOTH = 3;

  std::uint8_t get(TermRef term) const { return term->id < bits_.size() ? bits_[term->id] : 0; }

  /// True if this added anything.
  bool add(TermRef term, std::uint8_t signs) {
    if (term->id >= bits_.size()) bits_.resize(term->id + term->id / 2 + 1, 0);
    std::uint8_t& entry = bits_[term->id];
    if ((entry | signs) == entry) return false;
    entry = static_cast<std::uint8_t>(entry | signs);
    return true;
  }

  void clear() { bits_.clear(); }

 private:
  std::vector<std::uint8_t> bits_;  // by term id
};

}  // namespace ordax
