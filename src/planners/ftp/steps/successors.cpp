#include "planners/ftp/steps/successors.h"

#include <algorithm>

#include "planners/ftp/task/time_constants.h"
#include "shell/errors.h"

namespace kelvo::ftp {

GuidedSuccessors::GuidedSuccessors(const GuidedTask& task, Compression compression)
    : task_(task),
      compression_(compression),
      machine_(task.task().space()),
      schedule_(task),
      is_open_(task.lists().size()) {}

bool GuidedSuccessors::make_initial_state(GuidedState& state) {
  const CompiledTask& task = task_.task();
  const StateSpace& space = task.space();
  state.bits.assign(space.num_words(), 0);
  state.ids.assign(space.num_ids(), ValueTable::NONE);
  for (std::size_t slot = 0; slot < space.num_slots(); ++slot) {
    space.set(state.bits.data(), state.ids.data(), slot, task.initial_values()[slot]);
  }
  schedule_.start(state);
  return std::all_of(task.initial_conditions().begin(), task.initial_conditions().end(),
                     [&](std::uint32_t program) {
                       return machine_.holds(task.condition(program), state.values());
                     });
}

bool GuidedSuccessors::all_hold(const std::vector<const Condition*>& conditions,
                                const StateValues& values) {
  return std::all_of(conditions.begin(), conditions.end(), [&](const Condition* condition) {
    return machine_.holds(*condition, values);
  });
}

// --- moves ---

bool GuidedSuccessors::compresses(const GuidedList& list) const {
  if (list.num_steps == 1 || compression_ == Compression::NONE) return false;
  return list.may_compress;
}

bool GuidedSuccessors::may_apply(const GuidedState& state, const GuidedStep& step) {
  for (const WordTest& test : step.entry_words) {
    if ((state.values().bits[test.word] & test.mask) != test.expected) return false;
  }
  for (const ValueTest& test : step.entry_values) {
    const ValueId value = state.values().ids[test.position];
    // A slot without a value is left to the condition.
    if (value != ValueTable::NONE && (value == test.value) != test.is_equal) return false;
  }
  return step.other_checks.empty() || all_hold(step.other_checks, state.values());
}

bool GuidedSuccessors::may_open(const GuidedState& state, const GuidedList& list) {
  return list.is_useful && may_apply(state, task_.step(list.first_step));
}

void GuidedSuccessors::collect_moves(const GuidedState& state, std::vector<GuidedMove>& moves) {
  moves.clear();
  for (const OpenAction& open : state.open) {
    is_open_[open.list] = true;
    const GuidedStep& next = task_.step(open.list, open.position);
    if (may_apply(state, next)) moves.push_back({open.list, GuidedMove::Kind::STEP});
  }
  if (state.problem_position < task_.list(GuidedTask::PROBLEM).num_steps) {
    const GuidedStep& next = task_.step(GuidedTask::PROBLEM, state.problem_position);
    if (may_apply(state, next)) {
      moves.push_back({GuidedTask::PROBLEM, GuidedMove::Kind::STEP});
    }
  }
  for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < task_.lists().size(); ++id) {
    const GuidedList& list = task_.list(id);
    if (is_open_[id]) {
      has_met_bounds_ = has_met_bounds_ || may_open(state, list);
      continue;
    }
    if (!may_open(state, list)) continue;
    const bool compressed = compresses(list);
    if (compressed) moves.push_back({id, GuidedMove::Kind::OPEN_ALL});
    if (!compressed || compression_ == Compression::SHORTCUT) {
      moves.push_back({id, GuidedMove::Kind::OPEN});
    }
  }
  for (const OpenAction& open : state.open) is_open_[open.list] = false;
}

std::uint32_t GuidedSuccessors::first_step(const GuidedState& state, GuidedMove move) const {
  const std::uint32_t first = task_.list(move.list).first_step;
  if (move.kind != GuidedMove::Kind::STEP) return first;
  if (move.list == GuidedTask::PROBLEM) return first + state.problem_position;
  const auto open = std::find_if(state.open.begin(), state.open.end(),
                                 [&](const OpenAction& one) { return one.list == move.list; });
  return first + open->position;
}

// --- applying ---

bool GuidedSuccessors::apply(GuidedState& state, GuidedMove move) {
  if (move.kind == GuidedMove::Kind::STEP) {
    if (move.list == GuidedTask::PROBLEM) {
      const GuidedStep& step = task_.step(GuidedTask::PROBLEM, state.problem_position++);
      return apply_step(state, step, 0);
    }
    for (std::size_t i = 0; i < state.open.size(); ++i) {
      if (state.open[i].list == move.list) return apply_next_step(state, i);
    }
    return false;
  }
  if (!open_action(state, move.list)) return false;
  if (move.kind == GuidedMove::Kind::OPEN) return true;
  for (std::uint32_t rest = task_.list(move.list).num_steps - 1; rest > 0; --rest) {
    if (!apply_next_step(state, state.open.size() - 1)) return false;
  }
  return true;
}

bool GuidedSuccessors::open_action(GuidedState& state, std::uint32_t number) {
  const GuidedList& list = task_.list(number);
  const std::uint32_t node = schedule_.add_action(state, number);
  if (list.num_steps > 1) state.open.push_back({number, 1, node});
  return apply_step(state, task_.step(number, 0), node);
}

bool GuidedSuccessors::apply_next_step(GuidedState& state, std::size_t index) {
  const OpenAction open = state.open[index];
  if (open.position + 1 == task_.list(open.list).num_steps) {
    state.open.erase(state.open.begin() + static_cast<std::ptrdiff_t>(index));
  } else {
    ++state.open[index].position;
  }
  return apply_step(state, task_.step(open.list, open.position), open.node);
}

