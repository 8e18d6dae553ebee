#pragma once

#include <iosfwd>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"

namespace kelvo {

/// Writes what a step executes, as all forms of plans have it:
/// [object "."] action "(" parameters ")". `object` may be null.
void print_step_action(std::ostream& os, const model::Instance& object, const model::Action& action,
                       const std::vector<model::Expression>& parameters);

}  // namespace kelvo
