#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "planners/ftp/steps/search.h"
#include "planners/ftp/task/compiled_task.h"
#include "planners/ftp/task/step_task.h"
#include "planners/planner.h"

namespace kelvo {
class TimeTriggeredPlan;
}

namespace kelvo::ftp {

/// The guided search with its stages: the first is fast and may miss plans, the second misses none
/// but those for which it says so. They take turns, so that what one of them can do in some time is
/// done in a small multiple of it.
class GuidedPlanner {
 public:
  /// Whether a plan may be returned; if not, the search goes on.
  using Test = std::function<bool(const std::shared_ptr<TimeTriggeredPlan>&)>;

  /// `options` are those of the first stage. `num_improvements` evaluations are spent on a shorter
  /// plan once there is one. The task is borrowed.
  GuidedPlanner(CompiledTask& task, const GuidedOptions& options, std::size_t num_improvements,
                Test test = {});
  ~GuidedPlanner();

  /// Continues each stage that is left until it has built so many more states. A plan with exact
  /// times, or null when none was found yet.
  std::shared_ptr<TimeTriggeredPlan> run(std::size_t max_built);
  /// Continues until there is a plan or no stage is left.
  std::shared_ptr<TimeTriggeredPlan> find_plan();

  /// No stage is left.
  bool is_over() const { return stages_.empty(); }
  /// Whether that there is no plan has been shown.
  bool has_refuted() const { return has_refuted_; }
  /// How far that goes.
  const NoPlan& no_plan() const { return no_plan_; }
  /// What a search over steps or events leaves out.
  static constexpr const char* BOUNDS =
      "with 0.01 between an effect and what touches it, and one execution of an action at a time";
  /// Whether a stage gave up because it wanted too much memory.
  bool is_out_of_memory() const { return is_out_of_memory_; }
  /// Of the plan: the stage that found it, from 0 on.
  std::size_t stage_of_plan() const { return stage_of_plan_; }

  /// Of all searches so far.
  GuidedStatistics statistics() const;

 private:
  static constexpr std::size_t COMPLETE_STAGE = 2;

  struct Stage {
    std::size_t number;
    std::string name;
    std::unique_ptr<GuidedSearch> search;
  };

  void start();
  void add_stage(const std::string& name, const GuidedOptions& options);
  /// Whether the stage is left.
  bool run(Stage& stage, std::size_t max_built);
  void conclude(const Stage& stage);
  void improve();
  bool take(const GuidedSearch& search);
  void report(const GuidedSearch& search);

  GuidedTask task_;
  GuidedOptions options_;
  std::size_t num_improvements_;
  Test test_;
  std::unique_ptr<HFF> heuristic_;
  std::unique_ptr<ObjectSymmetry> symmetry_;
  GuidedLandmarks landmarks_;
  std::vector<Stage> stages_;
  GuidedStatistics statistics_;  // of the searches that are over
  bool has_refused_plan_ = false;
  bool has_refuted_ = false;
  NoPlan no_plan_;
  bool is_out_of_memory_ = false;

  // The best plan so far.
  std::shared_ptr<TimeTriggeredPlan> plan_;
  double makespan_ = 0;
  std::size_t stage_of_plan_ = 0;
};

}  // namespace kelvo::ftp
