#include "planners/ftp/steps/live_times.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "planners/ftp/task/time_constants.h"
#include "planners/search/state_hash.h"
#include "shell/numbers.h"

namespace kelvo::ftp {

namespace {

constexpr double UNRELATED = -std::numeric_limits<double>::infinity();

std::uint64_t word_of(double distance) {
  constexpr std::uint64_t NONE = 0x7ff0000000000000ULL;
  if (distance == UNRELATED) return NONE;
  return static_cast<std::uint64_t>(std::llround(distance * DISTANCES_IN_A_UNIT));
}

std::uint32_t node_of(const GuidedStep& step, std::uint32_t node) {
  return step.at_end_node ? node + 1 : node;
}

}  // namespace

LiveTimes::LiveTimes(const GuidedTask& task, const GuidedSchedule& schedule)
    : task_(task), schedule_(schedule) {}

// --- the sources ---

// Of an action with a free duration: the start, unless nothing is tied to it any more, and the end.
void LiveTimes::add_source(std::uint32_t number, std::uint32_t position, std::uint32_t node) {
  const GuidedList& list = task_.list(number);
  const std::size_t first = sources_.size();
  const bool bounds_the_end = !list.has_fixed_duration && list.has_upper;
  if (bounds_the_end) {
    sources_.push_back({node, std::numeric_limits<double>::infinity(), number != 0});
  }
  for (; position < list.num_steps; ++position) {
    const GuidedStep& step = task_.step(number, position);
    const std::uint32_t at = node_of(step, node);
    const auto known =
        std::find_if(sources_.begin() + static_cast<std::ptrdiff_t>(first), sources_.end(),
                     [at](const Source& source) { return source.node == at; });
    if (known == sources_.end()) {
      sources_.push_back({at, step.offset, !step.at_end_node && number != 0});
    } else {
      known->next_offset = std::min(known->next_offset, step.offset);
    }
  }
}

// Whether a goal may still depend on when the plan ends.
bool LiveTimes::must_time_the_end(const GuidedState& state) const {
  const std::uint32_t num_steps = task_.list(GuidedTask::PROBLEM).num_steps;
  for (std::uint32_t position = num_steps; position > 0; --position) {
    if (!task_.touches_goal(position - 1)) continue;
    if (position > state.problem_position) return true;
    const double offset = task_.step(GuidedTask::PROBLEM, position - 1).offset;
    return !(schedule_.makespan(state) + PLAN_END_GAP > offset + STEP_TOLERANCE);
  }
  return false;
}

// In the order of the lists, which is that of no plan.
void LiveTimes::collect_sources(const GuidedState& state) {
  sources_.clear();
  if (state.problem_position < task_.list(GuidedTask::PROBLEM).num_steps) {
    add_source(GuidedTask::PROBLEM, state.problem_position, 0);
  } else if (must_time_the_end(state)) {
    sources_.push_back({0, std::numeric_limits<double>::infinity(), false});
  }
  lists_.clear();
  for (std::uint32_t i = 0; i < state.open.size(); ++i) lists_.push_back(i);
  std::sort(lists_.begin(), lists_.end(), [&](std::uint32_t a, std::uint32_t b) {
    return state.open[a].list < state.open[b].list;
  });
  for (const std::uint32_t i : lists_) {
    add_source(state.open[i].list, state.open[i].position, state.open[i].node);
  }
  orders_.clear();
  for (const Source& opening : sources_) {
    if (!opening.is_opening) continue;
    for (const Source& other : sources_) {
      if (std::isinf(other.next_offset)) continue;
      orders_.push_back({opening.node, other.node, -other.next_offset});
    }
  }
}

// --- distances ---

bool LiveTimes::relax(std::uint32_t node, double distance) {
  double& known = (*at_)[node];
  if (!(distance > known + STEP_TOLERANCE)) return false;
  known = distance;
  if (is_queued_[node] == 0) {
    is_queued_[node] = 1;
    queue_.push_back(node);
  }
  return true;
}

// The longest paths from the source. False when there is a cycle, so that no order by time exists.
bool LiveTimes::find_distances(const GuidedState& state, std::uint32_t source,
                               std::vector<double>& at) {
  const std::size_t num_nodes = state.times.size();
  at.assign(num_nodes, UNRELATED);
  at_ = &at;
  is_queued_.assign(num_nodes, 0);
  queue_.clear();
  relax(source, 0);
  const std::size_t max_visits = num_nodes * num_nodes + 1;
  for (std::size_t i = 0; i < queue_.size(); ++i) {
    if (i > max_visits) return false;
    const std::uint32_t node = queue_[i];
    is_queued_[node] = 0;
    const double distance = at[node];
    schedule_.for_each_edge(state, node,
                            [&](std::uint32_t to, double weight) { relax(to, distance + weight); });
    for (const Order& order : orders_) {
      if (order.from == node) relax(order.to, distance + order.weight);
    }
    if (node == 0) {  // its own constraints are the least times
      for (std::uint32_t to = 1; to < num_nodes; ++to) relax(to, distance + state.times[to]);
    }
    if (at[source] > STEP_TOLERANCE) return false;
  }
  return true;
}

bool LiveTimes::enter(const GuidedState& parent, GuidedMove move, const GuidedState& state) {
  collect_sources(state);
  if (distances_.size() < sources_.size()) distances_.resize(sources_.size());
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    if (!find_distances(state, sources_[i].node, distances_[i])) return false;
  }
  std::uint32_t node = static_cast<std::uint32_t>(parent.times.size());
  double offset = 0;
  if (move.kind == GuidedMove::Kind::STEP) {
    std::uint32_t position = parent.problem_position;
    node = 0;
    for (const OpenAction& open : parent.open) {
      if (open.list != move.list) continue;
      position = open.position;
      node = open.node;
    }
    const GuidedStep& step = task_.step(move.list, position);
    node = node_of(step, node);
    offset = step.offset;
  }
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    if (distances(i)[node] + offset > sources_[i].next_offset + STEP_TOLERANCE) return false;
  }
  return true;
}

