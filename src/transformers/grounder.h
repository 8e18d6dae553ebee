#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "shell/hashing.h"
#include "transformers/basic_transformer.h"
#include "transformers/problem_parts.h"

namespace kelvo {

/// Instantiates the parameters of finite type: each combination of values becomes an action of its
/// own, with simplified expressions. With `ground_all` fluents and constants lose their finite
/// parameters too. With `prune_actions` a combination with an expression that is false is left out;
/// one with a constant that has no value is left out always.
///
/// The input must be flat. Parameters of infinite type stay parameters.
class Grounder : public BasicTransformer {
 public:
  explicit Grounder(const model::ProblemInstance& input_problem, bool ground_all = false,
                    bool prune_actions = true);
  ~Grounder() override;

  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  Step map_back(const model::Instance& object, const model::Action& action,
                const std::vector<model::Expression>& parameters) const override;
  using BasicTransformer::map_forward;
  /// Only for actions all of whose parameters are of finite type.
  std::vector<ForwardStep> map_forward(
      const model::Instance& object, const model::Action& action,
      const std::vector<model::Expression>& parameters) const override;

 protected:
  void do_computation() override;
  /// The output has no action for values that were pruned, or that lie outside their types.
  bool has_image(const model::Action& action,
                 const std::vector<model::Expression>& parameters) const override;

 private:
  using Values = std::vector<model::Expression>;
  using ActionExpansion = std::pair<model::Action, Values>;
  class FunApplySubstituter;
  class FunApplyRestorer;
  class ActionInstantiation;

  void ground_fluents();
  void ground_constants();
  void ground_action(const model::Action& action, const FunApplySubstituter& fun_apply);
  void add_action(const model::Action& made, const model::Action& action, const Values& values);
  Step expand(const model::Instance& object, const model::Action& action,
              const std::vector<model::Expression>& parameters, const char* unknown_message) const;
  std::string fresh_name(const std::string& name, std::size_t& index) const;

  bool ground_all_;
  bool constants_may_be_open_;  // as PDDL leaves entries of its functions
  bool prune_actions_;
  std::unordered_map<model::Action, ActionExpansion> expansions_;
  std::unordered_map<ActionExpansion, model::Action> expansions_forward_;
  std::unordered_map<std::pair<model::Fluent, Values>, model::Fluent> new_fluents_;
  std::unordered_map<std::pair<model::Constant, Values>, model::Constant> new_constants_;
  std::unordered_map<model::Fluent, std::pair<model::Fluent, Values>> map_back_;
  ProblemParts parts_;
};

}  // namespace kelvo
