#pragma once

#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "transformers/basic_transformer.h"

namespace kelvo {

/// Widens a problem to the instances of a second one, the bounding problem. Instances that the
/// input does not have are switched off by a boolean constant for each user type, which every
/// action asks for its parameters: the output has the shape of the bounding problem and the
/// behaviour of the input.
///
/// Both problems must be flat. Single steps are not supported.
class Bounder : public BasicTransformer {
 public:
  Bounder(const model::ProblemInstance& input_problem, model::ProblemInstance bounding_problem);

  using BasicTransformer::map_back;
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;

 protected:
  void do_computation() override;

 private:
  using ActivityConstants = std::unordered_map<model::Type, model::Constant>;

  void warn_of_lost_types(const model::ProblemInstanceImpl& problem) const;
  model::Constant make_activity_constant(const model::UserType& type) const;
  model::Action bound_action(const model::Action& action, const ActivityConstants& activity) const;
  /// The value of a ground fluent of an inactive instance; null when its type has no instance.
  model::Expression default_value(const model::Type& type) const;
  bool concerns_inactive_instance(model::Expression ground_fluent) const;

  model::ProblemInstance bounding_problem_;
  std::unordered_map<model::Action, model::Action> action_map_back_;
  std::unordered_set<model::Instance> inactive_instances_;
};

}  // namespace kelvo
