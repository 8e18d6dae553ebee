#include "planners/ftp/steps/elimination.h"

#include <utility>

namespace kelvo::ftp {

namespace {

struct Execution {
  std::vector<GuidedMove> moves;
  double makespan = 0;
};

/// Executes plans from the initial state.
class Executor {
 public:
  explicit Executor(GuidedSuccessors& successors)
      : successors_(successors), is_running_(successors.task().lists().size()) {
    successors_.make_initial_state(initial_);
  }

  /// Nothing when the goal is not reached. Leaves out the action that `moves[left_out]` opens, and
  /// those behind it that no longer apply.
  std::optional<Execution> run(const std::vector<GuidedMove>& moves, std::size_t left_out) {
    const GuidedSchedule::Mark mark = successors_.schedule().mark();
    Execution result;
    state_ = initial_;
    is_running_.assign(is_running_.size(), false);
    bool is_possible = true;
    for (std::size_t i = 0; i < moves.size() && is_possible; ++i) {
      if (i != left_out) is_possible = apply(moves[i], result);
    }
    is_possible = is_possible && successors_.end_plan(state_);
    result.makespan = successors_.schedule().makespan(state_);
    successors_.schedule().cut_back(mark);
    if (!is_possible) return std::nullopt;
    return result;
  }

 private:
  /// False when something that has begun can't go on.
  bool apply(GuidedMove move, Execution& result) {
    const bool is_step = move.kind == GuidedMove::Kind::STEP;
    const bool is_problem = move.list == GuidedTask::PROBLEM;
    if (is_step && !is_problem && !is_running_[move.list]) return true;  // was left out
    const GuidedSchedule::Mark mark = successors_.schedule().mark();
    child_ = state_;
    if (!successors_.apply(child_, move)) {
      successors_.schedule().cut_back(mark);
      return !is_step;
    }
    std::swap(state_, child_);
    if (!is_problem) is_running_[move.list] = !state_.open.empty() && is_open(move.list);
    result.moves.push_back(move);
    return true;
  }

  bool is_open(std::uint32_t list) const {
    for (const OpenAction& open : state_.open) {
      if (open.list == list) return true;
    }
    return false;
  }

  GuidedSuccessors& successors_;
  std::vector<bool> is_running_;
  GuidedState initial_;
  GuidedState state_;
  GuidedState child_;
};

}  // namespace

std::optional<double> eliminate_actions(GuidedSuccessors& successors,
                                        std::vector<GuidedMove>& moves) {
  Executor executor(successors);
  const std::optional<Execution> whole = executor.run(moves, moves.size());
  if (!whole) return std::nullopt;
  double makespan = whole->makespan;
  for (std::size_t i = 0; i < moves.size();) {
    const bool opens = moves[i].kind != GuidedMove::Kind::STEP;
    const std::optional<Execution> shorter = opens ? executor.run(moves, i) : std::nullopt;
    if (shorter && shorter->makespan <= makespan) {
      moves = shorter->moves;
      makespan = shorter->makespan;
    } else {
      ++i;
    }
  }
  return makespan;
}

}  // namespace kelvo::ftp
