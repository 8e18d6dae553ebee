#pragma once

#include "model/model_fwd.h"

namespace kelvo {

class Environment;
class TransformerChain;

/// The function `transform`: prints the chain's output, or writes it where the option `output`
/// says. Returns the exit status, 0.
int transform(Environment& env, const model::ProblemInstance& as_read,
              const TransformerChain& chain);

}  // namespace kelvo
