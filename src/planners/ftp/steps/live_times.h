#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "planners/ftp/steps/schedule.h"
#include "planners/ftp/task/step_state.h"
#include "planners/ftp/task/step_task.h"

namespace kelvo::ftp {

/// What the steps to come can see of the schedule of a partial plan.
///
/// Only the actions that are open, and the problem while steps of its own are to come, hold what
/// follows back: all else can wait. So the schedule counts as the distances between their nodes,
/// the sources, and as how far behind each source a slot was last written and read. Where no action
/// is open and the problem is through, the values alone are left: two states with the same can be
/// continued alike, whatever their plans have taken.
///
/// Of the orders in which the steps of a plan may be applied, one by time is enough. So what comes
/// is not before the opening of an open action, which bounds the distances from below, and a step
/// is late that must be behind one still to come, which bounds them from above. With durations that
/// are rationals that makes the states of a problem with finitely many values finite as well.
class LiveTimes {
 public:
  /// Both are borrowed.
  LiveTimes(const GuidedTask& task, const GuidedSchedule& schedule);

  /// The state that the move has made of its parent. False when the move is late: then the plans
  /// through it are found otherwise.
  bool enter(const GuidedState& parent, GuidedMove move, const GuidedState& state);
  /// Sums up the live times of the state that was entered.
  std::uint64_t hash(const GuidedState& state);

 private:
  /// A node that bounds what follows, and how far behind it the next of its steps to come is.
  struct Source {
    std::uint32_t node;
    double next_offset;
    bool is_opening;  // what comes is not before it
  };
  /// time(to) >= time(from) + weight, because the order is one by time.
  struct Order {
    std::uint32_t from;
    std::uint32_t to;
    double weight;
  };

  void collect_sources(const GuidedState& state);
  bool must_time_the_end(const GuidedState& state) const;
  void add_source(std::uint32_t list, std::uint32_t position, std::uint32_t node);
  bool find_distances(const GuidedState& state, std::uint32_t source, std::vector<double>& at);
  bool relax(std::uint32_t node, double distance);
  const std::vector<double>& distances(std::size_t source) const { return distances_[source]; }

  const GuidedTask& task_;
  const GuidedSchedule& schedule_;
  std::vector<std::uint32_t> lists_;  // scratch: open ones, by number
  std::vector<Source> sources_;
  std::vector<Order> orders_;
  std::vector<std::vector<double>> distances_;  // by source and node
  std::vector<double> spare_;
  std::vector<double>* at_ = nullptr;  // those at hand
  std::vector<std::uint32_t> queue_;
  std::vector<char> is_queued_;
};

}  // namespace kelvo::ftp
