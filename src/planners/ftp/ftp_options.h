#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "shell/numbers.h"

namespace kelvo {
class Configuration;
}

namespace kelvo::ftp {

/// What the planner is asked for, read once.
struct FtpOptions {
  enum class Search { STANDARD, GUIDED };

  explicit FtpOptions(const Configuration& configuration);

  Search search;
  /// Steps that interfere are so far apart: see `no_moving_targets`.
  rational plan_epsilon;
  /// What PDDL asks for: steps that touch one fact or function that one of them writes happen
  /// `plan_epsilon` apart.
  bool no_moving_targets;
  bool prune_actions;

  // Of the standard search.
  /// One of `heuristic_names`, "blind" for none.
  std::string heuristic;
  /// Of the estimate against the depth, from 0 to 1.
  double weight;
  /// Order only events that share fluents.
  bool deordering;
  /// States that look alike are expanded once.
  bool weak_equality;
  /// Two events with the same time expression are applied at once.
  bool simultaneity;
  bool no_backtracking;
  /// Times of plans are not rounded to hundredths.
  bool rational_precision;

  // Of the guided search.
  /// Evaluations spent on a shorter plan.
  std::size_t num_improvements;
};

/// The searches of the planner, in the order of the usage text.
std::vector<std::string> search_names();

}  // namespace kelvo::ftp
