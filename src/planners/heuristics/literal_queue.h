#pragma once

#include <cstddef>
#include <cstdint>
#include <queue>
#include <utility>
#include <vector>

namespace kelvo {

/// A queue of numbers by cost, the least first, for costs that are whole numbers and mostly small.
/// Within one cost the latest comes first. What is pushed must not cost less than what was popped.
class LiteralQueue {
 public:
  LiteralQueue() : buckets_(NUM_BUCKETS) {}

  void clear() {
    while (size_ > 0) pop();
    current_ = 0;
  }

  void push(double cost, std::uint32_t literal) {
    ++size_;
    if (cost < static_cast<double>(NUM_BUCKETS)) {
      buckets_[static_cast<std::size_t>(cost)].push_back(literal);
    } else {
      large_.emplace(-cost, literal);
    }
  }

  bool empty() const { return size_ == 0; }

  std::pair<double, std::uint32_t> pop() {
    --size_;
    while (current_ < NUM_BUCKETS && buckets_[current_].empty()) ++current_;
    if (current_ < NUM_BUCKETS) {
      const std::uint32_t literal = buckets_[current_].back();
      buckets_[current_].pop_back();
      return {static_cast<double>(current_), literal};
    }
    const auto [cost, literal] = large_.top();
    large_.pop();
    return {-cost, literal};
  }

 private:
  static constexpr std::size_t NUM_BUCKETS = 4096;

  std::vector<std::vector<std::uint32_t>> buckets_;
  std::priority_queue<std::pair<double, std::uint32_t>> large_;
  std::size_t current_ = 0;
  std::size_t size_ = 0;
};

}  // namespace kelvo
