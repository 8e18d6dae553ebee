#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "planners/ftp/events/plan_builder.h"
#include "planners/ftp/events/successor_generator.h"
#include "planners/ftp/ftp_options.h"
#include "planners/ftp/relaxation/relaxed_task.h"
#include "planners/ftp/task/compiled_task.h"
#include "planners/ftp/task/search_state.h"
#include "planners/heuristics/heuristic.h"
#include "planners/planner.h"
#include "planners/search/open_list.h"

namespace kelvo::ftp {

/// Forward search over partially built temporal plans. A step applies the next event of some open
/// list or opens an action; times are not chosen, but kept possible by a temporal network, whose
/// least solution becomes the plan's schedule.
///
/// A generated state is tested and evaluated, and then forgotten but for the step that leads to it:
/// most states are never expanded, and the open list is what fills the memory. The step is taken
/// again when the state is.
class FtpPlanner : public Planner {
 public:
  FtpPlanner(Environment& env, const model::ProblemInstance& problem);
  ~FtpPlanner() override;

  std::string name() const override { return "FTP"; }
  std::shared_ptr<Plan> solve() override;

  /// Of the latest search.
  std::size_t num_expanded() const { return num_expanded_; }
  std::size_t num_generated() const { return num_generated_; }

  const CompiledTask& task() const { return *task_; }

 protected:
  /// Null when a goal at the start does not hold there. States belong to the planner: see
  /// `release`.
  SearchState* make_initial_state() { return generator_->make_initial_state(); }
  /// The successor by the first event of a list, or by opening an action; null when there is none.
  SearchState* expand_event(const SearchState& current, std::size_t list, bool use_heuristic);
  SearchState* expand_action(const SearchState& current, std::uint32_t template_id,
                             bool use_heuristic);
  /// With `weak_equality` states that look alike are expanded once: then no plan proves nothing.
  std::shared_ptr<Plan> search(bool weak_equality);

  /// Gives a state back, once for each of its references.
  void release(SearchState* state) {
    if (--state->references == 0) generator_->release(state);
  }
  Heuristic* heuristic() { return heuristic_.get(); }

 private:
  /// What leads from a state to a successor.
  struct Step {
    enum class Kind : std::uint32_t { NONE, EVENT, OPENING };
    Kind kind = Kind::NONE;
    /// Of the list whose first event is applied, or of the opened action's template.
    std::uint32_t number = 0;
  };
  struct OpenEntry;
  struct WeakHash;
  struct WeakEquality;
  struct ComesLater;
  using Open = OpenList<OpenEntry, ComesLater>;
  class Progress;
  class Search;

  bool is_guided() const { return options_.search == FtpOptions::Search::GUIDED; }
  void make_heuristic();
  std::shared_ptr<Plan> solve_guided();
  void conclude(bool has_goals);
  double initial_estimate(const SearchState& state, std::vector<std::uint32_t>& actions);
  SearchState* make_successor(const SearchState& current, Step step, bool use_heuristic);
  void push_successor(Open& open, SearchState& current, Step step);
  SearchState* build(const OpenEntry& entry);
  SearchState* replace_by_follower(SearchState* child, std::size_t list, bool use_heuristic);
  double estimate_of(const SearchState& state) const;
  std::shared_ptr<Plan> plan_of(const Search& search);

  FtpOptions options_;
  std::unique_ptr<CompiledTask> task_;
  std::unique_ptr<SuccessorGenerator> generator_;
  std::unique_ptr<PlanBuilder> builder_;
  std::unique_ptr<RelaxedTask> relaxed_;
  std::unique_ptr<Heuristic> heuristic_;
  std::size_t num_expanded_ = 0;
  std::size_t num_generated_ = 0;
};

}  // namespace kelvo::ftp
