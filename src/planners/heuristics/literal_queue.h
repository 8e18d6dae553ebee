#pragma once

#include <cstddef>
#include <cstdint>
#include <queue>
#include <utility>
#include <vector>

namespace kelvo {

/// A queue of numbers by cost, the least first, for costs that are whole numbers and mostly small.
/// What is pushed must not cost less than what was popped.
class LiteralQueue {
 public:
  /// Which of equal cost comes first.
  enum class Ties { LATEST, FIRST };

  LiteralQueue() : buckets_(NUM_BUCKETS) {}

  /// For an empty queue. Of large costs (4096 and more) the greatest number comes first always.
  void set_ties(Ties ties) { ties_ = ties; }

  void clear() {
    while (size_ > 0) pop();
    if (current_ < NUM_BUCKETS) buckets_[current_].clear();
    current_ = 0;
    num_taken_ = 0;
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
    while (current_ < NUM_BUCKETS && num_taken_ == buckets_[current_].size()) {
      buckets_[current_++].clear();
      num_taken_ = 0;
    }
    if (current_ < NUM_BUCKETS) {
      std::vector<std::uint32_t>& bucket = buckets_[current_];
      if (ties_ == Ties::FIRST) return {static_cast<double>(current_), bucket[num_taken_++]};
      const std::uint32_t literal = bucket.back();
      bucket.pop_back();
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
  Ties ties_ = Ties::LATEST;
  std::size_t current_ = 0;
  std::size_t num_taken_ = 0;  // from the front of the current bucket
  std::size_t size_ = 0;
};

}  // namespace kelvo