// The lists stand behind the step already.
bool GuidedSuccessors::apply_step(GuidedState& state, const GuidedStep& step, std::uint32_t node) {
  if (!all_hold(step.checks, state.values()) || !apply_effects(state, step) ||
      !all_hold(step.opened, state.values()) || !open_conditions_hold(state, step)) {
    return false;
  }
  const bool is_in_time = schedule_.add_step(state, step, node);
  has_met_bounds_ |= !is_in_time;
  return is_in_time;
}

bool GuidedSuccessors::apply_effects(GuidedState& state, const GuidedStep& step) {
  StateValues before = state.values();
  if (step.has_computed_effects) {
    bits_before_ = state.bits;
    ids_before_ = state.ids;
    before = {bits_before_.data(), ids_before_.data()};
  }
  if (step.may_write_twice && writes_twice(step, before)) return false;
  for (const EffectProgram* effect : step.effects) {
    if (!machine_.apply(*effect, before, state.bits.data(), state.ids.data())) return false;
  }
  return true;
}

// An argument outside its bounds is left to the effect itself.
bool GuidedSuccessors::writes_twice(const GuidedStep& step, const StateValues& before) {
  written_.clear();
  for (const EffectProgram* effect : step.effects) {
    written_.insert(written_.end(), effect->writes.begin(), effect->writes.end());
    for (const Assignment& assignment : effect->assignments) {
      if (assignment.target == nullptr) continue;
      try {
        written_.push_back(machine_.target_slot(*assignment.target, before));
      } catch (const OutOfBoundsValue&) {
        return false;
      }
    }
  }
  std::sort(written_.begin(), written_.end());
  return std::adjacent_find(written_.begin(), written_.end()) != written_.end();
}

bool GuidedSuccessors::open_conditions_hold(const GuidedState& state, const GuidedStep& step) {
  const auto hold = [&](std::uint32_t number, std::uint32_t position) {
    const OpenSet& open = task_.list(number).open_at[position];
    return !have_common_member(open.reads, step.changes) ||
           all_hold(open.conditions, state.values());
  };
  for (const OpenAction& open : state.open) {
    if (!hold(open.list, open.position)) return false;
  }
  return hold(GuidedTask::PROBLEM, state.problem_position);
}

// --- goals ---

bool GuidedSuccessors::end_plan(GuidedState& state) {
  if (!state.open.empty() || !all_hold(task_.goals(), state.values())) return false;
  const bool is_in_time = ends_in_time(state);
  has_met_bounds_ |= !is_in_time;
  return is_in_time;
}

// The goals are read at the end of the plan, one time unit behind what its actions do: behind the
// steps of the problem that have been applied, and not behind the next, as far as those touch a
// goal. All times are least, so that an end can be put off, but not brought forward. The latest
// action is put off where that is possible, else the one before it, and so on.
bool GuidedSuccessors::ends_in_time(GuidedState& state) {
  const GuidedStep* seen = nullptr;
  const GuidedStep* unseen = nullptr;
  for (std::uint32_t i = 0; i < task_.list(GuidedTask::PROBLEM).num_steps; ++i) {
    if (!task_.touches_goal(i)) continue;
    (i < state.problem_position ? seen : unseen) = &task_.step(GuidedTask::PROBLEM, i);
    if (unseen != nullptr) break;
  }
  const auto is_early = [&] {
    return unseen == nullptr ||
           schedule_.makespan(state) + PLAN_END_GAP <= unseen->offset + STEP_TOLERANCE;
  };
  if (!is_early()) return false;
  if (seen == nullptr || schedule_.makespan(state) + PLAN_END_GAP > seen->offset + STEP_TOLERANCE) {
    return rest_of_problem_applies(state);
  }
  rational end = seen->exact_offset + task_.write_gap();
  if (unseen != nullptr && unseen->exact_offset < end) {
    end = (seen->exact_offset + unseen->exact_offset) / 2;
  }
  std::vector<std::uint32_t> nodes;
  for (std::uint32_t node = 1; node < state.times.size(); ++node) nodes.push_back(node);
  const std::vector<double> times = state.times;
  std::stable_sort(nodes.begin(), nodes.end(),
                   [&](std::uint32_t a, std::uint32_t b) { return times[a] > times[b]; });
  const std::size_t num_recorded = schedule_.num_recorded();
  return std::any_of(nodes.begin(), nodes.end(), [&](std::uint32_t node) {
    if (schedule_.put_off(state, node, end) && is_early() && rest_of_problem_applies(state)) {
      return true;
    }
    state.times = times;
    schedule_.cut_back_record(num_recorded);
    return false;
  });
}

// What the problem still asks behind the end of the plan, and that no value leaves its bounds.
// Nothing but its own steps is left.
bool GuidedSuccessors::rest_of_problem_applies(const GuidedState& state) {
  const std::uint32_t num_steps = task_.list(GuidedTask::PROBLEM).num_steps;
  if (state.problem_position == num_steps) return true;
  const GuidedSchedule::Mark mark = schedule_.mark();
  GuidedState rest = state;
  bool applies = true;
  while (applies && rest.problem_position < num_steps) {
    const GuidedStep& step = task_.step(GuidedTask::PROBLEM, rest.problem_position++);
    applies = apply_step(rest, step, 0);
  }
  schedule_.cut_back(mark);
  return applies;
}

}  // namespace kelvo::ftp
