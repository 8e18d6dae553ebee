#pragma once

#include <cstdint>
#include <string>

namespace kelvo::random_tests {

/// How the one delivery problem is told.
struct Form {
  bool structured = false;     // the van is an object with members of its own
  bool sets = false;           // its load is a set
  bool visits = false;         // the van passes two places in order, each in a window
  bool spare_objects = false;  // there are places and parcels that nothing is said of
  enum { FIXED, UNCERTAIN, FREE } durations = FIXED;
};

/// A van brings parcels to places over random roads. Which roads there are, and how long they are,
/// is told by fluents that nothing writes.
std::string delivery_problem(std::uint32_t seed, const Form& form);

/// Actions with effects and conditions at inner times, each of which can start in a short window
/// only: no two of their times that depend on each other lie close together.
std::string inner_times_problem(std::uint32_t seed);

/// A number from 0 to `bound` - 1 after the other: the same for the same seed on every machine.
class Random {
 public:
  explicit Random(std::uint32_t seed) : state_(seed * 2654435761U + 12345U) {}

  int below(int bound) {
    state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<int>((state_ >> 33) % static_cast<std::uint64_t>(bound));
  }

 private:
  std::uint64_t state_;
};

}  // namespace kelvo::random_tests
