#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "transformers/basic_transformer.h"

namespace kelvo {

/// Removes set types: a fluent or constant that holds a set becomes a boolean one with the element
/// as a further parameter, and operations on sets become boolean combinations.
///
/// Takes a problem with ground actions and sets over finite types.
class SetCompiler : public BasicTransformer {
 public:
  explicit SetCompiler(const model::ProblemInstance& input_problem);

  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  Step map_back(const model::Instance& object, const model::Action& action,
                const std::vector<model::Expression>& parameters) const override;
  using BasicTransformer::map_forward;
  std::vector<ForwardStep> map_forward(
      const model::Instance& object, const model::Action& action,
      const std::vector<model::Expression>& parameters) const override;

 protected:
  void do_computation() override;

 private:
  model::Constant compile_constant(const model::Constant& constant) const;
  model::Fluent compile_fluent(const model::Fluent& fluent) const;
  const model::Action& original_of(const model::Action& action) const;
  model::Expression restore_sets(model::Expression post_condition) const;

  std::unordered_map<model::Action, model::Action> actions_;
  std::unordered_map<model::Action, model::Action> new_actions_;
  std::unordered_map<model::Fluent, model::Fluent> fluents_;
};

}  // namespace kelvo
