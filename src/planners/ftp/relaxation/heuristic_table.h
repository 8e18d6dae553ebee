#pragma once

#include <memory>
#include <string>
#include <vector>

#include "planners/ftp/relaxation/relaxed_task.h"
#include "planners/heuristics/heuristic.h"

namespace kelvo::ftp {

/// A heuristic over the states of the search over events, and the relaxed task that it borrows, if
/// it wants one.
struct RelaxedHeuristic {
  std::unique_ptr<RelaxedTask> relaxed;
  std::unique_ptr<Heuristic> heuristic;  // null: every state is estimated to be a goal
};

/// The names of all heuristics, in the order of the usage text.
std::vector<std::string> heuristic_names();

/// The heuristic of that name. The task is borrowed.
RelaxedHeuristic make_heuristic(const std::string& name, CompiledTask& task);

}  // namespace kelvo::ftp
