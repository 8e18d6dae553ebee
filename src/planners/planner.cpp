#include "planners/planner.h"

#include <utility>

#include "planners/own_compilation.h"
#include "plans/plan.h"
#include "transformers/basic_transformer.h"

namespace kelvo {

Planner::Planner(Environment& env, const model::ProblemInstance& problem)
    : EnvObject(env), problem_(problem) {}

Planner::~Planner() = default;

void Planner::compile(const OwnCompilation& compilation) {
  problem_ = apply_own_compilation(environment(), problem_, compilation, transformers_);
}

std::shared_ptr<Plan> Planner::map_back(std::shared_ptr<Plan> plan) const {
  for (auto transformer = transformers_.rbegin(); transformer != transformers_.rend();
       ++transformer) {
    plan = (*transformer)->map_back(plan);
  }
  return plan;
}

bool Planner::passes_test(const std::shared_ptr<Plan>& plan) {
  if (!plan_test_ || plan_test_(plan)) return true;
  ++num_refused_plans_;
  return false;
}

}  // namespace kelvo
