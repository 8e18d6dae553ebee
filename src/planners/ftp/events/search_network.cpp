#include "planners/ftp/events/search_network.h"

#include <cassert>

#include "planners/ftp/task/time_constants.h"

namespace kelvo::ftp {

SearchNetwork::SearchNetwork() {
  edges_.reserve(256);
}

void SearchNetwork::start_from(const SearchState& state) {
  assert(state.num_nodes >= 2 && "the two ends of the plan");
  times_.assign(state.times, state.times + state.num_nodes);
  heads_.assign(state.heads, state.heads + state.num_nodes);
  edges_.clear();
}

void SearchNetwork::start_empty() {
  times_.assign(2, 0.0);
  heads_.assign(2, nullptr);
  edges_.clear();
}

std::uint32_t SearchNetwork::add_node(double earliest) {
  times_.push_back(earliest);
  heads_.push_back(nullptr);
  return static_cast<std::uint32_t>(times_.size() - 1);
}

bool SearchNetwork::raise(std::uint32_t node, double earliest) {
  if (!(earliest - times_[node] > NETWORK_TOLERANCE)) return true;
  times_[node] = earliest;
  // No node is the source of a new constraint: raising alone can't close a cycle.
  return propagate(static_cast<std::uint32_t>(times_.size()), node);
}

// Invariant: no constraint is broken by more than the tolerance, and each time is the least that
// its node can have, up to the tolerance, at least the one it was made with. A new constraint can
// break it only after its target, so propagation starts there (Cesta and Oddi, TIME 1996).
bool SearchNetwork::add_edge(std::uint32_t from, std::uint32_t to, double weight) {
  assert(from < times_.size() && to < times_.size());
  if (from == to) return !(weight > NETWORK_TOLERANCE);
  if (edges_.size() == edges_.capacity()) make_room();
  edges_.push_back({heads_[from], from, to, weight});
  heads_[from] = &edges_.back();
  const double earliest = times_[from] + weight;
  if (!(earliest - times_[to] > NETWORK_TOLERANCE)) return true;
  times_[to] = earliest;
  return propagate(from, to);
}

// Raises what a raised node pushes ahead, first in first out. Before the newest constraint there
// was no positive cycle, so there is one now if and only if its source is raised in turn.
bool SearchNetwork::propagate(std::uint32_t source, std::uint32_t raised) {
  if (is_queued_.size() < times_.size()) is_queued_.resize(times_.size() + 16, 0);
  queue_.assign(1, raised);
  is_queued_[raised] = 1;
  for (std::size_t head = 0; head < queue_.size(); ++head) {
    const std::uint32_t node = queue_[head];
    is_queued_[node] = 0;
    const double time = times_[node];
    for (const Edge* edge = heads_[node]; edge != nullptr; edge = edge->next) {
      const double earliest = time + edge->weight;
      if (!(earliest - times_[edge->to] > NETWORK_TOLERANCE)) continue;
      if (edge->to == source) {
        for (++head; head < queue_.size(); ++head) is_queued_[queue_[head]] = 0;
        return false;
      }
      times_[edge->to] = earliest;
      if (is_queued_[edge->to] == 0) {
        is_queued_[edge->to] = 1;
        queue_.push_back(edge->to);
      }
    }
  }
  return true;
}

bool SearchNetwork::admits(const TimePoint& a, const TimePoint& b, double distance) {
  const double weight = distance + b.offset - a.offset;
  if (a.node == b.node) return !(weight > NETWORK_TOLERANCE);
  saved_times_ = times_;
  const double earliest = times_[b.node] + weight;
  if (!(earliest - times_[a.node] > NETWORK_TOLERANCE)) return true;
  times_[a.node] = earliest;
  const bool result = propagate(b.node, a.node);
  times_.swap(saved_times_);
  return result;
}

// Constraints of one node form a list, the newest first, and only the ends of lists lead into those
// of the parent. So in order of age, the one before in a list is the one seen last.
void SearchNetwork::copy_new_edges(Edge* edges, const Edge** heads) {
  latest_.assign(heads_.size(), nullptr);
  for (std::size_t i = 0; i < edges_.size(); ++i) {
    const Edge*& latest = latest_[edges_[i].from];
    edges[i] = edges_[i];
    if (latest != nullptr) edges[i].next = latest;
    latest = &edges[i];
  }
  for (std::size_t node = 0; node < heads_.size(); ++node) {
    heads[node] = latest_[node] != nullptr ? latest_[node] : heads_[node];
  }
}

// Moves the edges to a larger place and the pointers with them.
void SearchNetwork::make_room() {
  std::vector<Edge> larger;
  larger.reserve(2 * edges_.capacity());
  larger.resize(edges_.size());
  copy_new_edges(larger.data(), heads_.data());
  edges_.swap(larger);
}

bool SearchNetwork::is_solved() const {
  for (std::size_t node = 0; node < heads_.size(); ++node) {
    for (const Edge* edge = heads_[node]; edge != nullptr; edge = edge->next) {
      assert(edge->from == node && edge->to < times_.size());
      if (times_[node] + edge->weight - times_[edge->to] > NETWORK_TOLERANCE) return false;
    }
  }
  return true;
}

}  // namespace kelvo::ftp
