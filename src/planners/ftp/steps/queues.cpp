#include "planners/ftp/steps/queues.h"

#include <algorithm>

namespace kelvo::ftp {

GuidedQueues::GuidedQueues(bool preferred_operators, bool landmarks, long boost)
    : preferred_operators_(preferred_operators), landmarks_(landmarks), boost_(boost) {}

bool GuidedQueues::comes_later(const Entry& a, const Entry& b) {
  if (a.estimate != b.estimate) return a.estimate > b.estimate;
  return a.second != b.second ? a.second > b.second : a.tie > b.tie;
}

void GuidedQueues::push(Heap& heap, const Entry& entry) {
  heap.entries.push_back(entry);
  std::push_heap(heap.entries.begin(), heap.entries.end(), comes_later);
}

void GuidedQueues::push(std::uint32_t node, double estimate, double num_landmarks, double tie,
                        bool is_preferred) {
  const auto push_both = [&](std::array<Heap, 2>& heaps, double value, double second) {
    const Entry entry{static_cast<float>(value), static_cast<float>(second),
                      static_cast<float>(tie), node};
    push(heaps[0], entry);
    if (preferred_operators_ && is_preferred) push(heaps[1], entry);
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
  std::pop_heap(best->entries.begin(), best->entries.end(), comes_later);
  const std::uint32_t node = best->entries.back().node;
  best->entries.pop_back();
  return node;
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
    for (const Heap& heap : heaps) result += heap.entries.capacity() * sizeof(Entry);
  }
  return result;
}

}  // namespace kelvo::ftp
