#pragma once

#include <ostream>

namespace kelvo {

/// An upper bound on a difference of two time points, strict or not. Of two bounds with one value
/// the strict one is the smaller, because it is the stronger.
template <typename R>
struct Bound {
  R value = R(0);
  bool is_strict = false;

  friend bool operator<(const Bound& a, const Bound& b) {
    return a.value < b.value || (a.value == b.value && a.is_strict && !b.is_strict);
  }
  friend bool operator>(const Bound& a, const Bound& b) { return b < a; }
  friend bool operator==(const Bound& a, const Bound& b) {
    return a.value == b.value && a.is_strict == b.is_strict;
  }
  friend std::ostream& operator<<(std::ostream& os, const Bound& bound) {
    return os << (bound.is_strict ? "<" : "<=") << " " << bound.value;
  }
};

}  // namespace kelvo
