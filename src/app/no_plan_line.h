#pragma once

#include <cstddef>
#include <string>

namespace kelvo {

struct NoPlan;

/// The line of a run that ends without a plan, beside "No solution exists.": how much that says.
///
/// `kept_plans` tells which plans of the input the transformers keep
/// (`BasicTransformer::kept_plans`), empty for all: then nothing is proven of the input, and a plan
/// that is none of the input is no surprise. Otherwise, plans that were refused are a fault,
/// whatever else is known.
std::string no_plan_line(const NoPlan& no_plan, std::size_t num_refused_plans,
                         const std::string& kept_plans);

}  // namespace kelvo
