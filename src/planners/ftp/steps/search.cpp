#include "planners/ftp/steps/search.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "shell/log.h"

namespace kelvo::ftp {

namespace {

/// A plan has to be shorter by more than this to be better.
constexpr double LEAST_GAIN = 1e-3;
constexpr std::size_t REPORT_INTERVAL = 1000;

}  // namespace

GuidedSearch::GuidedSearch(const GuidedTask& task, HFF& heuristic, const GuidedLandmarks& landmarks,
                           const GuidedOptions& options)
    : heuristic_(heuristic),
      landmarks_(landmarks),
      options_(options),
      successors_(task, options.compression),
      duplicates_(options.duplicates, task, successors_.schedule()),
      queues_(options.preferred_operators, options.landmarks && !landmarks.empty()),
      plan_makespan_(options.makespan_bound) {}

GuidedSearch::~GuidedSearch() = default;

bool GuidedSearch::is_improving() const {
  return !std::isinf(options_.makespan_bound);
}

GuidedSearch::Outcome GuidedSearch::run(std::size_t max_built) {
  const std::size_t before = statistics_.num_built;
  evaluated_node_ = NO_NODE;  // the heuristic may have served another search since
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
  if (interrupted_ != NO_NODE) expand(std::exchange(interrupted_, NO_NODE), /*is_again=*/true);
}

void GuidedSearch::make_root() {
  nodes_.push_back({NO_NODE, 0, 0, 0, {}, Node::Phase::EVALUATED});
  if (!successors_.make_initial_state(child_)) return;
  landmarks_.note(child_);
  duplicates_.insert(child_, 0, /*any_time=*/true);
  initial_estimate_ = evaluate(child_, 0);
  keep_state(0);
  if (successors_.is_goal(child_)) note_goal(NO_NODE, {});
  if (initial_estimate_ == Heuristic::DEAD_END) return;
  nodes_[0].estimate = static_cast<float>(initial_estimate_);
  nodes_[0].num_landmarks = static_cast<float>(landmarks_.count_missing(child_));
  queues_.note_progress(nodes_[0].estimate, nodes_[0].num_landmarks);
  push(0, /*is_preferred=*/true);
}

std::size_t GuidedSearch::memory() const {
  return state_bytes_ + nodes_.capacity() * sizeof(Node) + states_.capacity() * sizeof(void*) +
         duplicates_.memory() + queues_.memory() + successors_.schedule().memory();
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

double GuidedSearch::evaluate(const GuidedState& state, std::uint32_t node) {
  ++statistics_.num_evaluated;
  evaluated_node_ = node;
  return heuristic_.evaluate(state);
}

void GuidedSearch::push(std::uint32_t node, bool is_preferred) {
  const Node& at = nodes_[node];
  queues_.push(node, at.estimate, at.num_landmarks, at.makespan, is_preferred);
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
bool GuidedSearch::is_new_state(std::uint32_t parent, GuidedMove move, double makespan) {
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
    const bool is_new = is_new_state(nodes_[number].parent, nodes_[number].move,
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
  if (successors_.is_goal(child_)) {
    is_over_ = note_goal(node.parent, node.move);
    return false;
  }
  const double estimate = evaluate(child_, number);
  if (estimate == Heuristic::DEAD_END) {
    ++statistics_.num_dead_ends;
    return false;
  }
  const bool is_worse = estimate > static_cast<double>(node.estimate);
  node.estimate = static_cast<float>(estimate);
  node.num_landmarks = static_cast<float>(landmarks_.count_missing(child_));
  node.makespan = static_cast<float>(makespan);
  if (!is_worse) return true;
  node.phase = Node::Phase::POSTPONED;
  push(number, /*is_preferred=*/false);
  return false;
}

// --- expansion ---

void GuidedSearch::expand(std::uint32_t number, bool is_again) {
  if (!is_again) note_expansion();
  const GuidedState& state = *states_[nodes_[number].state];
  states_[nodes_[number].state]->refresh_values();
  if (options_.preferred_operators && evaluated_node_ != number) {
    heuristic_.evaluate(state);  // for the preferred operators, so that it is not counted
    evaluated_node_ = number;
  }
  successors_.collect_moves(state, moves_);
  is_preferred_.assign(moves_.size(), true);
  if (options_.preferred_operators) {
    for (std::size_t i = 0; i < moves_.size(); ++i) {
      // A plain opening beside a compressed one can wait.
      const bool is_sibling = i > 0 && moves_[i].list == moves_[i - 1].list;
      is_preferred_[i] =
          !is_sibling && heuristic_.is_preferred(successors_.first_step(state, moves_[i]));
    }
  }
  has_children_ = is_again;
  for (std::size_t i = 0; i < moves_.size() && !is_over_; ++i) {
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
      {parent, from.estimate, from.num_landmarks, from.makespan, move, Node::Phase::DEFERRED});
  push(static_cast<std::uint32_t>(nodes_.size() - 1), /*is_preferred=*/false);
}

bool GuidedSearch::make_child(std::uint32_t parent, GuidedMove move) {
  const GuidedSchedule::Mark mark = successors_.schedule().mark();
  if (!build(*states_[nodes_[parent].state], move, child_)) return false;
  const double makespan = successors_.schedule().makespan(child_);
  const auto judge = [&]() -> double {
    if (!is_new_state(parent, move, makespan)) {
      ++statistics_.num_duplicates;
      return Heuristic::DEAD_END;
    }
    ++statistics_.num_generated;
    if (is_improving() && makespan >= plan_makespan_ - LEAST_GAIN) return Heuristic::DEAD_END;
    if (successors_.is_goal(child_)) {
      is_over_ = note_goal(parent, move);
      return Heuristic::DEAD_END;
    }
    const double estimate = evaluate(child_, static_cast<std::uint32_t>(nodes_.size()));
    if (estimate == Heuristic::DEAD_END) ++statistics_.num_dead_ends;
    return estimate;
  };
  const double estimate = judge();
  successors_.schedule().cut_back(mark);
  if (estimate == Heuristic::DEAD_END) return is_over_;
  nodes_.push_back({parent, static_cast<float>(estimate),
                    static_cast<float>(landmarks_.count_missing(child_)),
                    static_cast<float>(makespan), move, Node::Phase::EVALUATED});
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
