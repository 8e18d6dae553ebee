// Which openings of a guided task may apply the rest of their list at once.

#include <optional>

#include "planners/ftp/task/step_task.h"

namespace kelvo::ftp {

namespace {

/// What a step makes of a slot.
enum class Change : std::uint8_t { TO_TRUE, TO_FALSE, TO_CONSTANT, COMPUTED };

struct SlotChange {
  std::uint32_t slot;
  std::uint32_t position;
  Change change;
};

/// Where the conditions of a task need a slot true, false, or read it at all.
struct Uses {
  std::vector<bool> as_true;
  std::vector<bool> as_false;

  explicit Uses(std::size_t num_slots) : as_true(num_slots), as_false(num_slots) {}

  bool any(std::uint32_t slot) const { return as_true[slot] || as_false[slot]; }

  void add_reads(const Program& program) {
    if (program.reads_all) {
      as_true.assign(as_true.size(), true);
      as_false.assign(as_false.size(), true);
    }
    for (const std::uint32_t slot : program.reads) {
      as_true[slot] = true;
      as_false[slot] = true;
    }
  }

  void add(const Condition& condition, const StateSpace& space) {
    if (!condition.is_mask) {
      add_reads(condition.program);
      return;
    }
    for (const std::uint32_t slot : condition.program.reads) {
      const std::uint32_t position = space.place(slot).position;
      for (const WordTest& test : condition.tests) {
        if (test.word != position / 64) continue;
        const bool is_true = (test.expected >> (position % 64) & 1) != 0;
        (is_true ? as_true : as_false)[slot] = true;
      }
    }
  }
};

std::vector<SlotChange> changes_of(const GuidedTask& task, const GuidedList& list) {
  const StateSpace& space = task.task().space();
  std::vector<SlotChange> result;
  for (std::uint32_t position = 0; position < list.num_steps; ++position) {
    const GuidedStep& step = task.step(list.first_step + position);
    for (const EffectProgram* effect : step.effects) {
      for (const std::uint32_t slot : effect->writes) {
        const SlotPlace place = space.place(slot);
        Change change = Change::COMPUTED;
        for (const Assignment& assignment : effect->assignments) {
          if (assignment.slot != slot || assignment.target != nullptr) continue;
          if (!assignment.is_constant) break;
          change = Change::TO_CONSTANT;
        }
        for (const WordUpdate& update : effect->updates) {
          if (!place.is_boolean || update.word != place.position / 64) continue;
          if ((update.clear >> (place.position % 64) & 1) == 0) continue;
          const bool is_true = (update.set >> (place.position % 64) & 1) != 0;
          change = is_true ? Change::TO_TRUE : Change::TO_FALSE;
        }
        result.push_back({slot, position, change});
      }
    }
  }
  return result;
}

/// Whether the action makes something true that a condition may need and that it unmakes later.
bool has_temporary_literal(const std::vector<SlotChange>& changes, const Uses& uses) {
  for (const SlotChange& first : changes) {
    for (const SlotChange& later : changes) {
      if (later.slot != first.slot || later.position <= first.position) continue;
      if (first.change == Change::TO_TRUE && later.change == Change::TO_TRUE) continue;
      if (first.change == Change::TO_FALSE && later.change == Change::TO_FALSE) continue;
      const bool is_needed = first.change == Change::TO_TRUE       ? uses.as_true[first.slot]
                             : first.change == Change::TO_FALSE    ? uses.as_false[first.slot]
                             : first.change == Change::TO_CONSTANT ? uses.any(first.slot)
                                                                   : false;
      if (is_needed) return true;
    }
  }
  return false;
}

}  // namespace

void GuidedTask::find_compressible_actions() {
  const StateSpace& space = task_.space();
  Uses uses(num_slots());
  for (const GuidedStep& step : steps_) {
    if (!lists_[step.list].is_useful && step.list != PROBLEM) continue;
    for (const Condition* condition : step.checks) uses.add(*condition, space);
    for (const Condition* condition : step.opened) uses.add(*condition, space);
    for (const EffectProgram* effect : step.effects) {
      for (const Assignment& assignment : effect->assignments) {
        if (!assignment.is_constant) uses.add_reads(assignment.value);
        if (assignment.target != nullptr) uses.add_reads(*assignment.target);
      }
    }
  }
  for (const Condition* goal : goals_) uses.add(*goal, space);
  for (const Condition* open : lists_[PROBLEM].open_at[0].conditions) uses.add(*open, space);
  for (GuidedList& list : lists_) {
    if (!list.is_useful) continue;
    bool writes_all = false;
    for (std::uint32_t position = 0; position < list.num_steps; ++position) {
      for (const EffectProgram* effect : steps_[list.first_step + position].effects) {
        writes_all |= effect->writes_all;
      }
    }
    if (writes_all) continue;
    list.may_compress = !has_temporary_literal(changes_of(*this, list), uses);
  }
}

}  // namespace kelvo::ftp
