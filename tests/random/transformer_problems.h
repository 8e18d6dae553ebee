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

}  // namespace kelvo::random_tests
