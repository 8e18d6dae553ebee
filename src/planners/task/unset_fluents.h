#pragma once

#include <string>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"

namespace kelvo {

/// Throws `InvalidParameterError` with the name of a ground fluent or entry of a constant that a
/// statement of a flat problem reads although nothing ever gives it a value: no plan can make such
/// a statement hold.
void refuse_unset_goals(const model::ProblemInstance& problem);

/// The ground fluents, in the order of their names, that have no value at the start of a ground
/// problem and that an effect may give one. Left out are those that only an effect with arguments
/// that depend on the state may write, where there are too many.
std::vector<model::Expression> fluents_given_later(const model::ProblemInstance& problem);

/// A sentence about the fluents that statements or actions of a flat problem read although they
/// have no value at the start, and about such entries of constants: no step of a plan can read them
/// before an effect sets them. Empty when there are none. Walks over the whole problem and makes
/// nodes, so it is asked after a search, which it must not change.
std::string unset_fluents_note(const model::ProblemInstance& problem);

/// Logs the note as a warning. Costs nothing while warnings are not logged.
void warn_of_unset_fluents(const model::ProblemInstance& problem);

}  // namespace kelvo
