#pragma once

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "transformers/basic_transformer.h"
#include "transformers/problem_parts.h"

namespace kelvo {

/// Turns each fluent that is only ever written at the start of the plan into a constant with its
/// initial values. Since model objects are bound to their types and scopes, the whole problem is
/// rebuilt: everything but actions gets a name that begins with "_cp_". If there is no such fluent,
/// the output is the input itself.
///
/// Takes structured and flat problems. A fluent without any initial value stays a fluent, and so
/// does one with an initial value that is no value but an expression.
class ConstantPromoter : public BasicTransformer {
 public:
  explicit ConstantPromoter(const model::ProblemInstance& input_problem);

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
  /// Initial values by the name of the instance that the fluent belongs to, empty for none.
  using InitialValues = std::map<std::string, model::FunctionValue>;

  void make_user_types();
  void collect_written_fluents(const model::TypeScope& scope);
  void collect_initial_values();
  /// The fluent whose initial value `e` gives; null when it is not of the form that can become a
  /// constant's value.
  model::Fluent read_initial_value(model::Expression e);
  void make_instances();
  bool is_promoted(const model::Fluent& fluent) const;
  /// Rewrites the scope's constants and fluents into `target`, null for the top scope.
  bool rewrite_members(const model::TypeScope& scope, const model::UserType& target);
  bool rewrite_scopes();
  void rewrite_actions(const model::TypeScope& scope, const model::UserType& target);
  void rewrite_all_actions();
  void rewrite_expressions();

  void relate(model::Expression old_reference, model::Expression new_reference);
  void note_promoted_values(const model::Fluent& fluent);
  model::Type new_type(const model::Type& type) const;
  model::Parameters new_parameters(const model::Parameters& parameters,
                                   Substitution& substitution) const;
  InitialValues new_values(const InitialValues& values) const;
  std::vector<model::Expression> substituted(const std::vector<model::Expression>& values,
                                             const Substitution& substitution) const;

  std::unordered_map<model::UserType, model::UserType> user_types_;
  Substitution forward_;
  Substitution backward_;
  std::unordered_map<model::Action, model::Action> new_to_old_actions_;
  std::unordered_map<model::Action, model::Action> old_to_new_actions_;
  std::unordered_map<model::Instance, model::Instance> new_to_old_instances_;
  std::unordered_map<model::Instance, model::Instance> old_to_new_instances_;
  bool unchanged_ = false;
  std::vector<model::Expression> promoted_values_;

  std::unordered_set<model::Fluent> written_;
  std::unordered_map<model::Fluent, InitialValues> initial_values_;
  std::unordered_map<model::Expression, model::Fluent> initialised_by_;
  ProblemParts parts_;
};

}  // namespace kelvo
