#pragma once

#include <string>
#include <vector>

#include "model/model_fwd.h"

namespace kelvo {

class Environment;
class TransformerChain;

/// The names of all functions, those included that this program knows but does not have, in the
/// order of the usage text.
std::vector<std::string> function_names();

bool is_function_built(const std::string& name);

/// Does what the function of that name does with the problem as it was read, and the chain that
/// leads from it through the transformers of the command line. Returns the exit status.
int run_function(Environment& env, const std::string& name, const model::ProblemInstance& as_read,
                 const TransformerChain& chain);

}  // namespace kelvo
