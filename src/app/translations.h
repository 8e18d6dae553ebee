#pragma once

#include "model/model_fwd.h"

namespace kelvo {

class Environment;

/// Writes the problem in the language of the option `target`, where the other options say.
void convert(Environment& env, const model::ProblemInstance& problem);

/// Reads the trace of the option `trace` into a plan and writes that.
void convert_trace(Environment& env, const model::ProblemInstance& problem);

}  // namespace kelvo
