#include "planners/planner.h"

#include <utility>

#include "planners/own_compilation.h"
#include "plans/plan.h"

namespace kelvo {

Planner::Planner(Environment& env, const model::ProblemInstance& problem)
    : EnvObject(env), chain_(problem) {}

Planner::~Planner() = default;

void Planner::compile(const OwnCompilation& compilation) {
  apply_own_compilation(chain_, compilation);
}

std::shared_ptr<Plan> Planner::map_back(std::shared_ptr<Plan> plan) const {
  return chain_.map_back(std::move(plan));
}

bool Planner::passes_test(const std::shared_ptr<Plan>& plan) {
  if (!plan_test_ || plan_test_(plan)) return true;
  ++num_refused_plans_;
  return false;
}

}  // namespace kelvo
