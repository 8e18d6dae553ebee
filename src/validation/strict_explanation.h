#pragma once

#include <functional>
#include <iosfwd>
#include <string>

#include "validation/strict_verdict.h"

namespace kelvo {

class Environment;

/// How a step is named, as "line 3: 5: go(r1) [10]".
using StepName = std::function<std::string(const TimeTriggeredStep&)>;

/// The step as a plan has it, with exact times: "5: go(r1) [10]".
std::string step_text(const TimeTriggeredStep& step);

/// Writes why a plan is not valid: what is wrong and when, the step and the statement with their
/// places, the values that were read, and what wrote them. Each line begins with two blanks, but
/// for the first.
void print_explanation(std::ostream& os, Environment& env, const StrictFault& fault,
                       const StepName& step_name);

}  // namespace kelvo
