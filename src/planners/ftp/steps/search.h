#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "planners/ftp/relaxation/hff.h"
#include "planners/ftp/relaxation/landmarks.h"
#include "planners/ftp/steps/duplicates.h"
#include "planners/ftp/steps/queues.h"
#include "planners/ftp/steps/successors.h"
#include "planners/ftp/task/step_state.h"
#include "planners/ftp/task/step_task.h"
#include "planners/ftp/task/symmetry.h"

namespace kelvo::ftp {

/// How a guided search goes about.
struct GuidedOptions {
  Compression compression = Compression::FULL;
  Duplicates duplicates = Duplicates::BY_VALUES;
  HFF::Options heuristic;
  /// Successors by steps of the relaxed plan have a heap of their own, and alone are evaluated when
  /// they are made; the others wait with the estimate of their parent.
  bool preferred_operators = true;
  /// The number of landmarks that are still to be reached leads a second pair of heaps.
  bool landmarks = true;
  /// Of moves that differ in equal objects one is enough.
  bool symmetry = true;
  /// How many steps of the relaxed plan the search would take for a plan that is through sooner by
  /// the mean duration of an action.
  double time_weight = 1;
  /// How many turns progress gives to preferred operators. Many turns are fast where they lead to
  /// the goal, and keep the search on a plateau where they don't.
  long boost = 2;
  std::size_t max_evaluations = std::numeric_limits<std::size_t>::max();
  /// Bytes, roughly. A search that wants more gives up.
  std::size_t max_memory = std::size_t{1} << 30;
  /// Only plans that are shorter than this; the search goes on behind each and cuts off what can't
  /// be shorter than the best one. Infinite: the first plan ends the search.
  double makespan_bound = std::numeric_limits<double>::infinity();
};

/// What a search has done.
struct GuidedStatistics {
  /// States that were made whole, be it only to find out that they are none: what a search costs.
  std::size_t num_built = 0;
  std::size_t num_evaluated = 0;
  std::size_t num_generated = 0;
  std::size_t num_expanded = 0;
  std::size_t num_duplicates = 0;
  std::size_t num_dead_ends = 0;
};

/// Greedy best-first search with preferred operators (Richter and Westphal, "The LAMA planner",
/// JAIR 2010) over partial plans. Of equal estimates the shorter schedule comes first. It can be
/// stopped and continued.
class GuidedSearch {
 public:
  /// All are borrowed but the options.
  GuidedSearch(const GuidedTask& task, HFF& heuristic, const GuidedLandmarks& landmarks,
               ObjectSymmetry& symmetry, const GuidedOptions& options);
  ~GuidedSearch();

  enum class Outcome { FOUND, EXHAUSTED, STOPPED, OUT_OF_MEMORY };
  /// Goes on until so many more states have been built; behind a plan that was found, with what is
  /// left.
  Outcome run(std::size_t max_built = std::numeric_limits<std::size_t>::max());

  /// The moves of the plan that was found last: of several the shortest.
  const std::vector<GuidedMove>& plan() const { return plan_; }
  const GuidedStatistics& statistics() const { return statistics_; }
  double initial_estimate() const { return initial_estimate_; }
  /// Whether times have cut something off.
  bool has_met_bounds() const { return successors_.has_met_bounds(); }

 private:
  static constexpr std::uint32_t NO_NODE = 0xffffffff;
  static constexpr std::uint32_t NO_STATE = 0xffffffff;

  /// A child that was kept. Only those that are expanded are made whole.
  struct Node {
    enum class Phase : std::uint8_t {
      DEFERRED,   // has the estimate of its parent
      POSTPONED,  // was evaluated when it came up, and is worse than that
      EVALUATED,
      CLOSED,
    };
    std::uint32_t parent;
    float estimate;
    float num_landmarks;
    float end;  // when the relaxed plan would be through
    GuidedMove move;
    Phase phase;
    std::uint32_t state = NO_STATE;
  };
  static_assert(sizeof(Node) <= 32, "there may be millions");

  void make_root();
  void resume();
  std::size_t memory() const;
  void keep_state(std::uint32_t node);
  void drop_state(std::uint32_t node);
  bool is_improving() const;
  /// Notes the child's state; false when it is known.
  bool note_state(std::uint32_t parent, GuidedMove move, double makespan);
  /// Makes the node's state whole. False when there is none, or it is known.
  bool enter(std::uint32_t node);
  bool build(const GuidedState& parent, GuidedMove& move, GuidedState& child);
  /// False for a node that is a dead end, or that goes back into the heaps.
  bool evaluate_deferred(std::uint32_t node);
  void expand(std::uint32_t node);
  /// Of the node that is expanded, until one of them is a plan; once more: those after it.
  void make_children(std::uint32_t node);
  void leave_out_equal_moves(const GuidedState& state);
  /// True when the search is over.
  bool make_child(std::uint32_t parent, GuidedMove move);
  void defer_child(std::uint32_t parent, GuidedMove move);
  void note_times(const GuidedState& state);
  void note_preferred(std::uint32_t node);
  bool is_preferred(std::uint32_t node, std::uint32_t step) const;
  double evaluate(const GuidedState& state, std::uint32_t node);
  void push(std::uint32_t node, bool is_preferred);
  bool note_goal(std::uint32_t parent, GuidedMove move);
  void note_expansion();

  HFF& heuristic_;
  const GuidedLandmarks& landmarks_;
  ObjectSymmetry& symmetry_;
  double steps_per_time_;
  GuidedOptions options_;
  GuidedSuccessors successors_;
  GuidedDuplicates duplicates_;
  GuidedQueues queues_;
  GuidedStatistics statistics_;
  double initial_estimate_ = 0;

  std::vector<Node> nodes_;
  std::vector<std::unique_ptr<GuidedState>> states_;
  std::size_t state_bytes_ = 0;
  GuidedState child_;
  std::vector<GuidedMove> moves_;
  std::vector<double> written_at_;  // by slot of the schedule
  /// By node: the steps of its relaxed plan that apply, in `preferred_steps_`; nothing where it was
  /// not evaluated.
  struct Range {
    std::uint32_t begin = NO_NODE;
    std::uint32_t end = NO_NODE;
  };
  std::vector<Range> preferred_of_;
  std::vector<std::uint32_t> preferred_steps_;
  std::vector<bool> is_preferred_;
  std::vector<std::pair<std::uint32_t, GuidedMove::Kind>> representatives_;  // scratch
  std::size_t next_move_ = 0;  // of the node that is expanded
  bool has_children_ = false;
  bool is_over_ = false;
  std::uint32_t interrupted_ = NO_NODE;  // the node whose expansion the latest plan has cut short

  std::vector<GuidedMove> plan_;
  double plan_makespan_ = 0;
  bool has_plan_ = false;
};

}  // namespace kelvo::ftp
