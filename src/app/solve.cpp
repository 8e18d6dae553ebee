#include "app/solve.h"

#include <iostream>
#include <memory>
#include <string>

#include "app/no_plan_line.h"
#include "app/plan_check.h"
#include "app/plan_formats.h"
#include "app/planner_factory.h"
#include "app/problem_notes.h"
#include "planners/planner.h"
#include "plans/time_triggered_plan.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/log.h"
#include "transformers/transformer_chain.h"

namespace kelvo {

namespace {

/// Times are rounded where what is printed is still a plan.
void print_plan(Environment& env, const Plan& plan, PlanCheck& check) {
  std::cout << ";; A plan has been found:\n";
  const auto* time_triggered = dynamic_cast<const TimeTriggeredPlan*>(&plan);
  if (time_triggered != nullptr && !env.configuration().get_boolean_value("rational-precision") &&
      time_triggered->is_changed_by_rounding()) {
    const std::shared_ptr<TimeTriggeredPlan> rounded = time_triggered->rounded();
    if (rounded == nullptr || !check.is_valid(*rounded)) {
      LOG(LogLevel::INFO)
          << "The times of the plan are printed exactly: rounded, it would not be valid, "
             "or not be read";
      time_triggered->print_exactly(std::cout);
      return;
    }
  }
  plan.print(std::cout);
}

// What the first transformer that leaves plans out says of those that it keeps.
std::string kept_plans(const TransformerChain& chain) {
  for (const auto& transformer : chain.transformers()) {
    std::string kept = transformer->kept_plans();
    if (!kept.empty()) return kept;
  }
  return {};
}

// Beside the answer, whatever the log shows.
void print_note(const std::string& note) {
  if (!note.empty()) std::cerr << "Note: " << note << ".\n";
}

}  // namespace

int solve(Environment& env, const model::ProblemInstance& as_read, const TransformerChain& chain) {
  const Configuration& configuration = env.configuration();
  refuse_missing_plan_formats(configuration);
  for (const std::string& note : problem_notes(as_read)) print_note(note);
  const std::unique_ptr<Planner> planner =
      make_planner(env, configuration.get_string_value("algorithm"), chain.problem());
  PlanCheck check(env, as_read, chain);
  std::shared_ptr<Plan> passed;
  planner->set_plan_test([&check, &passed](const std::shared_ptr<Plan>& plan) {
    const bool passes = check.passes(plan);
    if (passes) passed = plan;
    return passes;
  });
  std::shared_ptr<Plan> plan = planner->solve();
  if (plan != nullptr && plan != passed && !check.passes(plan)) plan = nullptr;
  if (plan == nullptr) {
    // May find an error of the problem, and then there is no answer.
    const std::string note = missing_values_note(as_read);
    std::cout << "No solution exists.\n" << std::flush;
    std::cerr << no_plan_line(planner->no_plan(), check.num_refused(), kept_plans(chain)) << '\n';
    print_note(note);
    check.explain_first_refusal(std::cerr);
    return 0;
  }
  plan = converted_plan(configuration, check.confirmed());
  print_plan(env, *plan, check);
  return 0;
}

}  // namespace kelvo
