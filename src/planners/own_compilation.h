#pragma once

namespace kelvo {

class TransformerChain;

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
  /// Grounding applies to fluents and constants, too, whether or not the actions are ground.
  bool grounds_fluents = false;
  /// Sets are compiled away.
  bool compiles_sets = true;
  /// Fluents that nothing writes become constants where the search gains from it.
  bool promotes_constants = true;
};

/// Compiles away what a search can't treat: structure, uncertain durations, parameters, sets.
/// Throws `InternalError` for what can't be compiled.
void apply_own_compilation(TransformerChain& chain, const OwnCompilation& compilation);

}  // namespace kelvo
