#pragma once

#include "planners/ftp/task/step_task.h"

namespace kelvo::ftp {

/// Whether a plan may need steps of several actions at one instant such that no order of them, one
/// after the other, comes to the same: as when each tests what the other overwrites. Without a
/// circle of such needs, a search that applies steps one by one misses nothing. True also where
/// finding out would take too long.
bool may_need_coincidence(const GuidedTask& task);

}  // namespace kelvo::ftp
