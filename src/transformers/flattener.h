#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "transformers/basic_transformer.h"
#include "transformers/problem_parts.h"

namespace kelvo {

/// Makes a flat problem of a structured one: each fluent, constant and action of a user type
/// becomes a top-level one whose first parameter, "object", is the instance that it belongs to, and
/// no scoped access is left. The type `Arm` in `Robot` becomes `_Robot_Arm`, its fluent `pos`
/// `_Robot_Arm_pos`.
///
/// Takes any problem. Instances keep their names; since their types are new, so are they.
class Flattener : public BasicTransformer {
 public:
  explicit Flattener(const model::ProblemInstance& input_problem);
  ~Flattener() override;

  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  Step map_back(const model::Instance& object, const model::Action& action,
                const std::vector<model::Expression>& parameters) const override;
  /// Only for actions of user types.
  std::vector<ForwardStep> map_forward(
      const model::Instance& object, const model::Action& action,
      const std::vector<model::Expression>& parameters) const override;
  /// For actions of user types and for top-level ones.
  std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const override;
  bool carries_all_plans_forward() const override { return true; }

 protected:
  void do_computation() override;

 private:
  class InstantiateWalker;

  /// A user type with what flat names of its members begin with.
  struct ScopedType {
    std::string prefix;
    model::UserType type;
  };
  using Expressions = std::vector<model::Expression>;

  /// Makes a flat type for each type of the problem; the result has outer types before inner ones.
  std::vector<ScopedType> build_types();
  void rewrite_instances();
  void rewrite_top_level_fluents();
  void rewrite_top_level_constants();
  void rewrite_member_fluents(const ScopedType& scoped);
  void rewrite_member_constants(const ScopedType& scoped);
  void rewrite_member_actions(const ScopedType& scoped);
  void rewrite_top_level_actions();
  void rewrite_expressions();

  void relate(model::Expression old_reference, model::Expression new_reference);
  model::Type flat_type(const model::Type& type) const;
  /// The parameters with mapped types; those whose type stays are kept as they are.
  model::Parameters flat_parameters(const model::Parameters& parameters,
                                    Substitution& substitution) const;
  /// The "object" parameter, and after it a new parameter for each of `parameters`.
  model::Parameters member_parameters(const model::UserType& type,
                                      const model::Parameters& parameters,
                                      Substitution& substitution) const;
  Expressions forward_parameters(const model::Instance& object,
                                 const Expressions& parameters) const;
  model::Expression map_conjunct_back(model::Expression conjunct) const;
  const model::Action* find_flat_action(const model::Action& action) const;

  std::unordered_map<model::UserType, model::UserType> type_map_;
  std::unordered_map<model::Fluent, model::Fluent> fluent_map_;
  std::unordered_map<model::Constant, model::Constant> const_map_;
  std::unordered_map<model::Action, model::Action> action_map_;
  std::unordered_map<std::string, model::Instance> instances_;
  std::unordered_map<model::Action, model::Action> action_map_back_;
  std::unordered_map<model::Fluent, model::Fluent> fluent_map_back_;
  // Top-level actions and their copies, for plans only.
  std::unordered_map<model::Action, model::Action> top_level_actions_;
  std::unordered_map<model::Action, model::Action> top_level_actions_back_;
  // References of instances, top-level fluents and constants, and parameters of member actions.
  Substitution subs_;
  Substitution subs_back_;
  ProblemParts parts_;
};

}  // namespace kelvo
