// Which openings of a guided task may apply the rest of their list at once.

#include <algorithm>
#include <optional>
#include <vector>

#include "planners/ftp/task/step_task.h"

namespace kelvo::ftp {

namespace {

/// What a step makes of a slot: nothing for a value that depends on the state.
struct SlotChange {
  std::uint32_t slot;
  std::uint32_t position;
  std::optional<ValueId> value;
};

/// What the conditions of a task ask of its slots.
class Uses {
 public:
  explicit Uses(std::size_t num_slots) : literals_(num_slots), any_value_(num_slots) {}

  void add(const Condition& condition, const StateSpace& space) {
    if (!condition.is_conjunction) {
      add_reads(condition.program);
      return;
    }
    for_each_literal(space, condition, [this](const SlotLiteral& literal) {
      std::vector<SlotLiteral>& known = literals_[literal.slot];
      if (std::find(known.begin(), known.end(), literal) == known.end()) known.push_back(literal);
    });
  }

  void add_reads(const Program& program) {
    if (program.reads_all) any_value_.assign(any_value_.size(), true);
    for (const std::uint32_t slot : program.reads) any_value_[slot] = true;
  }

  bool may_need(std::uint32_t slot, ValueId value) const {
    return any_value_[slot] ||
           std::any_of(literals_[slot].begin(), literals_[slot].end(),
                       [&](const SlotLiteral& literal) { return literal.holds_for(value); });
  }

 private:
  std::vector<std::vector<SlotLiteral>> literals_;
  std::vector<bool> any_value_;
};

std::vector<SlotChange> changes_of(const GuidedTask& task, const GuidedList& list) {
  std::vector<SlotChange> result;
  for (std::uint32_t position = 0; position < list.num_steps; ++position) {
    const GuidedStep& step = task.step(list.first_step + position);
    for_each_change(task.task().space(), step, [&](std::uint32_t slot, auto value) {
      result.push_back({slot, position, value});
    });
  }
  return result;
}

/// Whether the action gives a slot a value that a condition may need and that it takes away later.
bool has_temporary_literal(const std::vector<SlotChange>& changes, const Uses& uses) {
  for (const SlotChange& first : changes) {
    if (!first.value || !uses.may_need(first.slot, *first.value)) continue;
    for (const SlotChange& later : changes) {
      if (later.slot != first.slot || later.position <= first.position) continue;
      if (later.value != first.value) return true;
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
