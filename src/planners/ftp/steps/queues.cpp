#include "planners/ftp/steps/queues.h"

#include <algorithm>

namespace kelvo::ftp {

GuidedQueues::GuidedQueues(bool preferred_operators, bool landmarks, long boost)
    : preferred_operators_(preferred_operators), landmarks_(landmarks), boost_(boost) {}

void GuidedQueues::push(std::uint32_t node, double estimate, double num_landmarks, double tie,
                        bool is_preferred) {
  const auto push_both = [&](std::array<Heap, 2>& heaps, double value, double second) {
    const Entry entry{static_cast<float>(value), static_cast<float>(second),
                      static_cast<float>(tie), node};
    heaps[0].entries.push(entry);
    if (preferred_operators_ && is_preferred) heaps[1].entries.push(entry);
  };
  push_both(heaps_[0], estimate, 0);
  if (landmarks_) push_both(heaps_[1], num_landmarks, estimate);
}

std::uint32_t GuidedQueues::pop() {
  Heap* best = nullptr;
  for (std::array<Heap, 2>& heaps : heaps_) {
    for (Heap& heap : heaps) {
      if (heap.entries.empty()) continue;
      if (best == nullptr || heap.priority < best->priority) best = &heap;
    }
  }
  if (best == nullptr) return NOTHING;
  ++best->priority;
  return best->entries.pop().node;
}

void GuidedQueues::note_progress(double estimate, double num_landmarks) {
  const bool is_better =
      estimate < best_estimate_ || (landmarks_ && num_landmarks < least_landmarks_);
  best_estimate_ = std::min(best_estimate_, estimate);
  least_landmarks_ = std::min(least_landmarks_, num_landmarks);
  if (!is_better) return;
  for (std::array<Heap, 2>& heaps : heaps_) heaps[1].priority -= boost_;
}

std::size_t GuidedQueues::size() const {
  return heaps_[0][0].entries.size();
}

std::size_t GuidedQueues::memory() const {
  std::size_t result = 0;
  for (const std::array<Heap, 2>& heaps : heaps_) {
    for (const Heap& heap : heaps) result += heap.entries.memory();
  }
  return result;
}

}  // namespace kelvo::ftp
