#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "transformers/basic_transformer.h"

namespace kelvo {

/// Replaces each fluent whose value is an instance by a boolean fluent with the value as one more
/// parameter, for stages that know only boolean and numeric fluents: assigning an instance sets one
/// of these booleans and clears the others, comparing with one reads them.
///
/// Takes ground actions. Instances are assigned and compared as such only. Single steps are not
/// supported.
class UserTypeFluentsCompiler : public BasicTransformer {
 public:
  explicit UserTypeFluentsCompiler(const model::ProblemInstance& input_problem);

  using BasicTransformer::map_back;
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;

 protected:
  void do_computation() override;

 private:
  model::Expression restore_conjunct(model::Expression conjunct) const;

  std::unordered_map<model::Action, model::Action> actions_;
  std::unordered_map<model::Fluent, model::Fluent> fluents_;
};

}  // namespace kelvo
