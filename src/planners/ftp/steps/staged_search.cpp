#include "planners/ftp/steps/staged_search.h"

#include <optional>
#include <utility>

#include "planners/ftp/steps/elimination.h"
#include "planners/ftp/steps/successors.h"
#include "planners/ftp/steps/timing.h"
#include "plans/time_triggered_plan.h"
#include "shell/log.h"

namespace kelvo::ftp {

GuidedPlanner::GuidedPlanner(CompiledTask& task, const GuidedOptions& options,
                             std::size_t num_improvements, Test test)
    : task_(task), options_(options), num_improvements_(num_improvements), test_(std::move(test)) {
  LOG(LogLevel::INFO) << "Start guided FTP";
  if (task_.obstacle().empty()) {
    start();
  } else {
    LOG(LogLevel::INFO) << "The guided search can't treat " << task_.obstacle();
  }
}

GuidedPlanner::~GuidedPlanner() = default;

// The second stage differs from the first where ties and turns are a matter of luck.
void GuidedPlanner::start() {
  constexpr long OTHER_BOOST = 1000;
  heuristic_ = std::make_unique<HFF>(task_, options_.heuristic);
  if (options_.landmarks) {
    landmarks_ = GuidedLandmarks(task_);
    LOG(LogLevel::INFO) << "Landmarks: " << landmarks_.size();
  }
  symmetry_ = std::make_unique<ObjectSymmetry>(task_);
  GuidedOptions complete = options_;
  complete.compression = Compression::SHORTCUT;
  complete.duplicates = Duplicates::EXACT;
  complete.max_memory = options_.max_memory / 2;
  GuidedOptions other_ties = options_;
  other_ties.heuristic.ties = LiteralQueue::Ties::LATEST;
  other_ties.boost = OTHER_BOOST;
  other_ties.time_weight = 0;
  other_ties.max_memory = options_.max_memory / 2;
  add_stage("full compression, duplicates by values", options_);
  add_stage("full compression, other supporters", other_ties);
  add_stage("plain openings, exact duplicates", complete);
}

void GuidedPlanner::add_stage(const std::string& name, const GuidedOptions& options) {
  auto search = std::make_unique<GuidedSearch>(task_, *heuristic_, landmarks_, *symmetry_, options);
  stages_.push_back({stages_.size(), name, std::move(search)});
}

// --- the stages ---

std::shared_ptr<TimeTriggeredPlan> GuidedPlanner::find_plan() {
  constexpr std::size_t FIRST_TURN = 1000;
  for (std::size_t turn = FIRST_TURN; plan_ == nullptr && !is_over(); turn *= 2) run(turn);
  return plan_;
}

std::shared_ptr<TimeTriggeredPlan> GuidedPlanner::run(std::size_t max_built) {
  for (std::size_t i = 0; i < stages_.size() && plan_ == nullptr;) {
    if (run(stages_[i], max_built)) {
      ++i;
    } else {
      stages_.erase(stages_.begin() + static_cast<std::ptrdiff_t>(i));
    }
    if (has_refuted_) stages_.clear();
  }
  if (plan_ != nullptr && num_improvements_ > 0) improve();
  return plan_;
}

bool GuidedPlanner::run(Stage& stage, std::size_t max_built) {
  LOG(LogLevel::INFO) << "Guided search: " << stage.name;
  GuidedSearch& search = *stage.search;
  const bool is_new = search.statistics().num_built == 0;
  GuidedSearch::Outcome outcome = search.run(max_built);
  if (is_new) LOG(LogLevel::INFO) << "Initial H=" << search.initial_estimate();
  while (outcome == GuidedSearch::Outcome::FOUND) {
    has_refused_plan_ = !take(search);
    if (!has_refused_plan_) {
      stage_of_plan_ = stage.number;
      report(search);
      return false;
    }
    outcome = search.run(max_built);
  }
  if (outcome == GuidedSearch::Outcome::STOPPED) return true;
  report(search);
  if (outcome == GuidedSearch::Outcome::EXHAUSTED) conclude(stage);
  if (outcome == GuidedSearch::Outcome::OUT_OF_MEMORY) {
    is_out_of_memory_ = true;
    LOG(LogLevel::INFO) << "Guided search: out of memory with " << stage.name;
  } else {
    LOG(LogLevel::INFO) << "Guided search: no plan with " << stage.name;
  }
  return false;
}

// The end of a search proves something if the search was complete: the second stage is, and where
// the relaxation of the task has no plan already, times play no part.
void GuidedPlanner::conclude(const Stage& stage) {
  const bool is_unreachable = stage.search->initial_estimate() == Heuristic::DEAD_END;
  if (!is_unreachable && (stage.number != COMPLETE_STAGE || has_refused_plan_)) return;
  if (!task_.is_complete()) return;
  has_refuted_ = true;
  if (is_unreachable || !stage.search->has_met_bounds()) {
    no_plan_ = {NoPlan::Certainty::PROVEN, ""};
  } else {
    no_plan_ = {NoPlan::Certainty::BOUNDED, BOUNDS};
  }
}

// One eager search, whose children are all evaluated, cut off where they can't beat the best plan.
void GuidedPlanner::improve() {
  GuidedOptions options = options_;
  options.preferred_operators = false;
  options.max_evaluations = num_improvements_;
  options.makespan_bound = makespan_;
  LOG(LogLevel::INFO) << "Guided search: shortening a makespan of " << makespan_;
  GuidedSearch search(task_, *heuristic_, landmarks_, *symmetry_, options);
  const GuidedSearch::Outcome outcome = search.run();
  report(search);
  if (outcome != GuidedSearch::Outcome::FOUND || !take(search)) return;
  LOG(LogLevel::INFO) << "Guided search: a makespan of " << makespan_;
}

namespace {

void add(const GuidedStatistics& one, GuidedStatistics& sum) {
  sum.num_built += one.num_built;
  sum.num_evaluated += one.num_evaluated;
  sum.num_generated += one.num_generated;
  sum.num_expanded += one.num_expanded;
  sum.num_duplicates += one.num_duplicates;
  sum.num_dead_ends += one.num_dead_ends;
}

}  // namespace

GuidedStatistics GuidedPlanner::statistics() const {
  GuidedStatistics result = statistics_;
  for (const Stage& stage : stages_) add(stage.search->statistics(), result);
  return result;
}

void GuidedPlanner::report(const GuidedSearch& search) {
  const GuidedStatistics& one = search.statistics();
  add(one, statistics_);
  LOG(LogLevel::INFO) << "Guided search: built " << one.num_built << ", evaluated "
                      << one.num_evaluated << ", generated " << one.num_generated << ", expanded "
                      << one.num_expanded << ", duplicates " << one.num_duplicates << ", dead ends "
                      << one.num_dead_ends;
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
  if (test_ && !test_(plan)) {
    LOG(LogLevel::WARN) << "Guided search: the plan that was found is refused";
    return false;
  }
  makespan_ = *makespan;
  plan_ = plan;
  return true;
}

}  // namespace kelvo::ftp
