#pragma once

#include "model/model_fwd.h"

namespace kelvo {

/// Throws `InvalidParameterError` with the name of a ground fluent or entry of a constant that a
/// statement of a flat problem reads although nothing ever gives it a value: no plan can make such
/// a statement hold.
void refuse_unset_goals(const model::ProblemInstance& problem);

/// Warns once when statements or actions of a flat problem read fluents that have no value at the
/// start: no step of a plan can read them before an effect sets them. Costs nothing while warnings
/// are not logged, else one walk over the problem. Makes nodes, so a planner calls it behind its
/// search: the log must not change a plan.
void warn_of_unset_fluents(const model::ProblemInstance& problem);

}  // namespace kelvo
