#include "planners/ftp/steps/search.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "planners/ftp/task/time_constants.h"
#include "shell/log.h"

namespace kelvo::ftp {

namespace {

constexpr std::size_t REPORT_INTERVAL = 1000;

/// Of the actions that last; 1 if none does.
double mean_duration(const GuidedTask& task) {
  double sum = 0;
  std::size_t num_actions = 0;
  for (const GuidedList& list : task.lists()) {
    if (!list.is_useful || list.lower <= 0) continue;
    sum += list.lower;
    ++num_actions;
  }
  return num_actions == 0 ? 1 : sum / static_cast<double>(num_actions);
}

}  // namespace

GuidedSearch::GuidedSearch(const GuidedTask& task, HFF& heuristic, const GuidedLandmarks& landmarks,
                           ObjectSymmetry& symmetry, const GuidedOptions& options)
    : heuristic_(heuristic),
      landmarks_(landmarks),
      symmetry_(symmetry),
      steps_per_time_(options.time_weight / mean_duration(task)),
      options_(options),
      successors_(task, options.compression),
      duplicates_(options.duplicates, task, successors_.schedule()),
      queues_(options.preferred_operators, options.landmarks && !landmarks.empty(), options.boost),
      plan_makespan_(options.makespan_bound) {}

GuidedSearch::~GuidedSearch() = default;

bool GuidedSearch::is_improving() const {
  return !std::isinf(options_.makespan_bound);
}

GuidedSearch::Outcome GuidedSearch::run(std::size_t max_built) {
  const std::size_t before = statistics_.num_built;
  heuristic_.set_ties(options_.heuristic.ties);
  if (nodes_.empty()) {
    make_root();
  } else {
    resume();
  }
  while (!is_over_) {
    if (statistics_.num_built - before >= max_built ||
        statistics_.num_evaluated >= options_.max_evaluations) {
      return has_plan_ ? Outcome::FOUND : Outcome::STOPPED;
    }
    if (memory() > options_.max_memory) return Outcome::OUT_OF_MEMORY;
    const std::uint32_t node = queues_.pop();
    if (node == GuidedQueues::NOTHING) break;
    if (nodes_[node].phase == Node::Phase::CLOSED || !enter(node)) continue;
    expand(node);
  }
  return has_plan_ ? Outcome::FOUND : Outcome::EXHAUSTED;
}

void GuidedSearch::resume() {
  if (!is_over_) return;
  is_over_ = false;
  has_plan_ = false;
  if (interrupted_ != NO_NODE) make_children(std::exchange(interrupted_, NO_NODE));
}

void GuidedSearch::make_root() {
  nodes_.push_back({NO_NODE, 0, 0, 0, {}, Node::Phase::EVALUATED});
  if (!successors_.make_initial_state(child_)) return;
  landmarks_.note(child_);
  duplicates_.insert(child_, 0, /*any_time=*/true);
  initial_estimate_ = evaluate(child_, 0);
  keep_state(0);
  if (successors_.end_plan(child_)) note_goal(NO_NODE, {});
  if (initial_estimate_ == Heuristic::DEAD_END) return;
  nodes_[0].estimate = static_cast<float>(initial_estimate_);
  nodes_[0].num_landmarks = static_cast<float>(landmarks_.count_missing(child_));
  queues_.note_progress(nodes_[0].estimate, nodes_[0].num_landmarks);
  push(0, /*is_preferred=*/true);
}

std::size_t GuidedSearch::memory() const {
  return state_bytes_ + nodes_.capacity() * sizeof(Node) + states_.capacity() * sizeof(void*) +
         preferred_of_.capacity() * sizeof(Range) +
         preferred_steps_.capacity() * sizeof(std::uint32_t) + duplicates_.memory() +
         queues_.memory() + successors_.schedule().memory();
}

// The state is in `child_`.
void GuidedSearch::keep_state(std::uint32_t node) {
  nodes_[node].state = static_cast<std::uint32_t>(states_.size());
  states_.push_back(std::make_unique<GuidedState>(child_));
  state_bytes_ += states_.back()->memory();
}

void GuidedSearch::drop_state(std::uint32_t node) {
  std::unique_ptr<GuidedState>& state = states_[nodes_[node].state];
  state_bytes_ -= state->memory();
  state.reset();
}

void GuidedSearch::note_times(const GuidedState& state) {
  written_at_.assign(state.slots.size(), 0);
  const GuidedSchedule& schedule = successors_.schedule();
  for (std::size_t slot = 0; slot < state.slots.size(); ++slot) {
    const std::uint32_t writer = state.slots[slot].writer;
    if (writer == SlotUsers::NONE) continue;
    written_at_[slot] =
        state.times[schedule.node_of_point(writer)] + schedule.offset_of_point(writer);
  }
}

double GuidedSearch::evaluate(const GuidedState& state, std::uint32_t node) {
  ++statistics_.num_evaluated;
  note_times(state);
  const double estimate = heuristic_.evaluate(state, written_at_);
  if (estimate != Heuristic::DEAD_END) note_preferred(node);
  return estimate;
}

void GuidedSearch::note_preferred(std::uint32_t node) {
  if (!options_.preferred_operators) return;
  if (preferred_of_.size() <= node) preferred_of_.resize(node + 1);
  const std::uint32_t begin = static_cast<std::uint32_t>(preferred_steps_.size());
  heuristic_.collect_preferred(preferred_steps_);
  std::sort(preferred_steps_.begin() + begin, preferred_steps_.end());
  preferred_of_[node] = {begin, static_cast<std::uint32_t>(preferred_steps_.size())};
}

void GuidedSearch::push(std::uint32_t node, bool is_preferred) {
  const Node& at = nodes_[node];
  queues_.push(node, at.estimate + steps_per_time_ * at.end, at.num_landmarks, at.end,
               is_preferred);
}

bool GuidedSearch::is_preferred(std::uint32_t node, std::uint32_t step) const {
  const Range& range = preferred_of_[node];
  return std::binary_search(preferred_steps_.begin() + range.begin,
                            preferred_steps_.begin() + range.end, step);
}

// --- states ---

// The child is a copy of the parent with the move applied, or what replaces it.
bool GuidedSearch::build(const GuidedState& parent, GuidedMove& move, GuidedState& child) {
  const GuidedSchedule::Mark mark = successors_.schedule().mark();
  ++statistics_.num_built;
  child = parent;
  if (!successors_.apply(child, move)) {
    successors_.schedule().cut_back(mark);
    const std::optional<GuidedMove> replacement = successors_.replacement_of(move);
    if (!replacement) return false;
    move = *replacement;
    child = parent;
    if (!successors_.apply(child, move)) {
      successors_.schedule().cut_back(mark);
      return false;
    }
  }
  landmarks_.note(child);
  return true;
}

// While a shorter plan is looked for, a state that is reached again earlier is worth another look.
bool GuidedSearch::note_state(std::uint32_t parent, GuidedMove move, double makespan) {
  return duplicates_.enter(*states_[nodes_[parent].state], move, child_) &&
         duplicates_.insert(child_, makespan, /*any_time=*/!is_improving());
}

bool GuidedSearch::enter(std::uint32_t number) {
  const Node::Phase phase = nodes_[number].phase;
  nodes_[number].phase = Node::Phase::CLOSED;
  if (nodes_[number].state != NO_STATE) return true;  // the root
  const GuidedSchedule::Mark mark = successors_.schedule().mark();
  const GuidedState& parent = *states_[nodes_[nodes_[number].parent].state];
  if (!build(parent, nodes_[number].move, child_)) return false;
  if (phase == Node::Phase::DEFERRED) {
    if (successors_.end_plan(child_)) {
      is_over_ = note_goal(nodes_[number].parent, nodes_[number].move);
      successors_.schedule().cut_back(mark);
      return false;
    }
    const bool is_new = note_state(nodes_[number].parent, nodes_[number].move,
                                   successors_.schedule().makespan(child_));
    if (!is_new) ++statistics_.num_duplicates;
    if (!is_new || !evaluate_deferred(number)) {
      successors_.schedule().cut_back(mark);
      return false;
    }
  }
  if (is_improving() && successors_.schedule().makespan(child_) >= plan_makespan_ - LEAST_GAIN) {
    successors_.schedule().cut_back(mark);
    return false;
  }
  keep_state(number);
  return true;
}

bool GuidedSearch::evaluate_deferred(std::uint32_t number) {
  Node& node = nodes_[number];
  const double makespan = successors_.schedule().makespan(child_);
  const double estimate = evaluate(child_, number);
  if (estimate == Heuristic::DEAD_END) {
    ++statistics_.num_dead_ends;
    return false;
  }
  const bool is_worse = estimate > static_cast<double>(node.estimate);
  node.estimate = static_cast<float>(estimate);
  node.num_landmarks = static_cast<float>(landmarks_.count_missing(child_));
  node.end = static_cast<float>(std::max(makespan, heuristic_.end_of_relaxed_plan()));
  if (!is_worse) return true;
  node.phase = Node::Phase::POSTPONED;
  push(number, /*is_preferred=*/false);
  return false;
}

// --- expansion ---

void GuidedSearch::expand(std::uint32_t number) {
  note_expansion();
  const GuidedState& state = *states_[nodes_[number].state];
  successors_.collect_moves(state, moves_);
  is_preferred_.assign(moves_.size(), true);
  if (options_.preferred_operators) {
    for (std::size_t i = 0; i < moves_.size(); ++i) {
      // A plain opening beside a compressed one can wait.
      const bool is_sibling = i > 0 && moves_[i].list == moves_[i - 1].list;
      is_preferred_[i] =
          !is_sibling && is_preferred(number, successors_.first_step(state, moves_[i]));
    }
  }
  if (options_.symmetry && !symmetry_.is_trivial()) leave_out_equal_moves(state);
  next_move_ = 0;
  has_children_ = false;
  make_children(number);
}

// A preferred one of equal moves stays, else the first.
void GuidedSearch::leave_out_equal_moves(const GuidedState& state) {
  symmetry_.look_at(state);
  representatives_.clear();
  const auto add = [&](const GuidedMove& move) {
    const std::pair key(symmetry_.representative(move.list), move.kind);
    const bool is_known =
        std::find(representatives_.begin(), representatives_.end(), key) != representatives_.end();
    if (!is_known) representatives_.push_back(key);
    return !is_known;
  };
  std::vector<bool> stays(moves_.size());
  for (const bool preferred : {true, false}) {
    for (std::size_t i = 0; i < moves_.size(); ++i) {
      if (is_preferred_[i] == preferred) stays[i] = add(moves_[i]);
    }
  }
  std::size_t num_kept = 0;
  for (std::size_t i = 0; i < moves_.size(); ++i) {
    if (!stays[i]) continue;
    moves_[num_kept] = moves_[i];
    is_preferred_[num_kept++] = is_preferred_[i];
  }
  moves_.resize(num_kept);
  is_preferred_.resize(num_kept);
}

// Until a plan is found; the moves after it are kept for a search that goes on.
void GuidedSearch::make_children(std::uint32_t number) {
  while (next_move_ < moves_.size() && !is_over_) {
    const std::size_t i = next_move_++;
    if (is_preferred_[i]) {
      is_over_ = make_child(number, moves_[i]);
    } else {
      defer_child(number, moves_[i]);
    }
  }
  if (is_over_) {
    interrupted_ = number;
  } else if (!has_children_ && number != 0) {
    drop_state(number);
  }
}

void GuidedSearch::defer_child(std::uint32_t parent, GuidedMove move) {
  ++statistics_.num_generated;
  has_children_ = true;
  const Node from = nodes_[parent];
  nodes_.push_back(
      {parent, from.estimate, from.num_landmarks, from.end, move, Node::Phase::DEFERRED});
  push(static_cast<std::uint32_t>(nodes_.size() - 1), /*is_preferred=*/false);
}

bool GuidedSearch::make_child(std::uint32_t parent, GuidedMove move) {
  const GuidedSchedule::Mark mark = successors_.schedule().mark();
  if (!build(*states_[nodes_[parent].state], move, child_)) return false;
  const double makespan = successors_.schedule().makespan(child_);
  // A goal is looked at first: where the plan by another way to it was refused, this one may do.
  const auto judge = [&]() -> double {
    if (successors_.end_plan(child_)) {
      ++statistics_.num_generated;
      is_over_ = note_goal(parent, move);
      return Heuristic::DEAD_END;
    }
    if (!note_state(parent, move, makespan)) {
      ++statistics_.num_duplicates;
      return Heuristic::DEAD_END;
    }
    ++statistics_.num_generated;
    if (is_improving() && makespan >= plan_makespan_ - LEAST_GAIN) return Heuristic::DEAD_END;
    const double estimate = evaluate(child_, static_cast<std::uint32_t>(nodes_.size()));
    if (estimate == Heuristic::DEAD_END) ++statistics_.num_dead_ends;
    return estimate;
  };
  const double estimate = judge();
  successors_.schedule().cut_back(mark);
  if (estimate == Heuristic::DEAD_END) return is_over_;
  nodes_.push_back({parent, static_cast<float>(estimate),
                    static_cast<float>(landmarks_.count_missing(child_)),
                    static_cast<float>(std::max(makespan, heuristic_.end_of_relaxed_plan())), move,
                    Node::Phase::EVALUATED});
  has_children_ = true;
  push(static_cast<std::uint32_t>(nodes_.size() - 1), /*is_preferred=*/true);
  queues_.note_progress(nodes_.back().estimate, nodes_.back().num_landmarks);
  return false;
}

// --- plans and reports ---

// The goal state is in `child_`. Returns whether the search is over.
bool GuidedSearch::note_goal(std::uint32_t parent, GuidedMove move) {
  const double makespan = successors_.schedule().makespan(child_);
  if (has_plan_ && makespan >= plan_makespan_ - LEAST_GAIN) return false;
  if (is_improving() && makespan >= plan_makespan_ - LEAST_GAIN) return false;
  has_plan_ = true;
  plan_makespan_ = makespan;
  plan_.clear();
  if (parent != NO_NODE) {
    plan_.push_back(move);
    for (std::uint32_t node = parent; nodes_[node].parent != NO_NODE; node = nodes_[node].parent) {
      plan_.push_back(nodes_[node].move);
    }
    std::reverse(plan_.begin(), plan_.end());
  }
  is_over_ = !is_improving();
  return is_over_;
}

void GuidedSearch::note_expansion() {
  ++statistics_.num_expanded;
  if (statistics_.num_expanded % REPORT_INTERVAL != 0) return;
  LOG(LogLevel::INFO) << "States expanded: " << statistics_.num_expanded
                      << ", evaluated: " << statistics_.num_evaluated
                      << ", generated: " << statistics_.num_generated
                      << ", duplicates: " << statistics_.num_duplicates
                      << ", Open size: " << queues_.size()
                      << ", least H: " << queues_.best_estimate();
}

}  // namespace kelvo::ftp
