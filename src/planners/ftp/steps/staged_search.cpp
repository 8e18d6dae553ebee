#include "planners/ftp/steps/staged_search.h"

#include <optional>

#include "planners/ftp/steps/elimination.h"
#include "planners/ftp/steps/successors.h"
#include "planners/ftp/steps/timing.h"
#include "plans/time_triggered_plan.h"
#include "shell/log.h"

namespace kelvo::ftp {

GuidedPlanner::GuidedPlanner(CompiledTask& task, const GuidedOptions& options,
                             std::size_t num_improvements)
    : task_(task), options_(options), num_improvements_(num_improvements) {}

GuidedPlanner::~GuidedPlanner() = default;

std::shared_ptr<TimeTriggeredPlan> GuidedPlanner::find_plan() {
  LOG(LogLevel::INFO) << "Start guided FTP";
  if (!task_.obstacle().empty()) {
    LOG(LogLevel::INFO) << "The guided search can't treat " << task_.obstacle();
    return nullptr;
  }
  heuristic_ = std::make_unique<HFF>(task_, options_.heuristic);
  if (options_.landmarks) {
    landmarks_ = GuidedLandmarks(task_);
    LOG(LogLevel::INFO) << "Landmarks: " << landmarks_.size();
  }
  GuidedOptions complete = options_;
  complete.compression = Compression::SAFE;
  complete.duplicates = Duplicates::EXACT;
  if (!search("full compression, duplicates by values", options_) &&
      !search("safe compression, exact duplicates", complete)) {
    return nullptr;
  }
  if (num_improvements_ > 0) improve();
  return plan_;
}

bool GuidedPlanner::search(const std::string& stage, const GuidedOptions& options) {
  LOG(LogLevel::INFO) << "Guided search: " << stage;
  GuidedSearch search(task_, *heuristic_, landmarks_, options);
  const GuidedSearch::Outcome outcome = search.run();
  LOG(LogLevel::INFO) << "Initial H=" << search.initial_estimate();
  report(search);
  if (outcome != GuidedSearch::Outcome::FOUND) {
    LOG(LogLevel::INFO) << "Guided search: no plan with " << stage;
    return false;
  }
  return take(search);
}

// One eager search, whose children are all evaluated, cut off where they can't beat the best plan.
void GuidedPlanner::improve() {
  GuidedOptions options = options_;
  options.preferred_operators = false;
  options.max_evaluations = num_improvements_;
  options.makespan_bound = makespan_;
  LOG(LogLevel::INFO) << "Guided search: shortening a makespan of " << makespan_;
  GuidedSearch search(task_, *heuristic_, landmarks_, options);
  const GuidedSearch::Outcome outcome = search.run();
  report(search);
  if (outcome != GuidedSearch::Outcome::FOUND || !take(search)) return;
  LOG(LogLevel::INFO) << "Guided search: a makespan of " << makespan_;
}

void GuidedPlanner::report(const GuidedSearch& search) {
  const GuidedStatistics& one = search.statistics();
  statistics_.num_evaluated += one.num_evaluated;
  statistics_.num_generated += one.num_generated;
  statistics_.num_expanded += one.num_expanded;
  statistics_.num_duplicates += one.num_duplicates;
  statistics_.num_dead_ends += one.num_dead_ends;
  LOG(LogLevel::INFO) << "Guided search: evaluated " << one.num_evaluated << ", generated "
                      << one.num_generated << ", expanded " << one.num_expanded << ", duplicates "
                      << one.num_duplicates << ", dead ends " << one.num_dead_ends;
}

// Of the plan that was found only what it needs is kept. The search allows for rounding errors of
// its times: a plan that exact times contradict is none.
bool GuidedPlanner::take(const GuidedSearch& search) {
  GuidedSuccessors successors(task_, Compression::NONE);
  std::vector<GuidedMove> moves = search.plan();
  const std::optional<double> makespan = eliminate_actions(successors, moves);
  const std::shared_ptr<TimeTriggeredPlan> plan =
      makespan ? make_exact_plan(successors, moves) : nullptr;
  if (plan == nullptr) {
    LOG(LogLevel::WARN) << "Guided search: the plan that was found has no exact times";
    return false;
  }
  makespan_ = *makespan;
  plan_ = plan;
  return true;
}

}  // namespace kelvo::ftp
