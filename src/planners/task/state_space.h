#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "planners/task/state.h"
#include "planners/task/value_table.h"
#include "shell/env_object.h"

namespace kelvo {

/// Where a slot's value stands in a state.
struct SlotPlace {
  bool is_boolean;
  /// The number of the bit, or the index among the value ids.
  std::uint32_t position;
};

/// The ground fluents of a search, numbered as slots, and the layout of their values: boolean
/// fluents that always have a value are bits, the others value ids. Slots that are added later come
/// last in both, so that a state of the smaller space is a prefix of one of the larger. A copy
/// shares the value ids.
class StateSpace : public EnvObject {
 public:
  using FluentIndex = std::unordered_map<model::Expression, std::size_t>;

  explicit StateSpace(Environment& env);

  /// Adds the slot of a fluent reference, or of a fluent applied to constants. With `has_value` it
  /// has a value in each state; else it may have none, and a boolean one is no bit.
  void add_slot(model::Expression fluent, bool has_value = true);

  std::size_t num_slots() const { return keys_.size(); }
  std::size_t num_booleans() const { return num_booleans_; }
  /// The number of 64-bit words that hold the bits.
  std::size_t num_words() const { return (num_booleans_ + 63) / 64; }
  std::size_t num_ids() const { return num_ids_; }

  model::Expression key(std::size_t slot) const { return keys_[slot]; }
  SlotPlace place(std::size_t slot) const { return places_[slot]; }
  const FluentIndex& fluent_index() const { return fluent_index_; }
  /// The type of the slot's fluent.
  const model::Type& type(std::size_t slot) const { return types_[slot]; }

  ValueTable& value_table() const { return *value_table_; }

  ValueId value(const StateValues& state, std::size_t slot) const {
    const SlotPlace at = places_[slot];
    if (!at.is_boolean) return state.ids[at.position];
    return static_cast<ValueId>((state.bits[at.position / 64] >> (at.position % 64)) & 1);
  }
  model::Expression expression(const StateValues& state, std::size_t slot) const {
    return value_table_->expression(value(state, slot));
  }
  void set(std::uint64_t* bits, ValueId* ids, std::size_t slot, ValueId value) const {
    const SlotPlace at = places_[slot];
    if (!at.is_boolean) {
      ids[at.position] = value;
      return;
    }
    const std::uint64_t bit = std::uint64_t{1} << (at.position % 64);
    std::uint64_t& word = bits[at.position / 64];
    word = value == ValueTable::TRUE ? word | bit : word & ~bit;
  }

  /// The values by slot as constants; null where there is none.
  std::vector<model::Expression> expressions(const StateValues& state) const;

 private:
  std::vector<model::Expression> keys_;
  std::vector<SlotPlace> places_;
  std::vector<model::Type> types_;
  FluentIndex fluent_index_;
  std::size_t num_booleans_ = 0;
  std::size_t num_ids_ = 0;
  std::shared_ptr<ValueTable> value_table_;
};

}  // namespace kelvo
