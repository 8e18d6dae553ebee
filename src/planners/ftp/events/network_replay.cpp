#include "planners/ftp/events/network_replay.h"

#include <algorithm>
#include <cassert>

#include "planners/ftp/task/time_constants.h"
#include "shell/long_numbers.h"

namespace kelvo::ftp {

namespace {

// The problem's events take their ids behind those of the two ends of the plan.
constexpr std::size_t FIRST_PROBLEM_ID = 2;

}  // namespace

NetworkReplay::NetworkReplay(const CompiledTask& task, bool deordering)
    : task_(task), deordering_(deordering) {
  start_plan_ = {EventKind::START_PLAN, nullptr, nullptr, 0, 0};
  end_plan_ = {EventKind::END_PLAN, nullptr, nullptr, 0, 1};
}

Event NetworkReplay::end_of(const Event& opening) {
  return {EventKind::END_ACTION, nullptr, opening.action, 0, opening.fresh_id + 1};
}

void NetworkReplay::replay(const PathNode* last) {
  std::vector<const PathNode*> steps;
  for (const PathNode* step = last; step != nullptr; step = step->parent) steps.push_back(step);
  begin();
  for (auto step = steps.rbegin(); step != steps.rend(); ++step) {
    network_ = Network::make(std::shared_ptr<const Network>(network_));
    if ((*step)->is_opening()) {
      open(**step);
    } else {
      apply(**step);
    }
    network_->make_immutable();
  }
}

Event NetworkReplay::make_event(std::uint32_t template_id, const TemplateEvent& event,
                                std::size_t first_id) {
  const EventKind kind = event.is_effect() ? EventKind::EFFECT : EventKind::CONDITION;
  return {kind, event.expression, task_.template_of(template_id).action, event.index,
          first_id + event.index};
}

void NetworkReplay::place(const Event& event, const TemplateEvent& where, const Event& start,
                          const Event& end) {
  // The later one less the earlier one is the offset.
  const Event& later = where.from_start ? event : end;
  const Event& earlier = where.from_start ? start : event;
  const double offset = where.from_start ? where.offset : -where.offset;
  network_->add_ge(interpreter_, later, earlier, offset);
  network_->add_le(interpreter_, later, earlier, offset);
  const rational exact = where.from_start ? where.exact_offset : negated(where.exact_offset);
  note(later, earlier, exact);
  note(earlier, later, negated(exact));
}

void NetworkReplay::note(const Event& later, const Event& earlier, const rational& distance) {
  const std::size_t later_number = number_of(later);
  constraints_.push_back({later_number, number_of(earlier), distance});
}

// Rounds over all constraints, which stand in the order of the path, so that few rounds do. False
// when times grow for ever, which as many rounds as there are events show, or when the plan would
// have to start later than it does.
bool NetworkReplay::raise(const std::vector<Constraint>& constraints, Times& times) const {
  for (std::size_t round = 0; round <= times.size(); ++round) {
    bool has_changed = false;
    for (const Constraint& constraint : constraints) {
      const rational earliest = sum(times[constraint.earlier], constraint.distance);
      if (!is_less(times[constraint.later], earliest)) continue;
      times[constraint.later] = earliest;
      has_changed = true;
    }
    if (times[start_number_] > 0) return false;
    if (!has_changed) return true;
  }
  return false;
}

void NetworkReplay::let_end_follow(const Event& event, const rational& offset) {
  const rational distance = offset + 1;
  network_->add_ge(interpreter_, end_plan_, event, to_double(distance));
  note(end_plan_, event, distance);
  lasts_.push_back({event, distance});
}

rational NetworkReplay::earliest_end(const Times& times) {
  rational result = 0;
  for (const Last& last : lasts_) {
    result = std::max(result, rational(times[number_of(last.event)] + last.distance));
  }
  return result;
}

bool NetworkReplay::is_end_exact(const Times& times) {
  return times[end_number_] == earliest_end(times);
}

std::optional<NetworkReplay::Times> NetworkReplay::exact_times() const {
  std::size_t num_events = 0;
  for (const Constraint& constraint : constraints_) {
    num_events = std::max({num_events, constraint.later + 1, constraint.earlier + 1});
  }
  Times times(num_events);
  if (!raise(constraints_, times)) return {};
  return times;
}

// The end is where one of what it may follow puts it.
std::optional<NetworkReplay::Times> NetworkReplay::bind_end(const Times& least) {
  std::optional<Times> best;
  const Last* best_last = nullptr;
  const std::size_t num_constraints = constraints_.size();
  for (const Last& last : lasts_) {
    constraints_.push_back({number_of(last.event), end_number_, -last.distance});
    Times bound = least;
    if (raise(constraints_, bound) && (!best || bound[end_number_] < (*best)[end_number_])) {
      best = std::move(bound);
      best_last = &last;
    }
    constraints_.resize(num_constraints);
  }
  if (best) {
    network_ = Network::make(std::shared_ptr<const Network>(network_));
    network_->add_le(interpreter_, end_plan_, best_last->event, to_double(best_last->distance));
    network_->make_immutable();
  }
  return best;
}

bool NetworkReplay::admits(const std::vector<Placement>& openings, const Times& least) {
  Times times = least;
  times[end_number_] = 0;  // it follows the openings
  for (const Placement& one : openings) {
    const std::size_t start = number_of(one.opening);
    const std::size_t end = number_of(end_of(one.opening));
    const rational ends = sum(one.start, one.duration);
    if (is_less(one.start, least[start]) || is_less(ends, least[end])) return false;
    times[start] = one.start;
    times[end] = ends;
  }
  // The times of what is tied to the openings follow; nothing may push the openings any more.
  const Times given = times;
  if (!raise(constraints_, times) || !is_end_exact(times)) return false;
  const auto is_kept = [&](const Event& event) {
    return times[number_of(event)] == given[number_of(event)];
  };
  return std::all_of(openings.begin(), openings.end(), [&](const Placement& one) {
    return is_kept(one.opening) && is_kept(end_of(one.opening));
  });
}

void NetworkReplay::begin() {
  network_ = Network::make();
  interpreter_ = {};
  todo_.clear();
  origins_.clear();
  path_.clear();
  openings_.clear();
  constraints_.clear();
  lasts_.clear();
  start_number_ = number_of(start_plan_);
  end_number_ = number_of(end_plan_);
  let_end_follow(start_plan_, 0);
  next_id_ = FIRST_PROBLEM_ID;
  for (const std::uint32_t list : {CompiledTask::PROBLEM_START, CompiledTask::PROBLEM_END}) {
    const std::vector<TemplateEvent>& events = task_.template_of(list).events;
    if (events.empty()) continue;
    todo_.emplace_back();
    origins_.push_back({list, SearchState::PLAN_START});
    for (const TemplateEvent& event : events) {
      const Event made = make_event(list, event, FIRST_PROBLEM_ID);
      place(made, event, start_plan_, end_plan_);
      todo_.back().push_back(made);
      next_id_ = std::max(next_id_, made.fresh_id + 1);
    }
  }
  network_->make_immutable();
}

void NetworkReplay::open(const PathNode& step) {
  const EventTemplate& opened = task_.template_of(step.template_id);
  const Event start{EventKind::START_ACTION, opened.start_expression, opened.action, 0, next_id_++};
  const Event end = end_of(start);
  ++next_id_;
  let_end_follow(end, 0);
  const DurationBounds& duration = opened.duration;
  const double lower = to_double(duration.lower);
  if (duration.lower_open) {
    network_->add_gt(interpreter_, end, start, lower);
  } else {
    network_->add_ge(interpreter_, end, start, lower);
  }
  if (duration.upper) {
    const double upper = to_double(*duration.upper);
    if (duration.upper_open) {
      network_->add_lt(interpreter_, end, start, upper);
    } else {
      network_->add_le(interpreter_, end, start, upper);
    }
  }
  std::vector<Event> list;
  for (const TemplateEvent& event : opened.events) {
    // Indices of an opening begin with 1, behind the two ids of its ends.
    const Event made = make_event(step.template_id, event, end.fresh_id);
    place(made, event, start, end);
    if (event.is_effect() && event.from_start && event.exact_offset > duration.lower) {
      let_end_follow(start, event.exact_offset);
    }
    list.push_back(made);
    next_id_ = std::max(next_id_, made.fresh_id + 1);
  }
  todo_.push_back(std::move(list));
  origins_.push_back({step.template_id, step.node});
  note(end, start, duration.lower_open ? rational(duration.lower + exact_gap()) : duration.lower);
  if (duration.upper) {
    const rational upper =
        duration.upper_open ? rational(*duration.upper - exact_gap()) : *duration.upper;
    note(start, end, negated(upper));
  }
  note(start, start_plan_, 0);
  network_->add_ge(interpreter_, start, start_plan_, 0.0);
  constrain_opening(start);
  keep_off_targets(start);
  if (todo_.back().empty()) {
    todo_.pop_back();
    origins_.pop_back();
  }
  path_.push_back(start);
  openings_.push_back(start);
}

void NetworkReplay::apply(const PathNode& step) {
  std::size_t list = 0;
  while (origins_[list].template_id != step.template_id || origins_[list].node != step.node) ++list;
  const Event event = todo_[list].front();
  todo_[list].erase(todo_[list].begin());
  if (todo_[list].empty()) {
    todo_.erase(todo_.begin() + static_cast<std::ptrdiff_t>(list));
    origins_.erase(origins_.begin() + static_cast<std::ptrdiff_t>(list));
  }
  constrain_event(event);
  keep_off_targets(event);
  keep_goal_empty(event);
  path_.push_back(event);
}

// The closing of a goal whose opening is still to come.
void NetworkReplay::keep_goal_empty(const Event& event) {
  if (event.action != nullptr || event.kind != EventKind::CONDITION) return;
  for (const std::vector<Event>& list : todo_) {
    for (const Event& other : list) {
      const bool is_opening = other.action == nullptr && other.expression == event.expression &&
                              other.index + 1 == event.index;
      if (is_opening) separate(other, event);
    }
  }
}

const FluentSet& NetworkReplay::fluents_of(const Event& event) const {
  static const FluentSet none;
  const auto find = [&](std::uint32_t id) -> const FluentSet& {
    const EventTemplate& list = task_.template_of(id);
    if (event.kind == EventKind::START_ACTION) return list.start_fluents;
    for (const TemplateEvent& known : list.events) {
      if (known.expression == event.expression) return known.fluents;
    }
    return none;
  };
  if (event.action != nullptr) return find(task_.template_id(event.action));
  const FluentSet& start = find(CompiledTask::PROBLEM_START);
  return start.members.empty() ? find(CompiledTask::PROBLEM_END) : start;
}

bool NetworkReplay::have_common_fluent(const Event& a, const Event& b) const {
  return have_common_member(fluents_of(a), fluents_of(b));
}

void NetworkReplay::order(const Event& later, const Event& earlier) {
  network_->add_ge(interpreter_, later, earlier, 0.0);
  note(later, earlier, 0);
}

void NetworkReplay::separate(const Event& later, const Event& earlier) {
  network_->add_gt(interpreter_, later, earlier, 0.0);
  note(later, earlier, exact_gap());
}

// The event comes so far behind all of other steps that it may not meet.
void NetworkReplay::keep_off_targets(const Event& event) {
  if (!task_.no_moving_targets() || event.action == nullptr) return;
  const auto opening_id = [](const Event& e) {
    return e.kind == EventKind::START_ACTION ? e.fresh_id : e.fresh_id - e.index - 1;
  };
  const rational gap = target_gap(task_.plan_epsilon());
  for (const Event& earlier : path_) {
    const bool has_effect = event.kind == EventKind::EFFECT || earlier.kind == EventKind::EFFECT;
    if (!has_effect || earlier.action == nullptr || opening_id(earlier) == opening_id(event) ||
        !have_common_fluent(earlier, event)) {
      continue;
    }
    network_->add_ge(interpreter_, event, earlier, to_double(gap));
    note(event, earlier, gap);
  }
}

void NetworkReplay::constrain_event(const Event& event) {
  const bool is_effect = event.kind == EventKind::EFFECT;
  if (!deordering_ && !path_.empty()) order(event, path_.back());
  for (const std::vector<Event>& list : todo_) {
    for (const Event& other : list) {
      const bool other_is_effect = other.kind == EventKind::EFFECT;
      if (deordering_) {
        if ((!is_effect && !other_is_effect) || !have_common_fluent(event, other)) continue;
        if (is_effect) {
          separate(other, event);
        } else {
          order(other, event);
        }
        const EventTemplate* opened =
            other.action == nullptr ? nullptr : &task_.template_of(task_.template_id(other.action));
        if (opened == nullptr || opened->lower == opened->upper) break;
        continue;
      }
      if (is_effect && (!other_is_effect || have_common_fluent(event, other))) {
        separate(other, event);
      } else {
        order(other, event);
      }
    }
  }
}

void NetworkReplay::constrain_opening(const Event& start) {
  if (!deordering_) {
    if (!path_.empty() && path_.back().kind == EventKind::EFFECT) {
      separate(start, path_.back());
    } else if (!path_.empty()) {
      order(start, path_.back());
    }
    for (const std::vector<Event>& list : todo_) {
      for (const Event& other : list) order(other, start);
    }
    return;
  }
  for (const std::uint32_t fluent : fluents_of(start).members) {
    for (auto step = path_.rbegin(); step != path_.rend(); ++step) {
      if (step->kind != EventKind::EFFECT || !fluents_of(*step).contains(fluent)) continue;
      separate(start, *step);
      break;
    }
  }
  for (const Event& event : todo_.back()) {
    for (const std::uint32_t fluent : fluents_of(event).members) {
      bool is_latest_effect = true;
      for (auto step = path_.rbegin(); step != path_.rend(); ++step) {
        if (!fluents_of(*step).contains(fluent)) continue;
        if (step->kind == EventKind::EFFECT) {
          if (is_latest_effect) separate(event, *step);
          is_latest_effect = false;
        } else if (event.kind == EventKind::EFFECT) {
          order(event, *step);
        }
      }
    }
  }
  for (const std::vector<Event>& list : todo_) {
    const auto first = std::find_if(list.begin(), list.end(), [&](const Event& other) {
      return other.kind == EventKind::EFFECT && have_common_fluent(start, other);
    });
    if (first != list.end()) order(*first, start);
  }
}

}  // namespace kelvo::ftp
