#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "planners/ftp/steps/search.h"
#include "planners/ftp/task/compiled_task.h"
#include "planners/ftp/task/step_task.h"

namespace kelvo {
class TimeTriggeredPlan;
}

namespace kelvo::ftp {

/// The guided search with its stages: the first is fast and may miss plans, the second less so.
/// Where both find none, only the plain search can tell that there is none.
class GuidedPlanner {
 public:
  /// `options` are those of the first stage. `num_improvements` evaluations are spent on a shorter
  /// plan once there is one. The task is borrowed.
  GuidedPlanner(CompiledTask& task, const GuidedOptions& options, std::size_t num_improvements);
  ~GuidedPlanner();

  /// A plan with exact times, or null when these stages find none.
  std::shared_ptr<TimeTriggeredPlan> find_plan();

  /// Of all searches so far.
  const GuidedStatistics& statistics() const { return statistics_; }

 private:
  bool search(const std::string& stage, const GuidedOptions& options);
  void improve();
  bool take(const GuidedSearch& search);
  void report(const GuidedSearch& search);

  GuidedTask task_;
  GuidedOptions options_;
  std::size_t num_improvements_;
  std::unique_ptr<HFF> heuristic_;
  GuidedLandmarks landmarks_;
  GuidedStatistics statistics_;

  // The best plan so far.
  std::shared_ptr<TimeTriggeredPlan> plan_;
  double makespan_ = 0;
};

}  // namespace kelvo::ftp
