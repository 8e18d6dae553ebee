#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "planners/search/open_list.h"

namespace kelvo::ftp {

/// The open lists of a guided search: for each estimate a heap of all nodes and one of those that a
/// preferred operator made. The heap with the least priority number is next; it grows with each
/// turn, and progress boosts the preferred ones.
class GuidedQueues {
 public:
  static constexpr std::uint32_t NOTHING = 0xffffffff;

  /// Progress gives each preferred heap `boost` turns.
  GuidedQueues(bool preferred_operators, bool landmarks, long boost);

  /// Of equal numbers of landmarks the least estimate comes first, then the least `tie`.
  void push(std::uint32_t node, double estimate, double num_landmarks, double tie,
            bool is_preferred);
  /// `NOTHING` when all are empty. A node comes as often as it was entered.
  std::uint32_t pop();
  /// Boosts the preferred heaps when one of the two is better than ever.
  void note_progress(double estimate, double num_landmarks);

  double best_estimate() const { return best_estimate_; }
  std::size_t size() const;
  std::size_t memory() const;

 private:
  struct Entry {
    float estimate;
    float second;
    float tie;
    std::uint32_t node;
  };
  struct ComesLater {
    bool operator()(const Entry& a, const Entry& b) const {
      if (a.estimate != b.estimate) return a.estimate > b.estimate;
      return a.second != b.second ? a.second > b.second : a.tie > b.tie;
    }
  };
  struct Heap {
    OpenList<Entry, ComesLater> entries;
    long priority = 0;
  };

  bool preferred_operators_;
  bool landmarks_;
  long boost_;
  /// By estimate: all, preferred.
  std::array<std::array<Heap, 2>, 2> heaps_;
  double best_estimate_ = std::numeric_limits<double>::infinity();
  double least_landmarks_ = std::numeric_limits<double>::infinity();
};

}  // namespace kelvo::ftp
