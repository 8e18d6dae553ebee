#include "planners/ftp/task/step_task.h"

#include <algorithm>
#include <numeric>

#include "planners/ftp/task/coincidence.h"
#include "planners/ftp/task/reachability.h"
#include "planners/ftp/task/step_maker.h"
#include "planners/ftp/task/time_constants.h"

namespace kelvo::ftp {

const rational* GuidedTask::gap_between(const GuidedStep& earlier, const GuidedStep& later) const {
  if (have_common_member(earlier.writes, later.reads) ||
      have_common_member(earlier.writes, later.writes)) {
    return &write_gap_;
  }
  if (have_common_member(earlier.writes, later.reads_behind) ||
      have_common_member(earlier.reads, later.writes) ||
      have_common_member(earlier.reads_behind, later.writes)) {
    return &read_gap(earlier, later);
  }
  return nullptr;
}

GuidedTask::GuidedTask(CompiledTask& task) : task_(task), lists_(task.templates().size()) {
  write_gap_ = exact_gap();
  if (task.no_moving_targets()) {
    write_gap_ = target_gap(task.plan_epsilon());
    read_gap_ = write_gap_;
  }
  GuidedStepMaker maker(*this);
  maker.add_problem();
  for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < lists_.size(); ++id) {
    maker.add_action(id);
  }
  lists_[CompiledTask::PROBLEM_END].is_useful = false;

  // What never changes is known first: it is no reason to order steps, and no way to a goal.
  find_reachable_actions();
  find_order_slots();
  collect_accesses();
  number_order_slots();
  find_relevant_actions();
  find_compressible_actions();
  collect_entries();
}

bool GuidedTask::is_complete() const {
  return obstacle_.empty() && !leaves_out_actions_ && !may_need_coincidence(*this);
}

// --- what can be reached, and what changes ---

void GuidedTask::find_reachable_actions() {
  GuidedReachability reachability(*this);
  for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < lists_.size(); ++id) {
    lists_[id].is_useful = lists_[id].is_useful && reachability.is_reached(id);
  }
  // The effects of what was left out no longer count.
  const GuidedReachability remaining(*this);
  is_constant_.resize(num_slots());
  for (std::uint32_t slot = 0; slot < num_slots(); ++slot) {
    is_constant_[slot] = !remaining.may_change(slot);
  }
}

// --- which slots order the steps ---

// Slots that a durative condition reads are joined, unless it is a conjunction of literals.
void GuidedTask::find_order_slots() {
  order_slot_.resize(num_slots());
  std::iota(order_slot_.begin(), order_slot_.end(), 0U);
  const auto root_of = [this](std::uint32_t slot) {
    while (order_slot_[slot] != slot) {
      order_slot_[slot] = order_slot_[order_slot_[slot]];
      slot = order_slot_[slot];
    }
    return slot;
  };
  for (const GuidedList& list : lists_) {
    for (const OpenSet& open : list.open_at) {
      for (const Condition* condition : open.conditions) {
        if (condition->is_conjunction) continue;
        SlotSet reads;
        add_reads(condition->program, reads);
        for (const std::uint32_t slot : reads.members) {
          order_slot_[root_of(slot)] = root_of(reads.members.front());
        }
      }
    }
  }
  for (std::uint32_t slot = 0; slot < num_slots(); ++slot) order_slot_[slot] = root_of(slot);
}

void GuidedTask::add_reads(const Program& program, SlotSet& slots, bool with_constants) const {
  const auto add = [&](std::uint32_t slot) {
    if (with_constants || !is_constant_[slot]) slots.add(slot);
  };
  if (program.reads_all) {
    for (std::uint32_t slot = 0; slot < num_slots(); ++slot) add(slot);
    return;
  }
  std::for_each(program.reads.begin(), program.reads.end(), add);
}

// Two steps that may not touch one slot at one instant may not even if it keeps its value.
void GuidedTask::add_accesses(GuidedStep& step) const {
  const bool with_constants = read_gap_ > 0;
  SlotSet reads;
  SlotSet reads_behind;
  for (const Condition* condition : step.checks)
    add_reads(condition->program, reads, with_constants);
  for (const Condition* condition : step.opened)
    add_reads(condition->program, reads_behind, with_constants);
  for (const EffectProgram* effect : step.effects) {
    if (effect->writes_all) {
      for (std::uint32_t slot = 0; slot < num_slots(); ++slot) step.changes.add(slot);
    }
    for (const std::uint32_t slot : effect->writes) step.changes.add(slot);
    for (const Assignment& assignment : effect->assignments) {
      if (!assignment.is_constant) add_reads(assignment.value, reads, with_constants);
      if (assignment.target != nullptr) add_reads(*assignment.target, reads, with_constants);
    }
  }
  for (const std::uint32_t slot : reads.members) step.reads.add(order_slot_[slot]);
  for (const std::uint32_t slot : step.changes.members) step.writes.add(order_slot_[slot]);
  step.reads.finish();
  for (const std::uint32_t slot : reads_behind.members) {
    if (!step.reads.contains(order_slot_[slot])) step.reads_behind.add(order_slot_[slot]);
  }
  step.reads_behind.finish();
  step.writes.finish();
  step.changes.finish();
}

