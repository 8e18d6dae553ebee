#pragma once

#include <cstdint>
#include <string>

namespace kelvo::random_tests {

/// What may occur in a generated problem.
struct GeneratorFeatures {
  /// Fluents and actions with a parameter of a user type.
  bool parameters = true;
  /// These fluents and actions are members of the user type.
  bool structured = false;
  /// Bounded integer fluents with comparisons and increments.
  bool numbers = true;
  /// Conditions and effects at times between start and end.
  bool intermediate_times = true;
  /// Durations between two bounds, possibly open.
  bool free_durations = true;
  /// Timed effects, and goals over windows.
  bool timed_statements = true;
  /// Goals without an interval beside those at the end.
  bool untimed_goals = true;
  /// Goals that need not hold behind the witness: nobody knows whether there is a plan.
  bool arbitrary_goals = false;
  int max_fluents = 6;  // at least 3
  int max_actions = 5;  // at least 2
};

/// A temporal problem, and a plan that solves it.
struct GeneratedProblem {
  std::string anml;
  /// In the format of plan files.
  std::string witness;
};

/// The problem of a seed: the same for the same seed and features on every machine. It is small,
/// and solvable by construction unless its goals are arbitrary: the witness executes one action
/// after the other, and the goals are read off the state it leads to.
GeneratedProblem generate_problem(std::uint32_t seed, const GeneratorFeatures& features = {});

}  // namespace kelvo::random_tests
