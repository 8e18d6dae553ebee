#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "validation/strict_values.h"

namespace kelvo::strict {

/// A ground fluent: its number in `GroundFluents`.
using Slot = std::uint32_t;

/// The ground fluents that have come up, numbered from 0.
class GroundFluents {
 public:
  GroundFluents() : table_(64, kFree) {}

  /// Makes room for so many.
  void reserve(std::size_t size);
  Slot slot(std::size_t fluent, std::span<const Value> arguments);
  std::size_t size() const { return keys_.size(); }
  std::size_t fluent_of(Slot slot) const { return keys_[slot].fluent; }
  std::span<const Value> arguments_of(Slot slot) const {
    return {arguments_.data() + keys_[slot].begin, keys_[slot].size};
  }

 private:
  static constexpr Slot kFree = static_cast<Slot>(-1);
  struct Key {
    std::uint32_t fluent;
    std::uint32_t begin;
    std::uint32_t size;
    std::uint32_t hash;
  };

  void rehash(std::size_t table_size);

  std::vector<Key> keys_;
  std::vector<Value> arguments_;
  std::vector<Slot> table_;  // open addressing, a power of two, at most half full
};

/// What wrote a value: a statement of the problem or of a step, by their numbers in the judge; an
/// initial value by the number of its source.
struct Writer {
  static constexpr std::uint32_t kProblem = static_cast<std::uint32_t>(-1);
  std::uint32_t step = kProblem;
  std::uint32_t statement = 0;
  /// The number of the time, or `kInitial`.
  static constexpr std::uint32_t kInitial = static_cast<std::uint32_t>(-1);
  std::uint32_t time = kInitial;
};

/// The values of all ground fluents at one time, and what wrote them last.
class State {
 public:
  Value value(Slot slot) const { return slot < cells_.size() ? cells_[slot].value : kNoValue; }
  void reserve(std::size_t size) { cells_.reserve(size); }
  const Writer& writer(Slot slot) const { return cells_[slot].writer; }
  void write(Slot slot, Value value, Writer writer) {
    if (slot == cells_.size()) {
      cells_.push_back({value, writer});
      return;
    }
    if (slot > cells_.size()) cells_.resize(slot + 1);
    cells_[slot] = {value, writer};
  }

 private:
  struct Cell {
    Value value = kNoValue;
    Writer writer;
  };
  std::vector<Cell> cells_;
};

}  // namespace kelvo::strict
