#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "model/expression.h"
#include "model/expression_free_vars.h"
#include "model/model_fwd.h"
#include "planners/ftp/task/event_template.h"
#include "planners/task/expression_compiler.h"
#include "planners/task/problem_statements.h"
#include "planners/task/state_space.h"
#include "shell/env_object.h"
#include "shell/numbers.h"

namespace kelvo::ftp {

/// A ground problem in the form that the search runs on: slots, programs and event templates. Built
/// once, not changed by the search (but for values that are met for the first time).
class CompiledTask : public EnvObject {
 public:
  /// The templates of the problem's own events: the anchors are the start and the end of the plan.
  static constexpr std::uint32_t PROBLEM_START = 0;
  static constexpr std::uint32_t PROBLEM_END = 1;
  static constexpr std::uint32_t FIRST_ACTION = 2;

  /// With `no_moving_targets` steps that interfere are `plan_epsilon` apart.
  CompiledTask(const model::ProblemInstance& problem, const rational& plan_epsilon,
               bool no_moving_targets = false);

  const model::ProblemInstance& problem() const { return problem_; }
  const rational& plan_epsilon() const { return plan_epsilon_; }
  bool no_moving_targets() const { return no_moving_targets_; }
  const ProblemStatements& statements() const { return statements_; }
  StateSpace& space() { return space_; }
  const StateSpace& space() const { return space_; }
  ExpressionCompiler& compiler() { return compiler_; }

  const std::vector<EventTemplate>& templates() const { return templates_; }
  const EventTemplate& template_of(std::uint32_t id) const { return templates_[id]; }
  std::uint32_t template_id(const model::Action& action) const { return ids_.at(action); }

  const Condition& condition(std::uint32_t program) const { return conditions_[program]; }
  const EffectProgram& effect(std::uint32_t program) const { return effects_[program]; }
  /// The slots that an effect writes, as a bitset.
  const std::vector<std::uint64_t>& writes(std::uint32_t program) const { return writes_[program]; }

  /// The values at the start of the plan, by slot.
  const std::vector<ValueId>& initial_values() const { return initial_values_; }
  /// What must hold there: goals at the start and those that are open from it.
  const std::vector<std::uint32_t>& initial_conditions() const { return initial_conditions_; }
  /// The durative conditions of the problem: opening and closing events have numbers of their own.
  /// By number the program of the condition.
  const std::vector<std::uint32_t>& goal_conditions() const { return goal_conditions_; }
  /// The goal events that are open from the start of the plan.
  const std::vector<std::uint32_t>& initially_open_goals() const { return initially_open_goals_; }

  /// Throws `InvalidParameterError` with the name of an action whose least duration is so long that
  /// sums of doubles can't hold it.
  void refuse_long_durations() const;

 private:
  void make_slots();
  void make_problem_templates();
  void make_action_template(const ActionEvents& action);
  TemplateEvent make_event(const PlacedEvent& placed);
  void simulate_conditions(const std::vector<PlacedEvent>& table, EventTemplate& made);
  void add_suffix_offsets(EventTemplate& made) const;
  std::uint32_t add_condition(model::Expression body);
  std::uint32_t add_effect(model::Expression body);
  FluentSet fluents_of(model::Expression e);

  model::ProblemInstance problem_;
  rational plan_epsilon_;
  bool no_moving_targets_;
  ProblemStatements statements_;
  StateSpace space_;
  ExpressionCompiler compiler_;
  model::ExpressionFreeVars free_vars_;
  std::unordered_map<model::Expression, std::uint32_t> fluent_numbers_;
  std::vector<ActionEvents> action_events_;
  std::vector<EventTemplate> templates_;
  std::unordered_map<model::Action, std::uint32_t> ids_;
  std::unordered_map<model::Expression, std::uint32_t> condition_programs_;
  std::vector<Condition> conditions_;
  std::vector<EffectProgram> effects_;
  std::vector<std::vector<std::uint64_t>> writes_;
  std::vector<ValueId> initial_values_;
  std::vector<std::uint32_t> initial_conditions_;
  std::vector<std::uint32_t> goal_conditions_;
  std::vector<std::uint32_t> initially_open_goals_;
};

}  // namespace kelvo::ftp
