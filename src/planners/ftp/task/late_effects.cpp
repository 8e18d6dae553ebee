#include "planners/ftp/task/late_effects.h"

#include <algorithm>
#include <optional>
#include <sstream>

#include "model/expression_factory.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/timed_effect.h"
#include "plans/time_triggered_plan.h"
#include "shell/environment.h"
#include "shell/warnings.h"

namespace kelvo::ftp {

namespace {

rational end_of(const TimeTriggeredPlan& plan) {
  rational result = 0;
  for (const auto& [time, steps] : plan.plan()) {
    for (const auto& step : steps) result = std::max(result, rational(time + step->duration()));
  }
  return result;
}

}  // namespace

void warn_of_late_effects(const model::ProblemInstance& problem, const TimeTriggeredPlan& plan) {
  Environment& env = problem->environment();
  model::ExpressionFactory& ef = env.expression_factory();
  const rational end = end_of(plan);
  for (const model::Expression e : problem->expressions()) {
    const std::optional<Effect> effect = get_effect(ef, e);
    if (!effect || is_at_start(ef, effect->timing())) continue;
    const std::optional<AnchoredTime> time = try_timing(ef, effect->timing());
    if (!time || !time->from_start || time->offset < end + 1) continue;
    std::ostringstream text;
    text << "The plan ends at time " << end << ", before the problem's effect on "
         << model::print_expression(assigned_fluent(ef, *effect)) << " at time " << time->offset
         << ": if a goal at the end needs it, validate will reject the plan";
    env.warning_manager().warn(text.str());
    return;
  }
}

}  // namespace kelvo::ftp
