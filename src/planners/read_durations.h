#pragma once

#include "model/model_fwd.h"
#include "transformers/action_versions.h"

namespace kelvo {

/// Whether a timed condition or effect of an action reads the duration.
bool has_read_durations(const model::ProblemInstance& problem);

/// Writes the duration of an action into the timed statements that read it. Throws `InternalError`
/// with such a statement where the duration is not one constant.
class ReadDurationsCompiler : public ActionVersionsCompiler {
 public:
  using ActionVersionsCompiler::ActionVersionsCompiler;

 protected:
  void split_action(const model::Action& action) override;
};

}  // namespace kelvo
