#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "shell/numbers.h"

namespace kelvo {

/// The number as a decimal where that is finite, else as a fraction.
std::string exact_time(const rational& time);

/// Writes what a step executes, as all forms of plans have it:
/// [object "."] action "(" parameters ")". `object` may be null.
void print_step_action(std::ostream& os, const model::Instance& object, const model::Action& action,
                       const std::vector<model::Expression>& parameters);

}  // namespace kelvo
