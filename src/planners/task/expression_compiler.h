#pragma once

#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

#include "model/expression.h"
#include "planners/task/program.h"
#include "planners/task/state_space.h"
#include "shell/env_object.h"

namespace kelvo {

/// Compiles conditions, terms and effects into programs over the slots of a state space, which is
/// borrowed and must have all its slots.
///
/// What the model's evaluator would refuse is no error here: the program punts, so that the refusal
/// surfaces when (and only if) the expression is evaluated.
class ExpressionCompiler : public EnvObject {
 public:
  explicit ExpressionCompiler(StateSpace& space) : EnvObject(space.environment()), space_(space) {}

  Condition compile_condition(model::Expression e);
  Program compile_term(model::Expression e);
  /// `body` is an assignment or a conjunction of assignments. A later one on the same fluent wins.
  EffectProgram compile_effect(model::Expression body);

  /// The expression with constants folded; as it stands when folding raises.
  model::Expression simplify(model::Expression e) const;

 private:
  bool is_never_given(model::Expression condition) const;
  bool add_value_test(model::Expression atom, bool is_equal, Condition& condition,
                      std::vector<model::Expression>& values) const;
  bool add_literals(model::Expression e, Condition& condition,
                    std::vector<model::Expression>& values) const;
  bool emit(model::Expression e, Program& program);
  void punt(Program& program) const;
  std::shared_ptr<const ApplicationTable> fluent_table(model::Expression reference);
  std::shared_ptr<const ApplicationTable> constant_table(model::Expression reference);
  void add_assignment(model::Expression assignment, EffectProgram& effect);

  StateSpace& space_;
  std::unordered_map<model::Expression, std::shared_ptr<const ApplicationTable>> tables_;
};

}  // namespace kelvo
