#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "planners/ftp/events/search_network.h"
#include "planners/ftp/task/compiled_task.h"
#include "planners/ftp/task/search_state.h"
#include "planners/search/arena.h"
#include "planners/task/machine.h"

namespace kelvo::ftp {

/// Which constraints a step adds to the temporal network, and what it prunes.
struct StepRules {
  /// Order only events that share fluents, instead of all events of the path.
  bool deordering = false;
  /// Drop an opening after which two pending effects on one fluent must coincide.
  bool prune_coinciding_effects = true;
  /// Open actions without effects, too: they put off the end of the plan.
  bool open_idle_actions = false;
};

/// Makes the successors of search states. A successor is first built in a scratch state, and kept
/// only when asked to; the scratch state is overwritten by the next call.
class SuccessorGenerator {
 public:
  SuccessorGenerator(CompiledTask& task, const StepRules& rules);
  SuccessorGenerator(const SuccessorGenerator&) = delete;
  SuccessorGenerator& operator=(const SuccessorGenerator&) = delete;

  /// Null when what must hold at the start of the plan does not.
  SearchState* make_initial_state();

  /// The successor by the first event of one list of `todo`; null when a condition fails, a value
  /// leaves its bounds or the temporal network is inconsistent.
  SearchState* apply_event(const SearchState& state, std::size_t list);
  /// The successor by opening an action; null also when it is open or its start condition fails.
  SearchState* open_action(const SearchState& state, std::uint32_t template_id);

  /// A lasting copy of the scratch state that the last call returned.
  SearchState* keep(const SearchState& parent);
  void release(SearchState* state);

  void set_rules(const StepRules& rules) { rules_ = rules; }
  const StepRules& rules() const { return rules_; }

  bool is_goal(const SearchState& state) const;
  /// Whether the goals at the very end of the plan have been met, so that what comes is later.
  bool is_behind_end(const SearchState& state) const;
  /// Whether a step was not possible for other reasons than the values: for its times, or because
  /// an action was open already.
  bool has_met_bounds() const { return has_met_bounds_; }
  /// Whether the event closes a durative condition, if it is applied in this state.
  bool closes(const SearchState& state, const TodoList& list, std::uint32_t position) const;
  CompiledTask& task() { return task_; }
  Machine& machine() { return machine_; }
  /// Bytes that the states take.
  std::size_t memory() const { return arena_.memory(); }

 private:
  bool check(std::uint32_t program, const StateValues& values) {
    return machine_.holds(task_.condition(program), values);
  }
  bool condition_applies(const SearchState& state, const TodoList& list,
                         const TemplateEvent& event);
  static bool is_of_empty_goal(const SearchState& state, const TemplateEvent& event);
  bool unchecked_conditions_hold(const SearchState& state);
  bool apply_effect(const SearchState& state, const TemplateEvent& event);
  bool open_conditions_hold(const SearchState& state, const EffectProgram& effect,
                            const std::vector<std::uint64_t>& writes);
  void advance_todo(const SearchState& state, std::size_t list, const TemplateEvent& event);
  void note_goal_event(const SearchState& state, const TemplateEvent& event);

  TimePoint point_of(const TodoList& list, const TemplateEvent& event) const;
  TimePoint point_of(const PathNode& step) const;
  bool is_effect(const PathNode& step) const;
  const FluentSet& fluents_of(const PathNode& step) const;
  bool add_event_constraints(const SearchState& state, const TimePoint& at,
                             const TemplateEvent& event);
  bool add_deordered_event_constraints(const TimePoint& at, const TemplateEvent& event);
  bool keep_goal_empty(const SearchState& state, const TimePoint& at, const TemplateEvent& event);
  bool order_list_behind(const TodoList& list, const TimePoint& at, const TemplateEvent* event);
  bool order_anchor_behind(std::uint32_t node, double offset, const TimePoint& at, double distance);
  bool keep_off_targets(const SearchState& state, const TimePoint& at, std::uint32_t node,
                        const FluentSet& fluents, bool is_effect_here);
  bool add_opening(const SearchState& state, std::uint32_t template_id);
  bool add_opening_constraints(const SearchState& state, const TimePoint& start);
  bool add_deordered_opening_constraints(const SearchState& state, const TimePoint& start,
                                         const EventTemplate& opened);
  bool must_effects_coincide();
  bool must_write_twice(const SearchState& state, const EventTemplate& opened) const;

  SearchState* finish(const SearchState& state, std::uint32_t template_id, std::uint32_t position,
                      std::uint32_t node);
  void release_path(PathNode* path);
  bool has_unchecked_goals(const SearchState& state) const;

  CompiledTask& task_;
  StepRules rules_;
  Machine machine_;
  Arena arena_;
  SearchNetwork network_;
  std::size_t num_words_;
  std::size_t num_ids_;
  std::size_t num_goal_words_;
  double target_gap_;  // 0 where targets may move
  bool has_met_bounds_ = false;

  // The scratch state and its arrays.
  SearchState scratch_;
  std::vector<std::uint64_t> bits_;
  std::vector<ValueId> ids_;
  std::vector<TodoList> todo_;
  std::vector<std::uint64_t> open_goals_;
  std::vector<std::uint64_t> unchecked_goals_;
  PathNode step_{};

  struct PendingEffect {
    double time;
    TimePoint point;
    const FluentSet* fluents;
  };
  std::vector<PendingEffect> pending_effects_;
};

}  // namespace kelvo::ftp
