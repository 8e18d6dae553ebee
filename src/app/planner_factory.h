#pragma once

#include <memory>
#include <string>
#include <vector>

#include "model/model_fwd.h"

namespace kelvo {

class Environment;
class Planner;

/// The names of all planners, those included that this program knows but does not have.
std::vector<std::string> planner_names();

bool is_planner_built(const std::string& algorithm);

/// The planner of that name, built on `problem`.
std::unique_ptr<Planner> make_planner(Environment& env, const std::string& algorithm,
                                      const model::ProblemInstance& problem);

}  // namespace kelvo
