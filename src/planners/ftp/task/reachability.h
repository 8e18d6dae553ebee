#pragma once

#include <cstdint>
#include <vector>

#include "planners/ftp/task/step_task.h"

namespace kelvo::ftp {

/// Which actions can be carried through, and which slots may change, when nothing that was ever
/// true gets lost. Conditions that are no conjunctions of literals count as possible.
class GuidedReachability {
 public:
  explicit GuidedReachability(const GuidedTask& task);

  bool is_reached(std::uint32_t list) const {
    return num_reached_[list] == task_.list(list).num_steps;
  }
  bool may_change(std::uint32_t slot) const;

 private:
  bool reach_next_step(std::uint32_t list);
  bool is_possible(const Condition& condition, const GuidedStep* behind) const;
  void apply(const GuidedStep& step);
  void make_any(std::uint32_t slot);

  const GuidedTask& task_;
  const StateSpace& space_;
  /// By boolean slot: may be true, may be false.
  std::vector<std::uint64_t> may_be_true_;
  std::vector<std::uint64_t> may_be_false_;
  std::vector<bool> is_written_;
  std::vector<std::uint32_t> num_reached_;
  bool has_grown_ = false;
};

}  // namespace kelvo::ftp
