#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <utility>
#include <vector>

#include "model/expression.h"

namespace kelvo::model {

/// Values of expressions. A value stays where it is until `clear`, whatever is added.
///
/// Walks look at a memo several times for each node: places are found by open addressing on ids,
/// and the values stand in few large blocks, so that a value costs no allocation of its own. An
/// empty memo owns no memory. Nodes that were made one after the other are mostly walked together:
/// four neighbours share a cache line.
template <typename T>
class ExpressionMemo {
 public:
  ExpressionMemo() = default;
  ExpressionMemo(const ExpressionMemo&) = delete;
  ExpressionMemo& operator=(const ExpressionMemo&) = delete;

  /// Null when `e` has no value.
  const T* find(Expression e) const {
    if (num_values_ == 0) return nullptr;
    return slots_[place_of(e)].value;
  }
  bool contains(Expression e) const { return find(e) != nullptr; }

  /// A value that is there stays.
  void insert(Expression e, T value) {
    if (3 * (num_values_ + 1) > 2 * slots_.size()) grow();
    Slot& slot = slots_[place_of(e)];
    if (slot.value != nullptr) return;
    slot = {e, store(std::move(value))};
    ++num_values_;
  }

  void clear() {
    std::fill(slots_.begin(), slots_.end(), Slot());
    blocks_.clear();
    num_values_ = 0;
  }

 private:
  struct Slot {
    Expression key = nullptr;
    const T* value = nullptr;  // null: free
  };
  struct Entry {  // not a bare `T`, for a vector of `bool` has no addresses
    T value;
  };

  static constexpr std::size_t kMaxEntriesInBlock = 1024;
  static constexpr std::size_t kNeighbours = 4;

  /// The slot of `e`, or the free one where it belongs.
  std::size_t place_of(Expression e) const {
    const std::size_t mask = slots_.size() - 1;
    const std::size_t group = ((e->id() / kNeighbours) * 0x9e3779b97f4a7c15) >> shift_;
    std::size_t place = group * kNeighbours + e->id() % kNeighbours;
    while (slots_[place].value != nullptr && slots_[place].key != e) place = (place + 1) & mask;
    return place;
  }

  // A block never grows beyond its first capacity, so that its values do not move.
  const T* store(T value) {
    if (blocks_.empty() || blocks_.back().size() == blocks_.back().capacity()) {
      const std::size_t size = std::clamp<std::size_t>(num_values_, 8, kMaxEntriesInBlock);
      blocks_.emplace_back().reserve(size);
    }
    blocks_.back().push_back(Entry{std::move(value)});
    return &blocks_.back().back().value;
  }

  void grow() {
    std::vector<Slot> old(std::max<std::size_t>(16, 2 * slots_.size()));
    old.swap(slots_);
    shift_ = 64 - std::countr_zero(slots_.size() / kNeighbours);
    for (const Slot& slot : old) {
      if (slot.value != nullptr) slots_[place_of(slot.key)] = slot;
    }
  }

  std::vector<Slot> slots_;  // a power of two, at most two thirds full
  int shift_ = 64;           // the top bits of a mixed id are the place of its group
  std::vector<std::vector<Entry>> blocks_;
  std::size_t num_values_ = 0;
};

}  // namespace kelvo::model
