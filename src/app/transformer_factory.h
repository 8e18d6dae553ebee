#pragma once

#include <memory>
#include <string>
#include <vector>

#include "model/model_fwd.h"

namespace kelvo {

class BasicTransformer;
class Environment;

/// The names of all transformers.
std::vector<std::string> transformer_names();

/// The transformer of that name on the command line, with what the other options say about it,
/// built on `problem`. Its computation has not started yet.
std::shared_ptr<BasicTransformer> make_transformer(Environment& env, const std::string& name,
                                                   const model::ProblemInstance& problem);

}  // namespace kelvo