// --- the sum ---

std::uint64_t LiveTimes::hash(const GuidedState& state) {
  StateHash hash;
  if (must_time_the_end(state)) {
    // Any action may be the last: when each may begin, in whatever order they were added.
    std::uint64_t sum = 0;
    for (std::uint32_t node = 1; node < state.times.size(); ++node) {
      StateHash one;
      one.mix(std::uint64_t{state.node_lists[node]});
      one.mix(word_of(state.times[node]));
      one.mix(word_of(find_distances(state, node, spare_) ? spare_[0] : UNRELATED));
      sum += one.value();
    }
    hash.mix(sum);
  }
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    for (const Source& other : sources_) hash.mix(word_of(distances(i)[other.node]));
  }
  const double write_gap = to_double(task_.write_gap());
  const double read_gap = to_double(task_.read_gap());
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    const bool is_start = sources_[i].node == 0;
    if (!sources_[i].is_opening && !is_start) continue;
    const auto time_of = [&](std::uint32_t point) {
      return distances(i)[schedule_.node_of_point(point)] + schedule_.offset_of_point(point);
    };
    for (std::uint32_t slot = 0; slot < state.slots.size(); ++slot) {
      const SlotUsers& users = state.slots[slot];
      if (users.writer != SlotUsers::NONE) {
        const double written = time_of(users.writer);
        if (written + write_gap > STEP_TOLERANCE) {
          hash.mix((std::uint64_t{slot} << 32) + 2 * i + 1);
          hash.mix(word_of(written));
        }
      }
      double read = UNRELATED;
      schedule_.for_each_reader(
          users, [&](std::uint32_t point) { read = std::max(read, time_of(point)); });
      if (read + read_gap > STEP_TOLERANCE) {
        hash.mix((std::uint64_t{slot} << 32) + 2 * i + 2);
        hash.mix(word_of(read));
      }
    }
  }
  return hash.value();
}

}  // namespace kelvo::ftp
