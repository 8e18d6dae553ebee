#pragma once

#include "model/model_fwd.h"

namespace kelvo {

class Environment;
class TransformerChain;

/// The function `validate`: judges the plan of the option `plan`, a plan of the chain's output.
/// Returns the exit status.
int validate(Environment& env, const model::ProblemInstance& as_read,
             const TransformerChain& chain);

}  // namespace kelvo
