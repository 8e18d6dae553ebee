#pragma once

#include <vector>

#include "shell/numbers.h"
#include "transformers/action_versions.h"

namespace kelvo {

/// Splits each action by ranges of its duration so that in each version the order of all its time
/// points, `start + c` and `end - c`, is the same for every duration of the version. Where two
/// points meet, the version is for that one duration, and there is none if two effects on one
/// fluent would coincide.
///
/// The input is a flat problem after `EmptyConditionsCompiler`, with constant time points.
class PartialOrderCompiler : public ActionVersionsCompiler {
 public:
  using ActionVersionsCompiler::ActionVersionsCompiler;

 protected:
  void split_action(const model::Action& action) override;

 private:
  void add_whole(const model::Action& action);
  /// The version for the duration `d` alone, unless two of its effects coincide.
  void add_point_version(const model::Action& action, const std::vector<model::Expression>& body,
                         const rational& d);
};

}  // namespace kelvo
