#pragma once

#include <memory>
#include <vector>

#include "model/model_fwd.h"

namespace kelvo {

class BasicTransformer;
class Environment;

/// What a search asks of the compilation of its own problem.
struct OwnCompilation {
  /// The search looks into actions: conditions and effects get a fixed order, which splits actions
  /// by their duration. A duration must then be constant once the problem is ground.
  bool splits_durations = false;
  /// The search needs actions without parameters. Else they are grounded only where sets have to be
  /// compiled away.
  bool grounds_actions = true;
  /// Grounding leaves out actions that can never apply.
  bool prune_actions = true;
};

/// Compiles away what a search can't treat: structure, uncertain durations, parameters, sets. The
/// transformers that were applied are appended in their order. Throws `InternalError` for what
/// can't be compiled.
model::ProblemInstance apply_own_compilation(
    Environment& env, model::ProblemInstance problem, const OwnCompilation& compilation,
    std::vector<std::shared_ptr<BasicTransformer>>& applied);

}  // namespace kelvo
