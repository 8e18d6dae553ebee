#include "planners/ftp/events/successor_generator.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>
#include <new>

#include "planners/ftp/task/time_constants.h"

namespace kelvo::ftp {

namespace {

bool has_bit(const std::uint64_t* words, std::uint32_t bit) {
  return ((words[bit / 64] >> (bit % 64)) & 1) != 0;
}

void set_bit(std::vector<std::uint64_t>& words, std::uint32_t bit) {
  words[bit / 64] |= std::uint64_t{1} << (bit % 64);
}

void clear_bit(std::vector<std::uint64_t>& words, std::uint32_t bit) {
  words[bit / 64] &= ~(std::uint64_t{1} << (bit % 64));
}

bool have_common_bit(const std::vector<std::uint64_t>& a, const std::vector<std::uint64_t>& b) {
  for (std::size_t i = 0; i < a.size(); ++i) {
    if ((a[i] & b[i]) != 0) return true;
  }
  return false;
}

}  // namespace

SuccessorGenerator::SuccessorGenerator(CompiledTask& task, const StepRules& rules)
    : task_(task),
      rules_(rules),
      machine_(task.space()),
      num_words_(task.space().num_words()),
      num_ids_(task.space().num_ids()),
      num_goal_words_((task.goal_conditions().size() + 63) / 64),
      target_gap_(task.no_moving_targets() ? to_double(target_gap(task.plan_epsilon())) : 0),
      bits_(num_words_),
      ids_(num_ids_),
      open_goals_(num_goal_words_),
      unchecked_goals_(num_goal_words_) {}

// --- the initial state ---

SearchState* SuccessorGenerator::make_initial_state() {
  const StateSpace& space = task_.space();
  std::fill(bits_.begin(), bits_.end(), 0);
  for (std::size_t slot = 0; slot < space.num_slots(); ++slot) {
    space.set(bits_.data(), ids_.data(), slot, task_.initial_values()[slot]);
  }
  const StateValues values{bits_.data(), ids_.data()};
  for (const std::uint32_t program : task_.initial_conditions()) {
    if (!check(program, values)) return nullptr;
  }
  std::fill(open_goals_.begin(), open_goals_.end(), 0);
  std::fill(unchecked_goals_.begin(), unchecked_goals_.end(), 0);
  for (const std::uint32_t bit : task_.initially_open_goals()) set_bit(open_goals_, bit);
  todo_.clear();
  network_.start_empty();
  network_.raise(SearchState::PLAN_END, PLAN_END_GAP);
  for (const std::uint32_t list : {CompiledTask::PROBLEM_START, CompiledTask::PROBLEM_END}) {
    const EventTemplate& events = task_.template_of(list);
    if (!events.events.empty()) todo_.push_back({list, 0, 0, SearchState::PLAN_START});
    for (const TemplateEvent& event : events.events) {
      const std::uint32_t anchor =
          event.from_start ? SearchState::PLAN_START : SearchState::PLAN_END;
      network_.raise(anchor, -event.offset);
    }
  }
  scratch_ = SearchState();
  SearchState none;
  finish(none, 0, 0, 0);
  SearchState* state = keep(none);
  release_path(state->path);  // the initial state has none
  state->path = nullptr;
  return state;
}

bool SuccessorGenerator::is_goal(const SearchState& state) const {
  return state.num_todo == 0 && std::all_of(state.open_goals, state.open_goals + num_goal_words_,
                                            [](std::uint64_t word) { return word == 0; });
}

bool SuccessorGenerator::is_behind_end(const SearchState& state) const {
  for (const TodoList& list : state.lists()) {
    if (list.template_id != CompiledTask::PROBLEM_END) continue;
    const std::vector<TemplateEvent>& events = task_.template_of(list.template_id).events;
    return std::none_of(events.begin() + list.position, events.end(), [](const TemplateEvent& e) {
      return e.role == EventRole::POINT && e.offset >= 0;
    });
  }
  return true;
}

// --- applying an event ---

// The event applies when its condition holds, or after the effect every open condition still does;
// its list moves on by one; and the network says that it comes after what has been applied and
// before what is still to come. The order of the path is an order by time: an event is never before
// the one applied before it, so that values along the path are those along the plan. With
// `deordering` only events that share a fluent are ordered, one of them an effect.

SearchState* SuccessorGenerator::apply_event(const SearchState& state, std::size_t list) {
  const TodoList& applied = state.todo[list];
  const EventTemplate& events = task_.template_of(applied.template_id);
  const TemplateEvent& event = events.events[applied.position];
  if (event.is_effect()) {
    if (!unchecked_conditions_hold(state) || !apply_effect(state, event)) return nullptr;
  } else {
    if (!condition_applies(state, applied, event)) return nullptr;
    std::copy_n(state.bits, num_words_, bits_.begin());
    std::copy_n(state.ids, num_ids_, ids_.begin());
  }
  advance_todo(state, list, event);
  note_goal_event(state, event);
  network_.start_from(state);
  const TimePoint at = point_of(applied, event);
  const bool consistent = rules_.deordering ? add_deordered_event_constraints(at, event)
                                            : add_event_constraints(state, at, event);
  if (!consistent || !keep_goal_empty(state, at, event) ||
      (applied.template_id >= CompiledTask::FIRST_ACTION &&
       !keep_off_targets(state, at, applied.node, event.fluents, event.is_effect()))) {
    has_met_bounds_ = true;
    return nullptr;
  }
  return finish(state, applied.template_id, applied.position, applied.node);
}

bool SuccessorGenerator::closes(const SearchState& state, const TodoList& list,
                                std::uint32_t position) const {
  const TemplateEvent& event = task_.template_of(list.template_id).events[position];
  if (event.role != EventRole::CLOSING) return false;
  // In a list of the problem the opening may stand in the other list, and still be to come.
  return list.template_id >= CompiledTask::FIRST_ACTION ||
         has_bit(state.open_goals, event.goal_bit - 1);
}

// The window of a goal of which one end is told from the start of the plan and the other from its
// end is empty when it closes before it opens. Then it asks nothing, and the closing event is noted
// as open until the opening comes.
bool SuccessorGenerator::is_of_empty_goal(const SearchState& state, const TemplateEvent& event) {
  if (event.goal_bit == TemplateEvent::NO_BIT) return false;
  if (event.role == EventRole::CLOSING) return !has_bit(state.open_goals, event.goal_bit - 1);
  return event.role == EventRole::OPENING && has_bit(state.open_goals, event.goal_bit + 1);
}

bool SuccessorGenerator::condition_applies(const SearchState& state, const TodoList& list,
                                           const TemplateEvent& event) {
  if (is_of_empty_goal(state, event)) return true;
  const bool opens = event.role != EventRole::POINT && !closes(state, list, list.position);
  if (opens && event.left_open) return true;
  return check(event.program, state.values);
}

bool SuccessorGenerator::has_unchecked_goals(const SearchState& state) const {
  return std::any_of(state.unchecked_goals, state.unchecked_goals + num_goal_words_,
                     [](std::uint64_t word) { return word != 0; });
}

// Open conditions hold since their opening or the latest effect was tested, but for those that
// opened left-open since.
bool SuccessorGenerator::unchecked_conditions_hold(const SearchState& state) {
  for (const TodoList& list : state.lists()) {
    if (list.unchecked_from >= list.position) continue;
    const EventTemplate& events = task_.template_of(list.template_id);
    for (const OpenCondition& open : events.open_at[list.position]) {
      const bool is_unchecked = open.left_open && open.opened_at != OpenCondition::AT_ONCE &&
                                open.opened_at >= list.unchecked_from;
      if (is_unchecked && !check(open.program, state.values)) return false;
    }
  }
  if (!has_unchecked_goals(state)) return true;
  for (std::uint32_t bit = 0; bit < task_.goal_conditions().size(); ++bit) {
    if (has_bit(state.unchecked_goals, bit) && !check(task_.goal_conditions()[bit], state.values)) {
      return false;
    }
  }
  return true;
}

bool SuccessorGenerator::apply_effect(const SearchState& state, const TemplateEvent& event) {
  const EffectProgram& effect = task_.effect(event.program);
  std::copy_n(state.bits, num_words_, bits_.begin());
  std::copy_n(state.ids, num_ids_, ids_.begin());
  if (!machine_.apply(effect, state.values, bits_.data(), ids_.data())) return false;
  return open_conditions_hold(state, effect, task_.writes(event.program));
}

// An effect can only break an open condition that reads what it writes.
bool SuccessorGenerator::open_conditions_hold(const SearchState& state, const EffectProgram& effect,
                                              const std::vector<std::uint64_t>& writes) {
  const StateValues after{bits_.data(), ids_.data()};
  for (const TodoList& list : state.lists()) {
    const EventTemplate& events = task_.template_of(list.template_id);
    const std::vector<OpenCondition>& open = events.open_at[list.position];
    if (open.empty()) continue;
    const bool may_break = effect.writes_all || events.open_reads_all[list.position] ||
                           have_common_bit(events.open_reads[list.position], writes);
    if (!may_break) continue;
    for (const OpenCondition& condition : open) {
      if (!check(condition.program, after)) return false;
    }
  }
  for (std::uint32_t bit = 0; bit < task_.goal_conditions().size(); bit += 2) {
    if (has_bit(state.open_goals, bit) && !check(task_.goal_conditions()[bit], after)) return false;
  }
  return true;
}

void SuccessorGenerator::advance_todo(const SearchState& state, std::size_t list,
                                      const TemplateEvent& event) {
  todo_.assign(state.todo, state.todo + state.num_todo);
  TodoList& applied = todo_[list];
  ++applied.position;
  if (event.is_effect()) {
    for (TodoList& other : todo_) other.unchecked_from = other.position;
  }
  if (applied.position == task_.template_of(applied.template_id).events.size()) {
    todo_.erase(todo_.begin() + static_cast<std::ptrdiff_t>(list));
  }
}

void SuccessorGenerator::note_goal_event(const SearchState& state, const TemplateEvent& event) {
  if (num_goal_words_ == 0) return;
  std::copy_n(state.open_goals, num_goal_words_, open_goals_.begin());
  std::copy_n(state.unchecked_goals, num_goal_words_, unchecked_goals_.begin());
  if (event.is_effect()) {
    std::fill(unchecked_goals_.begin(), unchecked_goals_.end(), 0);
    return;
  }
  // Durative conditions of actions follow from the position in their list.
  const bool is_goal_event =
      event.role != EventRole::POINT && event.goal_bit != TemplateEvent::NO_BIT;
  if (!is_goal_event) return;
  if (is_of_empty_goal(state, event)) {
    if (event.role == EventRole::CLOSING) {
      set_bit(open_goals_, event.goal_bit);
    } else {
      clear_bit(open_goals_, event.goal_bit + 1);
    }
  } else if (event.role == EventRole::CLOSING) {
    clear_bit(open_goals_, event.goal_bit - 1);
    clear_bit(unchecked_goals_, event.goal_bit - 1);
  } else {
    set_bit(open_goals_, event.goal_bit);
    if (event.left_open) set_bit(unchecked_goals_, event.goal_bit);
  }
}

// --- constraints of an event ---

// With t(e) the time of event e, p the latest one on the path, and q what is still to come:
//   t(e) >= t(p)
//   t(q) >= t(e)                  and  t(q) >= t(e) + gap  where e is an effect and q a condition,
//                                      or an effect on one of its fluents
// In terms of anchors: t(q) is the time of q's anchor plus its offset, so that the least offset of
// a list's suffix stands for all of it (`SuffixOffsets`).

TimePoint SuccessorGenerator::point_of(const TodoList& list, const TemplateEvent& event) const {
  return {event.from_start ? list.node : list.node + 1, event.offset};
}

TimePoint SuccessorGenerator::point_of(const PathNode& step) const {
  if (step.is_opening()) return {step.node, 0.0};
  const TemplateEvent& event = task_.template_of(step.template_id).events[step.position];
  return {event.from_start ? step.node : step.node + 1, event.offset};
}

bool SuccessorGenerator::is_effect(const PathNode& step) const {
  return !step.is_opening() &&
         task_.template_of(step.template_id).events[step.position].is_effect();
}

const FluentSet& SuccessorGenerator::fluents_of(const PathNode& step) const {
  const EventTemplate& list = task_.template_of(step.template_id);
  return step.is_opening() ? list.start_fluents : list.events[step.position].fluents;
}

bool SuccessorGenerator::add_event_constraints(const SearchState& state, const TimePoint& at,
                                               const TemplateEvent& event) {
  if (state.path != nullptr && !network_.add(at, point_of(*state.path), 0.0)) return false;
  for (const TodoList& list : todo_) {
    if (!order_list_behind(list, at, &event)) return false;
  }
  return true;
}

bool SuccessorGenerator::order_anchor_behind(std::uint32_t node, double offset, const TimePoint& at,
                                             double distance) {
  return std::isinf(offset) || network_.add({node, offset}, at, distance);
}

// Orders all events of the list behind `at`, which is the time of `event` or, when that is null, of
// the start of an action: what comes behind an effect and is a condition or shares a fluent with
// it, strictly. Of the constraints on one anchor only the strongest is added.
bool SuccessorGenerator::order_list_behind(const TodoList& list, const TimePoint& at,
                                           const TemplateEvent* event) {
  const EventTemplate& events = task_.template_of(list.template_id);
  const SuffixOffsets& suffix = events.suffix[list.position];
  double start = suffix.start;
  double end = suffix.end;
  if (event != nullptr && event->is_effect()) {
    start = std::min(start, suffix.start_condition - NETWORK_EPSILON);
    end = std::min(end, suffix.end_condition - NETWORK_EPSILON);
    for (std::size_t i = list.position; i < events.events.size(); ++i) {
      const TemplateEvent& other = events.events[i];
      double& least = other.from_start ? start : end;
      if (!other.is_effect() || other.offset - NETWORK_EPSILON >= least) continue;
      if (have_common_member(event->fluents, other.fluents)) least = other.offset - NETWORK_EPSILON;
    }
  }
  return order_anchor_behind(list.node, start, at, 0.0) &&
         order_anchor_behind(list.node + 1, end, at, 0.0);
}

// Behind the closing of an empty goal its opening comes later, and not at the same time.
bool SuccessorGenerator::keep_goal_empty(const SearchState& state, const TimePoint& at,
                                         const TemplateEvent& event) {
  if (event.role != EventRole::CLOSING || !is_of_empty_goal(state, event)) return true;
  for (const TodoList& list : todo_) {
    if (list.template_id >= CompiledTask::FIRST_ACTION) break;
    const std::vector<TemplateEvent>& events = task_.template_of(list.template_id).events;
    for (std::size_t i = list.position; i < events.size(); ++i) {
      if (events[i].goal_bit != event.goal_bit - 1) continue;
      return network_.add(point_of(list, events[i]), at, NETWORK_EPSILON);
    }
  }
  return true;
}

bool SuccessorGenerator::add_deordered_event_constraints(const TimePoint& at,
                                                         const TemplateEvent& event) {
  for (const TodoList& list : todo_) {
    const EventTemplate& events = task_.template_of(list.template_id);
    for (std::size_t i = list.position; i < events.events.size(); ++i) {
      const TemplateEvent& other = events.events[i];
      if (!event.is_effect() && !other.is_effect()) continue;
      if (!have_common_member(event.fluents, other.fluents)) continue;
      const double distance = event.is_effect() ? NETWORK_EPSILON : 0.0;
      if (!network_.add(point_of(list, other), at, distance)) return false;
      // What follows on the same anchor comes later still; on the other one it may not.
      if (events.action == nullptr || events.lower == events.upper) break;
    }
  }
  return true;
}

// Behind what other steps have done with its fluents: the latest stands for those before it, where
// the path is in the order of time.
bool SuccessorGenerator::keep_off_targets(const SearchState& state, const TimePoint& at,
                                          std::uint32_t node, const FluentSet& fluents,
                                          bool is_effect_here) {
  if (target_gap_ == 0) return true;
  for (const PathNode* step = state.path; step != nullptr; step = step->parent) {
    if (step->template_id < CompiledTask::FIRST_ACTION || step->node == node) continue;
    if (!is_effect_here && !is_effect(*step)) continue;
    if (!have_common_member(fluents, fluents_of(*step))) continue;
    if (!network_.add(at, point_of(*step), target_gap_)) return false;
    if (!rules_.deordering) return true;
  }
  return true;
}

// --- opening an action ---

// An opened action has two nodes, s and e, for its start and end:
//   s >= 0     lower <= e - s <= upper     end of the plan >= e + 1 + gap
// Nothing is applied yet; its events come one by one, the first at the same instant if it likes.

SearchState* SuccessorGenerator::open_action(const SearchState& state, std::uint32_t template_id) {
  const EventTemplate& opened = task_.template_of(template_id);
  if (!opened.is_useful && !(rules_.open_idle_actions && opened.is_idle)) return nullptr;
  for (const TodoList& list : state.lists()) {
    if (list.template_id != template_id) continue;
    // Two that start at once would write twice; a later one has to see what this one writes there.
    const TemplateEvent& next = opened.events[list.position];
    const bool is_still_starting = next.is_effect() && next.from_start && next.offset == 0;
    has_met_bounds_ = has_met_bounds_ ||
                      (!is_still_starting && machine_.holds(opened.start_condition, state.values));
    return nullptr;
  }
  if (!machine_.holds(opened.start_condition, state.values)) return nullptr;
  network_.start_from(state);
  const bool is_possible = add_opening(state, template_id) &&
                           !(rules_.prune_coinciding_effects && must_effects_coincide());
  if (!is_possible) {
    has_met_bounds_ = has_met_bounds_ || !must_write_twice(state, opened);
    return nullptr;
  }
  const std::uint32_t start = todo_.back().node;
  if (opened.events.empty()) todo_.pop_back();
  std::copy_n(state.bits, num_words_, bits_.begin());
  std::copy_n(state.ids, num_ids_, ids_.begin());
  std::copy_n(state.open_goals, num_goal_words_, open_goals_.begin());
  std::copy_n(state.unchecked_goals, num_goal_words_, unchecked_goals_.begin());
  return finish(state, template_id, PathNode::OPENING, start);
}

// Whether the action could only start at the instant of the latest event, where it would write what
// an effect that is still to come at that instant writes: no plan does that.
bool SuccessorGenerator::must_write_twice(const SearchState& state,
                                          const EventTemplate& opened) const {
  if (state.path == nullptr) return false;
  const TimePoint now = point_of(*state.path);
  const auto is_written_now = [&](const TodoList& list) {
    const EventTemplate& events = task_.template_of(list.template_id);
    for (std::size_t i = list.position; i < events.events.size(); ++i) {
      const TemplateEvent& event = events.events[i];
      const TimePoint at = point_of(list, event);
      if (!event.is_effect() || at.node != now.node || at.offset != now.offset) continue;
      for (const TemplateEvent& other : opened.events) {
        if (other.is_effect() && other.from_start && other.offset == 0 &&
            have_common_bit(task_.writes(event.program), task_.writes(other.program))) {
          return true;
        }
      }
    }
    return false;
  };
  return std::any_of(state.lists().begin(), state.lists().end(), is_written_now);
}

bool SuccessorGenerator::add_opening(const SearchState& state, std::uint32_t template_id) {
  const EventTemplate& opened = task_.template_of(template_id);
  const TimePoint start{network_.add_node(opened.earliest_start), 0.0};
  const TimePoint end{network_.add_node(opened.earliest_end), 0.0};
  todo_.assign(state.todo, state.todo + state.num_todo);
  todo_.push_back({template_id, 0, 0, start.node});
  const TimePoint plan_end{SearchState::PLAN_END, 0.0};
  const TimePoint plan_start{SearchState::PLAN_START, 0.0};
  // The plan's end first carries what the new nodes start with.
  if (!network_.add(plan_end, end, PLAN_END_GAP)) return false;
  const double latest_effect = opened.latest_effect;
  if (latest_effect > opened.lower &&
      !network_.add(plan_end, start, latest_effect + PLAN_END_GAP)) {
    return false;
  }
  if (!network_.add(end, start, opened.lower)) return false;
  if (opened.has_upper && !network_.add(start, end, -opened.upper)) return false;
  if (!network_.add(start, plan_start, 0.0)) return false;
  if (!keep_off_targets(state, start, start.node, opened.start_fluents, /*is_effect_here=*/false)) {
    return false;
  }
  return rules_.deordering ? add_deordered_opening_constraints(state, start, opened)
                           : add_opening_constraints(state, start);
}

bool SuccessorGenerator::add_opening_constraints(const SearchState& state, const TimePoint& start) {
  if (state.path != nullptr) {
    const double distance = is_effect(*state.path) ? NETWORK_EPSILON : 0.0;
    if (!network_.add(start, point_of(*state.path), distance)) return false;
  }
  for (const TodoList& list : todo_) {
    if (!order_list_behind(list, start, nullptr)) return false;
  }
  return true;
}

bool SuccessorGenerator::add_deordered_opening_constraints(const SearchState& state,
                                                           const TimePoint& start,
                                                           const EventTemplate& opened) {
  for (const std::uint32_t fluent : opened.start_fluents.members) {
    for (const PathNode* step = state.path; step != nullptr; step = step->parent) {
      if (!is_effect(*step) || !fluents_of(*step).contains(fluent)) continue;
      if (!network_.add(start, point_of(*step), NETWORK_EPSILON)) return false;
      break;
    }
  }
  for (const TemplateEvent& event : opened.events) {
    const TimePoint at = point_of(todo_.back(), event);
    for (const std::uint32_t fluent : event.fluents.members) {
      bool is_latest_effect = true;
      for (const PathNode* step = state.path; step != nullptr; step = step->parent) {
        if (!fluents_of(*step).contains(fluent)) continue;
        if (is_effect(*step)) {
          if (!is_latest_effect) continue;
          is_latest_effect = false;
          if (!network_.add(at, point_of(*step), NETWORK_EPSILON)) return false;
        } else if (event.is_effect() && !network_.add(at, point_of(*step), 0.0)) {
          return false;
        }
      }
    }
  }
  for (const TodoList& list : todo_) {
    const EventTemplate& events = task_.template_of(list.template_id);
    for (std::size_t i = list.position; i < events.events.size(); ++i) {
      const TemplateEvent& other = events.events[i];
      if (!other.is_effect() || !have_common_member(opened.start_fluents, other.fluents)) continue;
      if (!network_.add(point_of(list, other), start, 0.0)) return false;
      break;
    }
  }
  return true;
}

// Whether two pending effects on one fluent stand at one time and can be ordered neither way. Only
// pending effects can meet: what was applied is strictly before.
bool SuccessorGenerator::must_effects_coincide() {
  pending_effects_.clear();
  for (const TodoList& list : todo_) {
    const EventTemplate& events = task_.template_of(list.template_id);
    for (std::size_t i = list.position; i < events.events.size(); ++i) {
      const TemplateEvent& event = events.events[i];
      if (!event.is_effect()) continue;
      const TimePoint at = point_of(list, event);
      pending_effects_.push_back({network_.time(at), at, &event.fluents});
    }
  }
  for (std::size_t i = 1; i < pending_effects_.size(); ++i) {
    const PendingEffect& one = pending_effects_[i];
    for (std::size_t j = 0; j < i; ++j) {
      const PendingEffect& other = pending_effects_[j];
      if (std::abs(one.time - other.time) > SAME_TIME) continue;
      if (!have_common_member(*one.fluents, *other.fluents)) continue;
      if (network_.admits(one.point, other.point, NETWORK_EPSILON)) continue;
      if (network_.admits(other.point, one.point, NETWORK_EPSILON)) continue;
      return true;
    }
  }
  return false;
}

// --- keeping states ---

// A kept state owns one block of the arena and one reference of its path node; a path node owns one
// reference of its parent, and a block with the constraints of its step. Networks of states point
// into the blocks of their path, which live as long. So a chain of states shares what it has in
// common, and what no state leads back to is given back at once.

SearchState* SuccessorGenerator::finish(const SearchState& state, std::uint32_t template_id,
                                        std::uint32_t position, std::uint32_t node) {
  scratch_.bits = bits_.data();
  scratch_.ids = ids_.data();
  scratch_.values = {bits_.data(), ids_.data()};
  scratch_.todo = todo_.data();
  scratch_.num_todo = static_cast<std::uint32_t>(todo_.size());
  scratch_.open_goals = open_goals_.data();
  scratch_.unchecked_goals = unchecked_goals_.data();
  scratch_.times = network_.times().data();
  scratch_.heads = network_.heads().data();
  scratch_.num_nodes = static_cast<std::uint32_t>(network_.times().size());
  scratch_.note = SearchState::NO_NOTE;
  scratch_.parent_note = state.note;
  scratch_.path = nullptr;
  assert(network_.is_solved());
  step_ = {nullptr,  1,    template_id,
           position, node, static_cast<std::uint32_t>(network_.num_new_edges())};
  return &scratch_;
}

SearchState* SuccessorGenerator::keep(const SearchState& parent) {
  assert(step_.num_edges == network_.num_new_edges() && "of the latest call");
  // The path node with the new constraints.
  void* path_block = arena_.allocate(sizeof(PathNode) + step_.num_edges * sizeof(Edge));
  PathNode* path = new (path_block) PathNode(step_);
  path->parent = parent.path;
  if (parent.path != nullptr) ++parent.path->references;

  // One block: arrays of 8-byte elements first.
  const std::size_t nodes = scratch_.num_nodes;
  const std::size_t size = sizeof(SearchState) +
                           8 * (num_words_ + 2 * num_goal_words_ + 2 * nodes) +
                           sizeof(TodoList) * scratch_.num_todo + sizeof(ValueId) * num_ids_;
  std::byte* at = static_cast<std::byte*>(arena_.allocate(size));
  SearchState* state = new (at) SearchState(scratch_);
  at += sizeof(SearchState);
  const auto place = [&at]<typename T>(T*& array, const T* source, std::size_t count) {
    array = reinterpret_cast<T*>(at);
    std::copy_n(source, count, array);
    at += count * sizeof(T);
  };
  place(state->bits, scratch_.bits, num_words_);
  place(state->open_goals, scratch_.open_goals, num_goal_words_);
  place(state->unchecked_goals, scratch_.unchecked_goals, num_goal_words_);
  place(state->times, scratch_.times, nodes);
  state->heads = reinterpret_cast<const Edge**>(at);
  network_.copy_new_edges(path->edges(), state->heads);
  at += nodes * sizeof(Edge*);
  place(state->todo, scratch_.todo, scratch_.num_todo);
  place(state->ids, scratch_.ids, num_ids_);
  assert(at == reinterpret_cast<std::byte*>(state) + size);
  state->values = {state->bits, state->ids};
  state->path = path;
  state->block_size = static_cast<std::uint32_t>(size);
  return state;
}

void SuccessorGenerator::release(SearchState* state) {
  assert(state != &scratch_ && state->block_size > 0 && "a state that was kept");
  release_path(state->path);
  arena_.release(state, state->block_size);
}

// A chain of any length, so no recursion.
void SuccessorGenerator::release_path(PathNode* path) {
  assert(path == nullptr || path->references > 0);
  while (path != nullptr && --path->references == 0) {
    PathNode* parent = path->parent;
    arena_.release(path, sizeof(PathNode) + path->num_edges * sizeof(Edge));
    path = parent;
  }
}

}  // namespace kelvo::ftp
