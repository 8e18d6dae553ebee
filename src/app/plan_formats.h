#pragma once

#include <memory>
#include <string>
#include <vector>

namespace kelvo {

class Configuration;
class Plan;

/// The switches that ask for a form of plan, those included whose form this program does not have.
/// Without any, a plan is printed as the planner made it.
std::vector<std::string> plan_format_names();

/// Raises an error when a switch is set whose form is not built.
void refuse_missing_plan_formats(const Configuration& configuration);

/// The plan in the form that the switches ask for.
std::shared_ptr<Plan> converted_plan(const Configuration& configuration,
                                     std::shared_ptr<Plan> plan);

}  // namespace kelvo
