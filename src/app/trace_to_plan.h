#pragma once

#include <string>
#include <vector>

#include "model/model_fwd.h"

namespace kelvo {

class Environment;
class TransformerChain;

/// The names of all formats of traces.
std::vector<std::string> trace_format_names();

/// The function `trace-to-plan`: reads the trace of the option `trace`, one of the chain's output,
/// into a plan and writes that. Returns the exit status, 0.
int trace_to_plan(Environment& env, const model::ProblemInstance& as_read,
                  const TransformerChain& chain);

}  // namespace kelvo
