#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "planners/ftp/steps/schedule.h"
#include "planners/ftp/task/step_state.h"
#include "planners/ftp/task/step_task.h"
#include "planners/task/machine.h"

namespace kelvo::ftp {

/// Whether an opening applies the rest of its list at once, where that is harmless as a rule.
enum class Compression {
  NONE,
  SHORTCUT,  // beside the plain opening, so that nothing is lost
  FULL,      // if that can be done
};

/// Makes the successors of guided states.
class GuidedSuccessors {
 public:
  /// The task is borrowed.
  GuidedSuccessors(const GuidedTask& task, Compression compression);

  /// False when what must hold at the start of the plan does not.
  bool make_initial_state(GuidedState& state);

  /// What may be applied in the state, as far as its values tell.
  void collect_moves(const GuidedState& state, std::vector<GuidedMove>& moves);
  /// Applies the move to the state, which is a copy of its parent. False when it does not apply:
  /// then the state is spoilt, and what it added has to be cut off the schedule.
  bool apply(GuidedState& state, GuidedMove move);
  /// What to try when the move does not apply: a compressed opening may do so without the rest.
  std::optional<GuidedMove> replacement_of(GuidedMove move) const {
    if (move.kind != GuidedMove::Kind::OPEN_ALL || compression_ != Compression::FULL) return {};
    return GuidedMove{move.list, GuidedMove::Kind::OPEN};
  }

  /// Ends the plan here; false when it is not complete. Where the goals need what the problem does
  /// later than a time unit after the plan, an action of the state is put off.
  bool end_plan(GuidedState& state);
  /// The step that a move applies first.
  std::uint32_t first_step(const GuidedState& state, GuidedMove move) const;

  /// Whether a step or a plan was refused because of its times, or an opening because the action
  /// was open already.
  bool has_met_bounds() const { return has_met_bounds_; }

  GuidedSchedule& schedule() { return schedule_; }
  const GuidedSchedule& schedule() const { return schedule_; }
  const GuidedTask& task() const { return task_; }

 private:
  bool all_hold(const std::vector<const Condition*>& conditions, const StateValues& values);
  bool apply_step(GuidedState& state, const GuidedStep& step, std::uint32_t node);
  bool apply_effects(GuidedState& state, const GuidedStep& step);
  bool writes_twice(const GuidedStep& step, const StateValues& before);
  bool open_conditions_hold(const GuidedState& state, const GuidedStep& step);
  bool open_action(GuidedState& state, std::uint32_t list);
  bool apply_next_step(GuidedState& state, std::size_t open);
  bool ends_in_time(GuidedState& state);
  bool rest_of_problem_applies(const GuidedState& state);
  bool compresses(const GuidedList& list) const;
  /// Whether the step may apply as far as can be told before its effects.
  bool may_apply(const GuidedState& state, const GuidedStep& step);
  bool may_open(const GuidedState& state, const GuidedList& list);

  const GuidedTask& task_;
  Compression compression_;
  Machine machine_;
  GuidedSchedule schedule_;
  std::vector<bool> is_open_;
  bool has_met_bounds_ = false;
  std::vector<std::uint64_t> bits_before_;
  std::vector<ValueId> ids_before_;
  std::vector<std::size_t> written_;
};

}  // namespace kelvo::ftp
