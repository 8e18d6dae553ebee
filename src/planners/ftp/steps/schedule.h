#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "planners/ftp/task/step_state.h"
#include "planners/ftp/task/step_task.h"
#include "shell/numbers.h"

namespace kelvo::ftp {

/// The schedules of the partial plans of one search: difference constraints between the starts (and
/// the ends, where durations are free) of their actions. Only steps that interfere are ordered, so
/// that the least solution is often much shorter than one that keeps the order of the search.
///
/// Constraints and users of slots are linked lists that grow at the front and share their tails
/// with those of the parent. All lie on one stack: what a state that is not kept has added is cut
/// off again.
class GuidedSchedule {
 public:
  /// The task is borrowed.
  explicit GuidedSchedule(const GuidedTask& task);

  /// The schedule of the empty plan.
  void start(GuidedState& state) const;

  /// What lies on the stacks.
  struct Mark {
    std::size_t num_edges;
    std::size_t num_points;
    std::size_t num_readers;
  };
  Mark mark() const { return {edges_.size(), points_.size(), readers_.size()}; }
  void cut_back(const Mark& mark);

  /// Bytes, on the stacks.
  std::size_t memory() const {
    return edges_.capacity() * sizeof(Edge) + points_.capacity() * sizeof(Point) +
           readers_.capacity() * sizeof(Reader);
  }

  /// Adds the nodes of an action and returns the first.
  std::uint32_t add_action(GuidedState& state, std::uint32_t list);
  /// Orders a step, which has just been applied and belongs to the action at `node`, behind all
  /// that it interferes with, and the steps still to come behind it. False when that can't be.
  bool add_step(GuidedState& state, const GuidedStep& step, std::uint32_t node);

  /// Puts off an action so that the end of the plan, one time unit behind it, is no earlier than
  /// `time`. False when it can't wait; then the times of the state have to be restored.
  bool put_off(GuidedState& state, std::uint32_t node, const rational& time);

  /// The time at which the last action ends.
  double makespan(const GuidedState& state) const;

  /// The constraints that leave a node, but for those of the start of the plan, which are in the
  /// times: calls `visit(to, weight)`.
  template <typename Visit>
  void for_each_edge(const GuidedState& state, std::uint32_t node, const Visit& visit) const {
    for (std::uint32_t e = state.heads[node]; e != NONE; e = edges_[e].next) {
      visit(edges_[e].to, edges_[e].weight);
    }
  }
  /// Those who read the slot since it was written last, as numbers of applied steps.
  template <typename Visit>
  void for_each_reader(const SlotUsers& users, const Visit& visit) const {
    for (std::uint32_t r = users.readers; r != NONE; r = readers_[r].next) visit(readers_[r].point);
  }
  /// Where an applied step is.
  std::uint32_t node_of_point(std::uint32_t point) const {
    const Point& at = points_[point];
    return task_.step(at.step).at_end_node ? at.node + 1 : at.node;
  }
  double offset_of_point(std::uint32_t point) const {
    return task_.step(points_[point].step).offset;
  }

  /// A constraint as it was added, with exact numbers: time(to) >= time(from) + weight.
  struct ExactEdge {
    std::uint32_t from;
    std::uint32_t to;
    rational weight;
  };
  /// Notes the constraints that are added from now on; null to stop.
  void record(std::vector<ExactEdge>* record) { record_ = record; }
  std::size_t num_recorded() const { return record_ == nullptr ? 0 : record_->size(); }
  void cut_back_record(std::size_t num_recorded) {
    if (record_ != nullptr) record_->resize(num_recorded);
  }

 private:
  static constexpr std::uint32_t NONE = SlotUsers::NONE;

  struct Edge {
    std::uint32_t next;
    std::uint32_t to;
    double weight;
  };
  /// An applied step.
  struct Point {
    std::uint32_t node;
    std::uint32_t step;
  };
  struct Reader {
    std::uint32_t next;
    std::uint32_t point;
  };

  bool add_edge(GuidedState& state, std::uint32_t from, std::uint32_t to, double weight);
  bool propagate(GuidedState& state, std::uint32_t source, std::uint32_t raised);
  struct Gap {
    const rational* exact;
    double length;
  };

  bool order(GuidedState& state, std::uint32_t earlier_node, const GuidedStep& earlier,
             std::uint32_t later_node, const GuidedStep& later, const Gap& gap);
  bool order_behind_point(GuidedState& state, std::uint32_t point, const Point& made,
                          const Gap& gap);
  bool order_behind_users(GuidedState& state, const GuidedStep& step, std::uint32_t number);
  bool order_pending(GuidedState& state, const GuidedStep& step, std::uint32_t node);

  const GuidedTask& task_;
  Gap write_gap_;
  Gap no_gap_;
  std::vector<Edge> edges_;
  std::vector<Point> points_;
  std::vector<Reader> readers_;
  std::vector<ExactEdge>* record_ = nullptr;

  // Scratch.
  std::vector<std::uint32_t> queue_;
  std::vector<char> is_queued_;
  /// By point: the number of the latest step that was ordered behind it.
  std::vector<std::uint64_t> ordered_for_;
  std::uint64_t num_ordered_ = 0;
};

}  // namespace kelvo::ftp
