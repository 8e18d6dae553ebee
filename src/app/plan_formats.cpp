#include "app/plan_formats.h"

#include <utility>

#include "app/not_built.h"
#include "app/table.h"
#include "plans/plan.h"
#include "plans/time_triggered_plan.h"
#include "shell/configuration.h"

namespace kelvo {

namespace {

struct Row {
  const char* name;                                                // of the switch
  std::shared_ptr<Plan> (*convert)(const std::shared_ptr<Plan>&);  // null: not built
};

std::shared_ptr<Plan> to_time_triggered(const std::shared_ptr<Plan>& plan) {
  return std::make_shared<TimeTriggeredPlan>(plan);
}

constexpr Row rows[] = {
    {"time-triggered", to_time_triggered},
    {"mission", nullptr},
};

}  // namespace

std::vector<std::string> plan_format_names() {
  return names_of(rows);
}

void refuse_missing_plan_formats(const Configuration& configuration) {
  for (const Row& row : rows) {
    if (row.convert == nullptr && configuration.get_boolean_value(row.name)) {
      not_built(std::string(row.name) + " plan");
    }
  }
}

std::shared_ptr<Plan> converted_plan(const Configuration& configuration,
                                     std::shared_ptr<Plan> plan) {
  for (const Row& row : rows) {
    if (configuration.get_boolean_value(row.name)) plan = row.convert(plan);
  }
  return plan;
}

}  // namespace kelvo
