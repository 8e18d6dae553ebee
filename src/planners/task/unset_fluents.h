#pragma once

#include "model/model_fwd.h"

namespace kelvo {

/// Warns once when statements or actions of a flat problem read fluents that have no value at the
/// start: a forward search cannot read them, a bounded encoding takes any value. Costs nothing
/// while warnings are not logged, else one walk over the problem. Makes nodes, so a planner calls
/// it behind its search: the log must not change a plan.
void warn_of_unset_fluents(const model::ProblemInstance& problem);

}  // namespace kelvo
