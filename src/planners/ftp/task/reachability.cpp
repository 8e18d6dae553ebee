#include "planners/ftp/task/reachability.h"

#include <algorithm>

namespace kelvo::ftp {

namespace {

void grow(std::uint64_t& word, std::uint64_t bits, bool& has_grown) {
  if ((bits & ~word) == 0) return;
  word |= bits;
  has_grown = true;
}

}  // namespace

GuidedReachability::GuidedReachability(const GuidedTask& task)
    : task_(task),
      space_(task.task().space()),
      may_be_true_(space_.num_words()),
      may_be_false_(space_.num_words()),
      is_written_(space_.num_slots()),
      num_reached_(task.lists().size()) {
  for (std::uint32_t slot = 0; slot < space_.num_slots(); ++slot) {
    const SlotPlace place = space_.place(slot);
    if (!place.is_boolean) continue;
    const bool value = task.task().initial_values()[slot] == ValueTable::TRUE;
    std::vector<std::uint64_t>& words = value ? may_be_true_ : may_be_false_;
    words[place.position / 64] |= std::uint64_t{1} << (place.position % 64);
  }
  // What the problem does at some time counts as possible from the start.
  const GuidedList& problem = task.list(GuidedTask::PROBLEM);
  for (std::uint32_t position = 0; position < problem.num_steps; ++position) {
    apply(task.step(GuidedTask::PROBLEM, position));
  }
  do {
    has_grown_ = false;
    for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < task.lists().size(); ++id) {
      if (!task.list(id).is_useful) continue;
      while (reach_next_step(id)) has_grown_ = true;
    }
  } while (has_grown_);
}

bool GuidedReachability::reach_next_step(std::uint32_t list) {
  if (is_reached(list)) return false;
  const GuidedStep& step = task_.step(list, num_reached_[list]);
  for (const Condition* condition : step.checks) {
    if (!is_possible(*condition, nullptr)) return false;
  }
  for (const Condition* condition : step.opened) {
    if (!is_possible(*condition, &step)) return false;
  }
  for (const EffectProgram* effect : step.effects) {
    if (effect->never) return false;
  }
  apply(step);
  ++num_reached_[list];
  return true;
}

bool GuidedReachability::is_possible(const Condition& condition, const GuidedStep* behind) const {
  if (!condition.is_mask) return true;
  if (condition.never) return false;
  for (const WordTest& test : condition.tests) {
    std::uint64_t may_be_true = may_be_true_[test.word];
    std::uint64_t may_be_false = may_be_false_[test.word];
    if (behind != nullptr) {
      for (const EffectProgram* effect : behind->effects) {
        if (!effect->assignments.empty()) return true;
        for (const WordUpdate& update : effect->updates) {
          if (update.word != test.word) continue;
          may_be_true |= update.set;
          may_be_false |= update.clear & ~update.set;
        }
      }
    }
    if ((test.expected & ~may_be_true) != 0) return false;
    if ((test.mask & ~test.expected & ~may_be_false) != 0) return false;
  }
  return true;
}

void GuidedReachability::make_any(std::uint32_t slot) {
  if (!is_written_[slot]) has_grown_ = true;
  is_written_[slot] = true;
  const SlotPlace place = space_.place(slot);
  if (!place.is_boolean) return;
  const std::uint64_t bit = std::uint64_t{1} << (place.position % 64);
  grow(may_be_true_[place.position / 64], bit, has_grown_);
  grow(may_be_false_[place.position / 64], bit, has_grown_);
}

void GuidedReachability::apply(const GuidedStep& step) {
  for (const EffectProgram* effect : step.effects) {
    for (const WordUpdate& update : effect->updates) {
      grow(may_be_true_[update.word], update.set, has_grown_);
      grow(may_be_false_[update.word], update.clear & ~update.set, has_grown_);
    }
    for (const Assignment& assignment : effect->assignments) {
      if (assignment.target == nullptr) make_any(assignment.slot);
    }
    if (!effect->writes_all) continue;
    for (std::uint32_t slot = 0; slot < space_.num_slots(); ++slot) make_any(slot);
  }
}

bool GuidedReachability::may_change(std::uint32_t slot) const {
  const SlotPlace place = space_.place(slot);
  if (!place.is_boolean) return is_written_[slot];
  const std::uint64_t bit = std::uint64_t{1} << (place.position % 64);
  return (may_be_true_[place.position / 64] & may_be_false_[place.position / 64] & bit) != 0;
}

}  // namespace kelvo::ftp
