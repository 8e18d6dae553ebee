#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "transformers/basic_transformer.h"
#include "transformers/problem_parts.h"

namespace kelvo {

/// Turns each goal that a condition is met at some moment of an interval (`contains`) into a helper
/// action that must be executed once within it. Orderings of labelled goals become conditions of
/// the helpers. Single steps are not supported.
class ContainsCompiler : public BasicTransformer {
 public:
  explicit ContainsCompiler(const model::ProblemInstance& input_problem);

  /// Steps of helper actions are left out.
  using BasicTransformer::map_back;
  std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const override;
  /// The step of a helper lasts one unit of time and may put off the end of the plan, which comes
  /// earlier once the step is gone.
  std::string kept_plans() const override;

 protected:
  void do_computation() override;
  const char* step_refusal() const override { return "Not implemented yet!"; }

 private:
  /// The references of the two fluents of a goal: whether its window is open, and whether it has
  /// been met.
  struct GoalFluents {
    model::Expression active;
    model::Expression goal;
  };

  model::Expression make_fluent(const std::string& name);
  void add_statement(model::Expression time, model::Expression body);
  void number_contains();
  void compile_contains(model::Expression e, std::size_t number);
  void take_expression(model::Expression e);
  model::Expression goal_of_label(model::Expression label) const;

  std::unordered_set<model::Action> new_actions_;
  std::unordered_set<model::Expression> new_fluents_;
  std::vector<model::Expression> contains_;
  std::unordered_map<model::Expression, GoalFluents> goals_;
  std::unordered_map<std::string, model::Expression> goals_by_label_;
  ProblemParts parts_;
};

}  // namespace kelvo
