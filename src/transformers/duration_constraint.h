#pragma once

#include "model/expression.h"
#include "model/expression_substituter.h"
#include "shell/numbers.h"

namespace kelvo {

class Environment;

/// Whether `constraint`, a boolean expression over the `duration` anchor, is true for the duration;
/// `duration := c` asks for equality. What `values` relates, as parameters, is put in as well. Null
/// demands nothing; what does not come out as a truth value is not met.
bool admits_duration(Environment& env, model::Expression constraint, const rational& duration,
                     ExpressionSubstituter::Substitution values = {});

}  // namespace kelvo
