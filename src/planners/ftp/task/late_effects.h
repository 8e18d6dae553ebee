#pragma once

#include "model/model_fwd.h"

namespace kelvo {
class TimeTriggeredPlan;
}

namespace kelvo::ftp {

/// Warns once when an effect of the problem comes behind the end of the plan, which is one time
/// unit behind its last action: goals at the end do not see it then.
void warn_of_late_effects(const model::ProblemInstance& problem, const TimeTriggeredPlan& plan);

}  // namespace kelvo::ftp
