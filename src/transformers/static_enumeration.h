#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "model/parametric_object.h"

namespace kelvo {

class Environment;

/// Some parameters of an action with the values that each may take.
struct ParameterDomains {
  std::vector<model::Expression> references;
  std::vector<std::vector<model::Expression>> values;
};

/// The combinations of parameter values for which no expression of the action is false, and none
/// holds a constant without a value, as far as this follows from constants and from the values.
/// Without `prune_false` only constants without a value count. `on_undefined`, if it is
/// not empty, is told the message of each refusal for that reason.
///
/// Expressions are taken apart into tests on few parameters, and combinations are built value by
/// value in an order that lets tests run early: the cost follows the combinations that survive and
/// not the product of the domains. The tests are necessary, not sufficient: an expression of a
/// survivor may still turn out false.
///
/// Returns each survivor as one value index for each parameter, all in one vector, in the order of
/// numbers in mixed radix whose lowest digit is the first parameter. There must be a parameter.
std::vector<std::uint32_t> surviving_combinations(
    Environment& env, const model::Action& action, const ParameterDomains& domains,
    bool prune_false, const std::function<void(const std::string&)>& on_undefined);

}  // namespace kelvo
