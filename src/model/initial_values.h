#pragma once

#include <unordered_map>
#include <vector>

#include "model/expression.h"

namespace kelvo {

class Environment;

namespace model {

/// `[start] target := value`, as it was written.
struct InitialAssignment {
  Expression target;
  Expression value;
};

/// The values in the initial state, by ground fluent: references, or applications to constants.
using InitialValues = std::unordered_map<Expression, Expression>;

/// Gives each target the value of its right side in the initial state, in whatever order the
/// assignments stand; arguments of targets may read fluents, too. Values have the types of their
/// fluents: an integer that a fluent of type float holds is a rational.
///
/// Throws `InvalidParameterError` with the fluent's name where two assignments give it a value,
/// where a right side reads a fluent without a value, or one whose value depends on the reader.
InitialValues resolve_initial_values(Environment& env,
                                     const std::vector<InitialAssignment>& assignments);

}  // namespace model
}  // namespace kelvo
