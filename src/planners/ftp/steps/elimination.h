#pragma once

#include <optional>
#include <vector>

#include "planners/ftp/steps/successors.h"

namespace kelvo::ftp {

/// Takes actions out of a plan that it does not need (action elimination: Nakhost and Müller,
/// "Action elimination and plan neighborhood graph search", ICAPS 2010). Tries each action in turn,
/// with all that then no longer applies, and keeps what reaches the goal no later. Returns the
/// makespan of what remains; nothing when the moves are no plan.
std::optional<double> eliminate_actions(GuidedSuccessors& successors,
                                        std::vector<GuidedMove>& moves);

}  // namespace kelvo::ftp
