#pragma once

#include <cstddef>
#include <string>

namespace kelvo {

struct NoPlan;

/// The line of a run that ends without a plan, beside "No solution exists.": how much that says.
/// With plans that were refused it says that none could be confirmed, whatever else is known.
std::string no_plan_line(const NoPlan& no_plan, std::size_t num_refused_plans);

}  // namespace kelvo
