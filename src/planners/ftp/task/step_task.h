#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "planners/ftp/task/compiled_task.h"
#include "planners/task/id_set.h"
#include "planners/task/literals.h"
#include "planners/task/program.h"
#include "shell/numbers.h"

namespace kelvo::ftp {

/// All that one action, or the problem, does at one instant: first its conditions are tested, then
/// its effects are applied, then durative conditions open. An effect is not seen by a condition of
/// the same instant, so that this is what the instant means, however many events it is told as.
struct GuidedStep {
  std::uint32_t list = 0;
  std::uint32_t position = 0;
  /// Which node of the schedule the step is tied to, and how far behind it.
  bool at_end_node = false;
  rational exact_offset;
  double offset = 0;
  std::vector<const Condition*> checks;
  std::vector<const EffectProgram*> effects;
  /// The conditions that open here and stay open behind it.
  std::vector<const Condition*> opened;
  /// What can be told before the step is applied: the literals of its checks, and of what opens
  /// those whose slots it leaves alone. As a rule this tells most steps that don't apply.
  std::vector<WordTest> entry_words;
  std::vector<ValueTest> entry_values;
  /// The checks that are no conjunctions of literals.
  std::vector<const Condition*> other_checks;
  /// An effect computes a value, so that the state before it is needed.
  bool has_computed_effects = false;
  /// Several effects, one of them on a fluent whose arguments depend on the state: two may meet.
  bool may_write_twice = false;

  /// What orders the step among others: see `GuidedTask`. What `reads` asks is the value before the
  /// instant of the step; what `reads_behind` asks beside it, as conditions do that open here, is
  /// the value behind that instant.
  SlotSet reads;
  SlotSet reads_behind;
  SlotSet writes;
  /// The slots of the state that the effects change.
  SlotSet changes;
};

/// Calls `visit(slot, value)` for what the step changes, as `kelvo::for_each_change`; slots that an
/// argument which depends on the state may stand for come without a value.
template <typename Visitor>
void for_each_change(const StateSpace& space, const GuidedStep& step, Visitor&& visit) {
  bool writes_all = false;
  for (const EffectProgram* effect : step.effects) {
    kelvo::for_each_change(space, *effect, visit);
    writes_all |= effect->writes_all;
  }
  if (!writes_all) return;
  for (const std::uint32_t slot : step.changes.members) visit(slot, std::optional<ValueId>());
}

/// The durative conditions that are open between two steps.
struct OpenSet {
  std::vector<const Condition*> conditions;
  SlotSet reads;
};

/// The steps of an action, or those of the problem with a time after its start.
struct GuidedList {
  model::Action action;  // null for the problem's
  std::uint32_t first_step = 0;
  std::uint32_t num_steps = 0;
  /// By position: what is open before the step there is applied.
  std::vector<OpenSet> open_at;
  /// One node of the schedule for an action whose duration is fixed, else two.
  bool has_fixed_duration = true;
  bool has_upper = true;
  rational exact_lower;
  rational exact_upper;
  double lower = 0;
  double upper = 0;
  /// With a fixed duration: how far behind the start its end and its effects are.
  rational exact_latest;
  double latest_offset = 0;

  /// Can be reached, and may help towards a goal.
  bool is_useful = true;
  /// An opening may apply the rest of the list at once: it holds nothing only for a while that
  /// another action could need in between.
  bool may_compress = false;
};

/// A compiled task as the guided search takes it: lists of steps instead of events, without actions
/// that can't be reached or don't help, and which slots order the steps.
///
/// A schedule keeps, slot by slot, the order of the steps that write it among each other and to
/// those that read it. That makes the values of the search come true as long as each condition is
/// a conjunction of literals. A durative condition that is more, as a disjunction, may break in
/// between if writers of two of its slots change places: such slots are ordered as if they were
/// one. A slot that never changes orders only its writers.
class GuidedTask {
 public:
  /// The list of the problem; the others are those of the actions, by template number.
  static constexpr std::uint32_t PROBLEM = 0;

  /// The task is borrowed.
  explicit GuidedTask(CompiledTask& task);

  CompiledTask& task() const { return task_; }
  /// Why the task can't be treated: empty if it can.
  const std::string& obstacle() const { return obstacle_; }

  /// Whether a search over steps misses no plan, but for those that need smaller gaps or two
  /// executions of an action at a time.
  bool is_complete() const;

  const std::vector<GuidedStep>& steps() const { return steps_; }
  const GuidedStep& step(std::uint32_t number) const { return steps_[number]; }
  const GuidedStep& step(std::uint32_t list, std::uint32_t position) const {
    return steps_[lists_[list].first_step + position];
  }
  const std::vector<GuidedList>& lists() const { return lists_; }
  const GuidedList& list(std::uint32_t number) const { return lists_[number]; }

  /// What must hold at the end of the plan.
  const std::vector<const Condition*>& goals() const { return goals_; }
  /// By step of the problem: writes what a goal reads.
  bool touches_goal(std::uint32_t position) const { return touches_goal_[position]; }
  bool has_steps_that_touch_goals() const;

  /// How far apart the schedule keeps two steps of which the later one must see, or overwrite, what
  /// the earlier one writes.
  const rational& write_gap() const { return write_gap_; }
  /// And a step that writes behind one that reads, of different actions: nothing, for an instant is
  /// read before it is written, or as much where targets may not move. What the problem does is no
  /// moving target.
  const rational& read_gap() const { return read_gap_; }
  const rational& read_gap(const GuidedStep& one, const GuidedStep& other) const {
    return one.list == PROBLEM || other.list == PROBLEM ? no_gap_ : read_gap_;
  }
  /// The gap between two steps of different actions in this order; nothing when they do not
  /// interfere.
  const rational* gap_between(const GuidedStep& earlier, const GuidedStep& later) const;

  /// Slots that keep their initial value whatever is done.
  bool is_constant(std::uint32_t slot) const { return is_constant_[slot]; }
  std::size_t num_slots() const { return task_.space().num_slots(); }

  /// The slots of a schedule, which `reads` and `writes` of steps name: several slots of the state
  /// may be one, and what no step writes is none.
  static constexpr std::uint32_t NO_ORDER = 0xffffffff;
  std::uint32_t order_slot(std::uint32_t slot) const { return order_slot_[slot]; }
  std::size_t num_order_slots() const { return num_order_slots_; }

 private:
  friend class GuidedStepMaker;

  void find_reachable_actions();
  void find_order_slots();
  void collect_accesses();
  void number_order_slots();
  void find_relevant_actions();
  void find_compressible_actions();
  void collect_entries();
  void add_reads(const Program& program, SlotSet& slots, bool with_constants = false) const;
  void add_accesses(GuidedStep& step) const;

  CompiledTask& task_;
  rational write_gap_;
  rational read_gap_;
  rational no_gap_;
  std::string obstacle_;
  bool leaves_out_actions_ = false;
  std::vector<GuidedStep> steps_;
  std::vector<GuidedList> lists_;
  std::vector<const Condition*> goals_;
  std::vector<bool> touches_goal_;
  std::vector<bool> is_constant_;
  std::vector<std::uint32_t> order_slot_;  // by slot
  std::size_t num_order_slots_ = 0;
};

}  // namespace kelvo::ftp
