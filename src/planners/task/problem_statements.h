#pragma once

#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "model/timed_effect.h"

namespace kelvo {

class Environment;
class StateSpace;

/// The statements of a problem by what they mean to a search.
struct ProblemStatements {
  /// Without those over intervals that hold no time.
  std::vector<model::Expression> goals;
  std::vector<Effect> initial_assignments;
  /// Assignments at a time after the start, as they were written.
  std::vector<model::Expression> timed_literals;

  explicit ProblemStatements(const model::ProblemInstance& problem);

  /// The ground fluents of the initial assignments, sorted by their printed text. Throws as
  /// `model::resolve_initial_values`.
  std::vector<model::Expression> sorted_fluents(Environment& env) const;
};

/// The initial value of each slot: null where there is none. Throws as
/// `model::resolve_initial_values`.
std::vector<model::Expression> initial_values(const ProblemStatements& statements,
                                              const StateSpace& space);

}  // namespace kelvo
