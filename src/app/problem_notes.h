#pragma once

#include <string>
#include <vector>

#include "model/model_fwd.h"

namespace kelvo {

/// Sentences about what can be planned with but hardly is what the user means: an empty input, no
/// goal, actions that are given two durations or none that is possible. Throws
/// `InvalidParameterError` when the environment has no duration to choose from.
std::vector<std::string> problem_notes(const model::ProblemInstance& problem);

/// A sentence about what is read without a value, for a problem that no plan was found for; empty
/// when all is given.
std::string missing_values_note(const model::ProblemInstance& problem);

}  // namespace kelvo
