#pragma once

#include <cassert>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "model/expression.h"
#include "shell/env_object.h"

namespace kelvo {

/// A value of a fluent in a search: the number of a constant or an instance reference.
using ValueId = std::uint32_t;

/// What arithmetic needs to know of a value.
enum class ValueKind : std::uint8_t {
  BOOLEAN,
  INTEGER,   // `num`
  RATIONAL,  // `num / den`, reduced, `den` positive; possibly 1
  BIG,       // a number that does not fit into machine words
  OTHER,     // an instance or a set: compared by identity only
};

struct Value {
  ValueKind kind = ValueKind::OTHER;
  ValueId id = 0;  // valid for BOOLEAN, BIG and OTHER; numbers are interned when they are stored
  std::int64_t num = 0;
  std::int64_t den = 1;
};

/// Numbers the values that a search meets, in the order in which they are first seen. Equal
/// constants of one kind are one id; the integer 5 and the rational 5 are two.
class ValueTable : public EnvObject {
 public:
  static constexpr ValueId FALSE = 0;
  static constexpr ValueId TRUE = 1;
  static constexpr ValueId NONE = 2;

  explicit ValueTable(Environment& env);

  ValueId id_of(model::Expression constant);
  ValueId id_of(const Value& value);
  /// Null for `NONE`.
  model::Expression expression(ValueId id) const {
    assert(id < expressions_.size());
    return expressions_[id];
  }
  const Value& value(ValueId id) const {
    assert(id < values_.size());
    return values_[id];
  }

 private:
  struct NumberKey {
    std::int64_t num;
    std::int64_t den;  // 0 for an integer constant
    friend bool operator==(const NumberKey&, const NumberKey&) = default;
  };
  struct NumberHash {
    std::size_t operator()(const NumberKey& key) const {
      return (static_cast<std::size_t>(key.num) * 0x9e3779b97f4a7c15ULL) ^
             (static_cast<std::size_t>(key.den) * 0xc2b2ae3d27d4eb4fULL);
    }
  };
  static constexpr std::int64_t MAX_SMALL = 1024;

  ValueId add(model::Expression constant);
  Value describe(model::Expression constant) const;

  std::vector<model::Expression> expressions_;
  std::vector<Value> values_;
  std::unordered_map<model::Expression, ValueId> ids_;
  std::unordered_map<NumberKey, ValueId, NumberHash> number_ids_;
  std::vector<ValueId> small_integer_ids_;  // of 0 .. MAX_SMALL - 1, NONE while unknown
};

}  // namespace kelvo
