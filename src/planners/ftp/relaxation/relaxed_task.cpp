#include "planners/ftp/relaxation/relaxed_task.h"
#include "planners/ftp/task/time_constants.h"

#include "model/expression_factory.h"
#include "model/problem_instance.h"
#include "model/timed_effect.h"
#include "model/to_dnf.h"
#include "shell/environment.h"

namespace kelvo::ftp {

using model::Expression;
using model::ExpressionSet;

RelaxedTask::RelaxedTask(CompiledTask& task) : task_(task), relaxer_(task.problem(), exact_gap()) {
  Environment& env = task.environment();
  model::ExpressionFactory& ef = env.expression_factory();
  for (const auto& [name, action] : relaxer_.output_problem()->actions()) {
    actions_.emplace_back(env, action);
  }
  for (const Expression goal : task.statements().goals) {
    const TimedStatement statement = decompose_statement(goal);
    all_goal_bodies_.push_back(statement.body);
    const bool is_at_end =
        !statement.is_timed() || (statement.is_point() && ef.is_end_anchor(statement.left));
    if (is_at_end) goals_.push_back(normalise(env, statement.body));
  }
  num_problem_goals_ = goals_.size();
  first_marker_.assign(CompiledTask::FIRST_ACTION, 0);
  for (std::size_t id = CompiledTask::FIRST_ACTION; id < task.templates().size(); ++id) {
    first_marker_.resize(id + 1, markers_.size());
    const std::vector<Expression>& markers =
        relaxer_.phase_markers().at(task.templates()[id].action);
    for (const Expression marker : markers) {
      goals_.push_back(marker == markers.front() ? marker : ef.make_not(marker));
      markers_.push_back(marker);
    }
  }
  first_marker_.push_back(markers_.size());
}

std::size_t RelaxedTask::num_markers(std::uint32_t template_id) const {
  return first_marker_[template_id + 1] - first_marker_[template_id];
}

const std::vector<model::Action>& RelaxedTask::relaxed_actions(std::uint32_t template_id) const {
  return relaxer_.relaxed_actions(task_.template_of(template_id).action);
}

// The markers are literals: they go into each disjunct of the other goals.
std::vector<ExpressionSet> RelaxedTask::goal_dnf() const {
  Environment& env = task_.environment();
  const std::vector<Expression> problem_goals(
      goals_.begin(), goals_.begin() + static_cast<std::ptrdiff_t>(num_problem_goals_));
  std::vector<ExpressionSet> result(1);
  if (!problem_goals.empty()) {
    const Expression conjunction = env.expression_factory().make_and(problem_goals);
    const Expression goal = normalise(env, conjunction);
    if (!env.expression_factory().is_true(goal)) result = model::ToDNF(env)(goal);
  }
  for (ExpressionSet& disjunct : result) {
    disjunct.insert(goals_.begin() + static_cast<std::ptrdiff_t>(num_problem_goals_), goals_.end());
  }
  return result;
}

}  // namespace kelvo::ftp
