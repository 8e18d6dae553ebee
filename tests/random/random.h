#pragma once

#include <cstdint>

namespace kelvo::random_tests {

/// The same numbers for the same seed on every machine: the generators of the standard library do
/// that, but its distributions do not.
class Random {
 public:
  explicit Random(std::uint32_t seed) : state_(seed * 2654435761U + 12345U) {}

  /// A number from 0 to `bound` - 1.
  int below(int bound) {
    state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<int>((state_ >> 33) % static_cast<std::uint64_t>(bound));
  }
  bool chance(int percent) { return below(100) < percent; }

 private:
  std::uint64_t state_;
};

}  // namespace kelvo::random_tests
