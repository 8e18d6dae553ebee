#include "app/no_plan_line.h"

#include "planners/planner.h"

namespace kelvo {

namespace {

std::string with_reason(const std::string& sentence, const std::string& separator,
                        const std::string& reason) {
  return (reason.empty() ? sentence : sentence + separator + reason) + ".";
}

}  // namespace

std::string no_plan_line(const NoPlan& no_plan, std::size_t num_refused_plans) {
  if (num_refused_plans > 0) {
    return "No plan could be confirmed: " + std::to_string(num_refused_plans) +
           (num_refused_plans == 1 ? " plan was" : " plans were") +
           " found that the validator refuses. Please report this as a fault.";
  }
  switch (no_plan.certainty) {
    case NoPlan::Certainty::PROVEN:
      return with_reason("Proven: the problem has no plan", ", ", no_plan.reason);
    case NoPlan::Certainty::BOUNDED:
      return with_reason("Bounded: there is no plan", " ", no_plan.reason);
    case NoPlan::Certainty::UNDECIDED:
      break;
  }
  return with_reason("Undecided: there may be a plan", "; ", no_plan.reason);
}

}  // namespace kelvo
