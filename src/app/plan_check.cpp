#include "app/plan_check.h"

#include <algorithm>
#include <ostream>
#include <sstream>
#include <utility>

#include "model/action.h"
#include "plans/pot_plan.h"
#include "plans/time_triggered_plan.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/log.h"
#include "shell/numbers.h"
#include "transformers/transformer_chain.h"
#include "validation/strict_explanation.h"
#include "validation/strict_judge.h"

namespace kelvo {

PlanCheck::PlanCheck(Environment& env, model::ProblemInstance problem,
                     const TransformerChain& chain)
    : EnvObject(env), problem_(std::move(problem)), chain_(chain) {}

PlanCheck::~PlanCheck() = default;

// Only a run that finds a plan pays for the judge.
StrictJudge& PlanCheck::judge() {
  if (judge_ == nullptr) {
    const Configuration& configuration = environment().configuration();
    StrictOptions options;
    options.no_moving_targets = configuration.get_boolean_value("pddl");
    options.epsilon = rational_from_string(configuration.get_string_value("plan-epsilon"));
    judge_ = std::make_unique<StrictJudge>(environment(), problem_, options);
  }
  return *judge_;
}

bool PlanCheck::is_valid(const TimeTriggeredPlan& plan) {
  return judge().judge(plan).is_valid();
}

namespace {

// The schedule of a partial-order plan gives such a step no time, so that it says nothing of what
// the step does to those after it.
bool waits_for_environment(const POTPlan& plan) {
  return std::ranges::any_of(plan.steps(), [](const POTPlan::Step& step) {
    return !step->has_duration() &&
           step->action()->is_temporally_uncertain(/*really_uncertain=*/true);
  });
}

}  // namespace

bool PlanCheck::judge_plan(const std::shared_ptr<Plan>& plan) {
  const auto partial_order = std::dynamic_pointer_cast<POTPlan>(plan);
  if (partial_order != nullptr && waits_for_environment(*partial_order)) {
    LOG(LogLevel::INFO) << "The plan has no schedule that could be judged: the environment "
                           "chooses durations";
    return true;
  }
  const StrictVerdict verdict = judge().judge(TimeTriggeredPlan(plan));
  if (verdict.is_valid()) return true;
  ++num_refused_;
  if (!first_fault_) first_fault_ = verdict.fault;
  if (Log::is_on(LogLevel::INFO)) {
    std::ostringstream why;
    print_explanation(why, environment(), *verdict.fault, step_text);
    LOG(LogLevel::INFO) << "A plan was found and refused. " << why.str();
  }
  return false;
}

bool PlanCheck::passes(const std::shared_ptr<Plan>& plan) {
  const std::shared_ptr<Plan> mapped = chain_.map_back(plan);
  if (!judge_plan(mapped)) return false;
  confirmed_ = mapped;
  return true;
}

void PlanCheck::explain_first_refusal(std::ostream& os) const {
  if (first_fault_) print_explanation(os, environment(), *first_fault_, step_text);
}

}  // namespace kelvo
