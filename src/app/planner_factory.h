#pragma once

#include <memory>
#include <string>

#include "model/model_fwd.h"

namespace kelvo {

class Environment;
class Planner;

/// The planner of that name, built on `problem`.
std::unique_ptr<Planner> make_planner(Environment& env, const std::string& algorithm,
                                      const model::ProblemInstance& problem);

}  // namespace kelvo
