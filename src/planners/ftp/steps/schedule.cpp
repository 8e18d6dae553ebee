#include "planners/ftp/steps/schedule.h"

#include <algorithm>

#include "planners/ftp/task/time_constants.h"

namespace kelvo::ftp {

namespace {

const rational NOTHING = 0;

std::uint32_t node_of(const GuidedStep& step, std::uint32_t node) {
  return step.at_end_node ? node + 1 : node;
}

}  // namespace

GuidedSchedule::GuidedSchedule(const GuidedTask& task)
    : task_(task),
      write_gap_{&task.write_gap(), to_double(task.write_gap())},
      no_gap_{&NOTHING, 0} {}

void GuidedSchedule::start(GuidedState& state) const {
  state.times.assign(1, 0.0);
  state.heads.assign(1, NONE);
  state.node_lists.assign(1, GuidedTask::PROBLEM);
  state.slots.assign(task_.num_order_slots(), SlotUsers());
}

void GuidedSchedule::cut_back(const Mark& mark) {
  edges_.resize(mark.num_edges);
  points_.resize(mark.num_points);
  readers_.resize(mark.num_readers);
}

// --- the network ---

bool GuidedSchedule::add_edge(GuidedState& state, std::uint32_t from, std::uint32_t to,
                              double weight) {
  const double earliest = state.times[from] + weight;
  const bool raises = earliest > state.times[to] + STEP_TOLERANCE;
  if (from != 0) {  // node 0 never moves, so that its constraints are met once and for all
    edges_.push_back({state.heads[from], to, weight});
    state.heads[from] = static_cast<std::uint32_t>(edges_.size() - 1);
  }
  if (!raises) return true;
  if (to == 0) return false;
  state.times[to] = earliest;
  return propagate(state, from, to);
}

// All times are least, so that the start of the plan, or the source of the newest constraint, is
// raised if and only if there is a positive cycle.
bool GuidedSchedule::propagate(GuidedState& state, std::uint32_t source, std::uint32_t raised) {
  if (is_queued_.size() < state.times.size()) is_queued_.resize(state.times.size() + 16);
  queue_.assign(1, raised);
  is_queued_[raised] = 1;
  bool is_consistent = true;
  for (std::size_t i = 0; i < queue_.size(); ++i) {
    const std::uint32_t node = queue_[i];
    is_queued_[node] = 0;
    if (!is_consistent) continue;
    for (std::uint32_t e = state.heads[node]; e != NONE; e = edges_[e].next) {
      const Edge& edge = edges_[e];
      const double earliest = state.times[node] + edge.weight;
      if (!(earliest > state.times[edge.to] + STEP_TOLERANCE)) continue;
      if (edge.to == 0 || (edge.to == source && source != 0)) {
        is_consistent = false;
        break;
      }
      state.times[edge.to] = earliest;
      if (is_queued_[edge.to] != 0) continue;
      is_queued_[edge.to] = 1;
      queue_.push_back(edge.to);
    }
  }
  return is_consistent;
}

std::uint32_t GuidedSchedule::add_action(GuidedState& state, std::uint32_t number) {
  const GuidedList& list = task_.list(number);
  const std::uint32_t start = static_cast<std::uint32_t>(state.times.size());
  const auto add_node = [&](double time) {
    state.times.push_back(time);
    state.heads.push_back(NONE);
    state.node_lists.push_back(number);
  };
  add_node(0);
  if (list.has_fixed_duration) return start;
  const std::uint32_t end = start + 1;
  add_node(0);
  if (record_ != nullptr) {
    record_->push_back({start, end, list.exact_lower});
    if (list.has_upper) record_->push_back({end, start, -list.exact_upper});
  }
  add_edge(state, start, end, list.lower);
  if (list.has_upper) add_edge(state, end, start, -list.upper);
  // The steps keep the order of their list.
  for (std::uint32_t position = 0; position < list.num_steps; ++position) {
    const GuidedStep& later = task_.step(number, position);
    // No step is before the start of the plan.
    if (position == 0) continue;
    const GuidedStep& earlier = task_.step(number, position - 1);
    if (earlier.at_end_node == later.at_end_node) continue;
    if (record_ != nullptr) {
      record_->push_back({node_of(earlier, start), node_of(later, start),
                          rational(earlier.exact_offset - later.exact_offset)});
    }
    add_edge(state, node_of(earlier, start), node_of(later, start), earlier.offset - later.offset);
  }
  return start;
}

bool GuidedSchedule::order(GuidedState& state, std::uint32_t earlier_node,
                           const GuidedStep& earlier, std::uint32_t later_node,
                           const GuidedStep& later, const Gap& gap) {
  const std::uint32_t from = node_of(earlier, earlier_node);
  const std::uint32_t to = node_of(later, later_node);
  if (from == to) return true;  // a fixed distance, in the order of the list
  if (record_ != nullptr) {
    record_->push_back(
        {from, to, rational(earlier.exact_offset + *gap.exact - later.exact_offset)});
  }
  return add_edge(state, from, to, earlier.offset + gap.length - later.offset);
}

// --- the order of the steps ---

bool GuidedSchedule::order_behind_point(GuidedState& state, std::uint32_t point, const Point& made,
                                        const Gap& gap) {
  if (ordered_for_[point] == num_ordered_) return true;
  ordered_for_[point] = num_ordered_;
  const Point earlier = points_[point];
  return order(state, earlier.node, task_.step(earlier.step), made.node, task_.step(made.step),
               gap);
}

// The wide gaps come first: of two steps only the first constraint is made.
bool GuidedSchedule::order_behind_users(GuidedState& state, const GuidedStep& step,
                                        std::uint32_t number) {
  const Point made = points_[number];
  ordered_for_.resize(points_.size());
  ordered_for_[number] = ++num_ordered_;
  const auto gap_behind = [&](std::uint32_t point) -> const Gap& {
    const GuidedStep& earlier = task_.step(points_[point].step);
    return task_.read_gap(earlier, step) > 0 ? write_gap_ : no_gap_;
  };
  const auto order_behind_writers = [&](const SlotSet& slots, bool is_wide) {
    return std::all_of(slots.members.begin(), slots.members.end(), [&](std::uint32_t slot) {
      const std::uint32_t writer = state.slots[slot].writer;
      if (writer == NONE) return true;
      return order_behind_point(state, writer, made, is_wide ? write_gap_ : gap_behind(writer));
    });
  };
  if (!order_behind_writers(step.reads, true) || !order_behind_writers(step.writes, true) ||
      !order_behind_writers(step.reads_behind, false)) {
    return false;
  }
  for (const std::uint32_t slot : step.writes.members) {
    for (std::uint32_t r = state.slots[slot].readers; r != NONE; r = readers_[r].next) {
      const std::uint32_t reader = readers_[r].point;
      if (!order_behind_point(state, reader, made, gap_behind(reader))) return false;
    }
  }
  for (const SlotSet* reads : {&step.reads, &step.reads_behind}) {
    for (const std::uint32_t slot : reads->members) {
      readers_.push_back({state.slots[slot].readers, number});
      state.slots[slot].readers = static_cast<std::uint32_t>(readers_.size() - 1);
    }
  }
  for (const std::uint32_t slot : step.writes.members) state.slots[slot] = {number, NONE};
  return true;
}

// What must still come and interferes is behind the step: that follows in the end, but known now it
// shows at once where there is no time left.
bool GuidedSchedule::order_pending(GuidedState& state, const GuidedStep& step, std::uint32_t node) {
  const auto order_list = [&](std::uint32_t number, std::uint32_t position,
                              std::uint32_t list_node) {
    const GuidedList& list = task_.list(number);
    for (; position < list.num_steps; ++position) {
      const GuidedStep& pending = task_.step(number, position);
      const rational* gap = task_.gap_between(step, pending);
      if (gap == nullptr) continue;
      const Gap& distance = *gap > 0 ? write_gap_ : no_gap_;
      if (!order(state, node, step, list_node, pending, distance)) return false;
    }
    return true;
  };
  for (const OpenAction& open : state.open) {
    if (open.node == node) continue;
    if (!order_list(open.list, open.position, open.node)) return false;
  }
  return node == 0 || order_list(GuidedTask::PROBLEM, state.problem_position, 0);
}

bool GuidedSchedule::add_step(GuidedState& state, const GuidedStep& step, std::uint32_t node) {
  const std::uint32_t number = static_cast<std::uint32_t>(points_.size());
  const std::uint32_t step_number = task_.list(step.list).first_step + step.position;
  points_.push_back({node, step_number});
  return order_behind_users(state, step, number) && order_pending(state, step, node);
}

bool GuidedSchedule::put_off(GuidedState& state, std::uint32_t node, const rational& time) {
  const rational earliest = time - 1 - task_.list(state.node_lists[node]).exact_latest;
  const double weight = to_double(earliest);
  if (weight <= state.times[node] + STEP_TOLERANCE)
    return false;  // the end is late enough as it is
  if (!add_edge(state, 0, node, weight)) return false;
  if (record_ != nullptr) record_->push_back({0, node, earliest});
  return true;
}

// An effect that lies behind the end of a short action counts too.
double GuidedSchedule::makespan(const GuidedState& state) const {
  double result = 0;
  for (std::size_t node = 1; node < state.times.size(); ++node) {
    const GuidedList& list = task_.list(state.node_lists[node]);
    result = std::max(result, state.times[node] + list.latest_offset);
  }
  return result;
}

}  // namespace kelvo::ftp
