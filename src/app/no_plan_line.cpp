#include "app/no_plan_line.h"

#include "planners/planner.h"

namespace kelvo {

namespace {

std::string with_reason(const std::string& sentence, const std::string& separator,
                        const std::string& reason) {
  return (reason.empty() ? sentence : sentence + separator + reason) + ".";
}

std::string refused_plans(std::size_t number) {
  return std::to_string(number) + (number == 1 ? " plan was" : " plans were") +
         " found that the validator refuses";
}

}  // namespace

std::string no_plan_line(const NoPlan& no_plan, std::size_t num_refused_plans,
                         const std::string& kept_plans) {
  if (num_refused_plans > 0 && kept_plans.empty()) {
    return "No plan could be confirmed: " + refused_plans(num_refused_plans) +
           ". Please report this as a fault.";
  }
  if (num_refused_plans > 0) {
    return with_reason("Undecided: there may be a plan that is none of those " + kept_plans, "; ",
                       refused_plans(num_refused_plans));
  }
  if (no_plan.certainty == NoPlan::Certainty::PROVEN && !kept_plans.empty()) {
    return with_reason("Bounded: there is no plan among those", " ", kept_plans);
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
