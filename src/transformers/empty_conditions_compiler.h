#pragma once

#include <vector>

#include "transformers/action_versions.h"

namespace kelvo {

/// Makes explicit that a condition over [start + c1, end - c2] asks nothing of an action shorter
/// than c1 + c2: splits each action by ranges of its duration, and each version has just the
/// conditions that are not empty in its range, and the range as a constraint.
///
/// The input must be flat. Durative conditions must start and end at constant distances from the
/// ends of the action. A duration bound that is no constant has no part in the split and stays in
/// each version.
class EmptyConditionsCompiler : public ActionVersionsCompiler {
 public:
  using ActionVersionsCompiler::ActionVersionsCompiler;

 protected:
  void split_action(const model::Action& action) override;

 private:
  /// Adds the version unless the constraints leave no duration.
  void add_folded_version(const model::Action& action, const std::vector<model::Expression>& body,
                          const std::vector<model::Expression>& constraints);
};

}  // namespace kelvo
