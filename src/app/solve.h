#pragma once

#include "model/model_fwd.h"

namespace kelvo {

class Environment;
class TransformerChain;

/// The function `solve`: prints a plan of the problem that was read, or that there is none. The
/// planner searches the chain's output. Returns the exit status, 0.
int solve(Environment& env, const model::ProblemInstance& as_read, const TransformerChain& chain);

}  // namespace kelvo
