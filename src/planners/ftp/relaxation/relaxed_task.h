#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include "model/expression.h"
#include "planners/ftp/relaxation/temporally_aware_relaxer.h"
#include "planners/ftp/task/compiled_task.h"
#include "planners/ftp/task/search_state.h"
#include "planners/task/classical_action.h"

namespace kelvo::ftp {

/// The relaxed problem as the heuristics take it: its actions and goals, and how the open actions
/// of a state are marked in it. The task is borrowed.
class RelaxedTask {
 public:
  explicit RelaxedTask(CompiledTask& task);

  CompiledTask& task() { return task_; }
  const std::vector<ClassicalAction>& actions() const { return actions_; }
  /// The goals at the end of the plan, in negation normal form, then for each action its first
  /// marker and the negations of the others: no action is left open.
  const std::vector<model::Expression>& goals() const { return goals_; }
  /// The same in disjunctive normal form.
  std::vector<model::ExpressionSet> goal_dnf() const;
  /// The bodies of the problem's goals, whatever their intervals.
  const std::vector<model::Expression>& all_goal_bodies() const { return all_goal_bodies_; }
  /// Every marker; those of one action are neighbours, the first phase first.
  const std::vector<model::Expression>& markers() const { return markers_; }
  /// Where in `markers()` those of an action begin, and their number.
  std::size_t first_marker(std::uint32_t template_id) const { return first_marker_[template_id]; }
  std::size_t num_markers(std::uint32_t template_id) const;
  /// Calls `visit(first, current)` with positions in `markers()` for each list of an action: the
  /// markers of its first phase and of the phase that comes next.
  template <typename Visitor>
  void for_each_open_action(const SearchState& state, Visitor&& visit) const {
    for (const TodoList& list : state.lists()) {
      if (list.template_id < CompiledTask::FIRST_ACTION) continue;
      const std::size_t first = first_marker_[list.template_id];
      visit(first, first + list.position + 1);
    }
  }
  const std::vector<model::Action>& relaxed_actions(std::uint32_t template_id) const;

  const TemporallyAwareRelaxer& relaxer() const { return relaxer_; }

 private:
  CompiledTask& task_;
  TemporallyAwareRelaxer relaxer_;
  std::vector<ClassicalAction> actions_;
  std::vector<model::Expression> goals_;
  std::size_t num_problem_goals_ = 0;
  std::vector<model::Expression> all_goal_bodies_;
  std::vector<model::Expression> markers_;
  std::vector<std::size_t> first_marker_;  // by template, with an end behind the last
};

}  // namespace kelvo::ftp
