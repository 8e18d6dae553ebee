#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <vector>

namespace kelvo {

/// What a search has still to expand: the entry that comes before all others is next. Nothing but
/// `ComesLater` breaks ties: first in, first out was measured to be by far the worst choice, and a
/// counter of insertions would take memory in each entry.
template <typename Entry, typename ComesLater>
class OpenList {
 public:
  bool empty() const { return heap_.empty(); }
  std::size_t size() const { return heap_.size(); }
  /// Bytes.
  std::size_t memory() const { return heap_.capacity() * sizeof(Entry); }

  void push(const Entry& entry) {
    heap_.push_back(entry);
    std::push_heap(heap_.begin(), heap_.end(), ComesLater());
  }

  Entry pop() {
    assert(!heap_.empty());
    std::pop_heap(heap_.begin(), heap_.end(), ComesLater());
    const Entry entry = heap_.back();
    heap_.pop_back();
    return entry;
  }

  /// Hands each entry to `release` and forgets it.
  template <typename Release>
  void clear(const Release& release) {
    for (const Entry& entry : heap_) release(entry);
    heap_.clear();
  }

 private:
  std::vector<Entry> heap_;
};

}  // namespace kelvo
