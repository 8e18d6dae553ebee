#pragma once

#include <cstddef>

#include "solver/dpll/literal.h"

namespace ordax {

/// A binary max-heap of variables on their activity; of equal ones the smaller number wins.
class OrderHeap {
 public:
  explicit OrderHeap(const Vector<double>& activity) : activity_(activity) {}

  std::size_t size() const { return heap_.size(); }
  bool empty() const { return heap_.empty(); }
  Var operator[](std::size_t i) const { return heap_[i]; }
  bool contains(Var v) const {
    return static_cast<std::size_t>(v) < position_.size() && position_[index(v)] >= 0;
  }

  void insert(Var v) {
    if (index(v) >= position_.size()) position_.resize(index(v) + 1, -1);
    if (position_[index(v)] >= 0) return;
    position_[index(v)] = static_cast<std::int32_t>(heap_.size());
    heap_.push_back(v);
    move_up(heap_.size() - 1);
  }

  /// Restores the order after the activity of a contained variable was raised.
  void raised(Var v) {
    if (contains(v)) move_up(static_cast<std::size_t>(position_[index(v)]));
  }

  Var pop() {
    const Var top = heap_[0];
    position_[index(top)] = -1;
    const Var last = heap_.back();
    heap_.pop_back();
    if (!heap_.empty()) {
      heap_[0] = last;
      position_[index(last)] = 0;
      move_down(0);
    }
    return top;
  }

  /// Keeps the variables that `keep` accepts.
  template <typename Keep>
  void filter(Keep&& keep) {
    std::size_t kept = 0;
    for (const Var v : heap_) {
      if (keep(v)) {
        heap_[kept++] = v;
      } else {
        position_[index(v)] = -1;
      }
    }
    heap_.shrink(kept);
    for (std::size_t i = 0; i < kept; ++i)
      position_[index(heap_[i])] = static_cast<std::int32_t>(i);
    for (std::size_t i = kept / 2; i-- > 0;) move_down(i);
  }

 private:
  static std::size_t index(Var v) { return static_cast<std::size_t>(v); }

  bool before(Var a, Var b) const {
    const double x = activity_[index(a)];
    const double y = activity_[index(b)];
    return x > y || (x == y && a < b);
  }

  void move_up(std::size_t i) {
    const Var v = heap_[i];
    while (i > 0) {
      const std::size_t parent = (i - 1) / 2;
      if (!before(v, heap_[parent])) break;
      heap_[i] = heap_[parent];
      position_[index(heap_[i])] = static_cast<std::int32_t>(i);
      i = parent;
    }
    heap_[i] = v;
    position_[index(v)] = static_cast<std::int32_t>(i);
  }

  void move_down(std::size_t i) {
    const Var v = heap_[i];
    const std::size_t size = heap_.size();
    for (std::size_t child = 2 * i + 1; child < size; child = 2 * i + 1) {
      if (child + 1 < size && before(heap_[child + 1], heap_[child])) ++child;
      if (!before(heap_[child], v)) break;
      heap_[i] = heap_[child];
      position_[index(heap_[i])] = static_cast<std::int32_t>(i);
      i = child;
    }
    heap_[i] = v;
    position_[index(v)] = static_cast<std::int32_t>(i);
  }

  const Vector<double>& activity_;
  Vector<Var> heap_;
  Vector<std::int32_t> position_;  // by variable; -1 outside
};

}  // namespace ordax
