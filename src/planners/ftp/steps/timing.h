#pragma once

#include <memory>
#include <vector>

#include "planners/ftp/steps/successors.h"

namespace kelvo {
class TimeTriggeredPlan;
}

namespace kelvo::ftp {

/// The plan of a sequence of moves with the least times in exact numbers. Null when the moves do
/// not apply, or exact numbers contradict each other.
std::shared_ptr<TimeTriggeredPlan> make_exact_plan(GuidedSuccessors& successors,
                                                   const std::vector<GuidedMove>& moves);

}  // namespace kelvo::ftp
