#pragma once

#include <string>
#include <vector>

#include "model/model_fwd.h"

namespace kelvo {

class Environment;
class TransformerChain;

/// The names of all targets.
std::vector<std::string> target_names();

/// The function `convert-to`: writes the chain's output in the language of the option `target`,
/// where the other options say. Returns the exit status, 0.
int convert_to(Environment& env, const model::ProblemInstance& as_read,
               const TransformerChain& chain);

}  // namespace kelvo
