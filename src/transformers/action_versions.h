#pragma once

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "transformers/basic_transformer.h"
#include "transformers/problem_parts.h"

namespace kelvo {

/// What the compilers share that split an action into versions by ranges of its duration: names of
/// versions and the mapping of plans. Only actions change, parameters and times never do.
class ActionVersionsCompiler : public BasicTransformer {
 public:
  explicit ActionVersionsCompiler(const model::ProblemInstance& input_problem);

  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  Step map_back(const model::Instance& object, const model::Action& action,
                const std::vector<model::Expression>& parameters) const override;
  /// One entry for each version of the action, by ascending duration.
  std::vector<ForwardStep> map_forward(
      const model::Instance& object, const model::Action& action,
      const std::vector<model::Expression>& parameters) const override;
  /// Each step becomes one of the first version whose constraint its duration meets; a step that
  /// meets none is left out.
  std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const override;

 protected:
  void do_computation() override;

  /// Calls `add_version` for each version of `action`, by ascending duration.
  virtual void split_action(const model::Action& action) = 0;

  /// Makes a version of `action` with the expressions of `body`, which are the old action's, and
  /// after them `range` unless it is null. `constraint` says for which durations it applies.
  void add_version(const model::Action& action, const std::vector<model::Expression>& body,
                   model::Expression constraint, model::Expression range);

 private:
  /// A version under which the plan form of `map_forward` finds a step's image.
  using Version = std::pair<model::Action, model::Expression>;

  std::string get_action_fresh_name(const model::Action& action);
  const std::vector<Version>& versions_of(const model::Action& action) const;
  const model::Action& original_of(const model::Action& action) const;

  int av_index_ = 0;
  std::unordered_set<std::string> action_names_;
  std::unordered_map<model::Action, model::Action> actions_;
  std::unordered_map<model::Action, std::vector<Version>> map_forward_actions_;
  ProblemParts parts_;
};

}  // namespace kelvo
