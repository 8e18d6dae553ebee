#pragma once

#include <string>
#include <vector>

#include "model/model_fwd.h"

namespace kelvo {

class Environment;

/// The names of all targets and of all formats of traces, those included that this program knows
/// but does not have.
std::vector<std::string> target_names();
std::vector<std::string> trace_format_names();

/// Writes the problem in the language of the option `target`, where the other options say.
void convert(Environment& env, const model::ProblemInstance& problem);

/// Reads the trace of the option `trace` into a plan and writes that.
void convert_trace(Environment& env, const model::ProblemInstance& problem);

}  // namespace kelvo