void GuidedTask::collect_accesses() {
  for (GuidedStep& step : steps_) add_accesses(step);
  for (GuidedList& list : lists_) {
    for (OpenSet& open : list.open_at) {
      for (const Condition* condition : open.conditions) add_reads(condition->program, open.reads);
      open.reads.finish();
    }
  }
  const GuidedList& problem = lists_[PROBLEM];
  SlotSet goal_reads;
  for (const Condition* goal : goals_) add_reads(goal->program, goal_reads);
  goal_reads.finish();
  for (std::uint32_t position = 0; position < problem.num_steps; ++position) {
    const GuidedStep& at = step(PROBLEM, position);
    touches_goal_.push_back(have_common_member(at.changes, goal_reads));
  }
}

// Schedules keep users of each slot with every state, so that they are numbered without gaps.
void GuidedTask::number_order_slots() {
  std::vector<std::uint32_t> numbers(num_slots(), NO_ORDER);
  for (const GuidedStep& step : steps_) {
    for (const std::uint32_t slot : step.writes.members) numbers[slot] = 0;
  }
  num_order_slots_ = 0;
  for (std::uint32_t& number : numbers) {
    if (number != NO_ORDER) number = static_cast<std::uint32_t>(num_order_slots_++);
  }
  const auto renumber = [&](SlotSet& slots) {
    SlotSet result;
    for (const std::uint32_t slot : slots.members) {
      if (numbers[slot] != NO_ORDER) result.add(numbers[slot]);
    }
    result.finish();
    slots = std::move(result);
  };
  for (GuidedStep& step : steps_) {
    renumber(step.reads);
    renumber(step.reads_behind);
    renumber(step.writes);
  }
  for (std::uint32_t& slot : order_slot_) slot = numbers[slot];
}

// --- what tells a step that does not apply ---

namespace {

void add_word_test(std::vector<WordTest>& tests, std::uint32_t position, bool value) {
  const std::uint64_t bit = std::uint64_t{1} << (position % 64);
  auto test = std::find_if(tests.begin(), tests.end(),
                           [&](const WordTest& one) { return one.word == position / 64; });
  if (test == tests.end()) test = tests.insert(test, {position / 64, 0, 0});
  test->mask |= bit;
  if (value) test->expected |= bit;
}

}  // namespace

void GuidedTask::collect_entries() {
  const StateSpace& space = task_.space();
  for (GuidedStep& step : steps_) {
    const auto add = [&](const SlotLiteral& literal) {
      const SlotPlace place = space.place(literal.slot);
      if (place.is_boolean) {
        add_word_test(step.entry_words, place.position, literal.value == ValueTable::TRUE);
      } else {
        step.entry_values.push_back(
            {literal.slot, place.position, literal.value, literal.is_equal});
      }
    };
    for (const Condition* check : step.checks) {
      if (check->is_conjunction && !check->never) {
        for_each_literal(space, *check, add);
      } else {
        step.other_checks.push_back(check);
      }
    }
    for (const Condition* opened : step.opened) {
      if (!opened->is_conjunction) continue;
      for_each_literal(space, *opened, [&](const SlotLiteral& literal) {
        if (!step.changes.contains(literal.slot)) add(literal);
      });
    }
  }
}

// --- what may help ---

bool GuidedTask::has_steps_that_touch_goals() const {
  return std::find(touches_goal_.begin(), touches_goal_.end(), true) != touches_goal_.end();
}

// Where a goal depends on when the plan ends, any action may help.
void GuidedTask::find_relevant_actions() {
  if (has_steps_that_touch_goals()) return;
  std::vector<std::vector<std::uint32_t>> writers(num_slots());
  for (const GuidedStep& step : steps_) {
    if (!lists_[step.list].is_useful) continue;
    for (const std::uint32_t slot : step.changes.members) {
      if (!is_constant_[slot]) writers[slot].push_back(step.list);
    }
  }
  std::vector<bool> is_wanted(num_slots());
  std::vector<std::uint32_t> open;
  const auto want = [&](const Program& program) {
    SlotSet slots;
    add_reads(program, slots);
    for (const std::uint32_t slot : slots.members) {
      if (is_wanted[slot]) continue;
      is_wanted[slot] = true;
      open.push_back(slot);
    }
  };
  const auto want_all_of = [&](std::uint32_t number) {
    const GuidedList& list = lists_[number];
    for (std::uint32_t position = 0; position < list.num_steps; ++position) {
      const GuidedStep& at = step(number, position);
      for (const Condition* condition : at.checks) want(condition->program);
      for (const EffectProgram* effect : at.effects) {
        for (const Assignment& assignment : effect->assignments) {
          if (!assignment.is_constant) want(assignment.value);
          if (assignment.target != nullptr) want(*assignment.target);
        }
      }
    }
    for (const OpenSet& between : list.open_at) {
      for (const Condition* condition : between.conditions) want(condition->program);
    }
  };
  for (const Condition* goal : goals_) want(goal->program);
  want_all_of(PROBLEM);
  std::vector<bool> is_relevant(lists_.size());
  while (!open.empty()) {
    const std::uint32_t slot = open.back();
    open.pop_back();
    for (const std::uint32_t number : writers[slot]) {
      if (is_relevant[number]) continue;
      is_relevant[number] = true;
      want_all_of(number);
    }
  }
  for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < lists_.size(); ++id) {
    lists_[id].is_useful = lists_[id].is_useful && is_relevant[id];
  }
}

}  // namespace kelvo::ftp
