#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "planners/ftp/task/event_template.h"
#include "planners/ftp/task/search_state.h"

namespace kelvo::ftp {

/// A point of the network: an anchor's node and a distance from it.
struct TimePoint {
  std::uint32_t node;
  double offset;
};

/// The temporal network of a state under construction. Nodes are the two ends of the plan and the
/// two ends of each opened action: events tied to them by an equality need none of their own. Its
/// least solution and its verdict are those of a `TemporalNetwork` with a point for each event.
class SearchNetwork {
 public:
  SearchNetwork();

  /// A copy of the state's network, to be extended.
  void start_from(const SearchState& state);
  /// An empty network of the two ends of the plan.
  void start_empty();

  /// A new node that is never before `earliest`.
  std::uint32_t add_node(double earliest);
  double time(const TimePoint& point) const { return times_[point.node] + point.offset; }

  /// a >= b + distance. False when that makes the network inconsistent, which it then stays.
  bool add(const TimePoint& a, const TimePoint& b, double distance) {
    return add_edge(b.node, a.node, distance + b.offset - a.offset);
  }
  bool raise(std::uint32_t node, double earliest);

  /// Whether the network is still consistent with a >= b + distance added; adds nothing.
  bool admits(const TimePoint& a, const TimePoint& b, double distance);

  std::vector<double>& times() { return times_; }
  std::vector<const Edge*>& heads() { return heads_; }
  /// The number of constraints that this network adds to that of its parent.
  std::size_t num_new_edges() const { return edges_.size(); }
  /// Copies the new constraints to `edges`, linked among themselves and to those of the parent, and
  /// the newest constraint of each node to `heads`.
  void copy_new_edges(Edge* edges, const Edge** heads);
  /// Whether the times meet all constraints: so after each change that was consistent.
  bool is_solved() const;

 private:
  bool add_edge(std::uint32_t from, std::uint32_t to, double weight);
  bool propagate(std::uint32_t source, std::uint32_t raised);
  void make_room();

  std::vector<double> times_;
  std::vector<const Edge*> heads_;
  std::vector<Edge> edges_;  // pointed into: see make_room
  std::vector<std::uint32_t> queue_;
  std::vector<char> is_queued_;
  std::vector<double> saved_times_;
  std::vector<const Edge*> latest_;  // by node: scratch of `copy_new_edges`
};

}  // namespace kelvo::ftp
