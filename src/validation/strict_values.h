#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/model_fwd.h"
#include "shell/env_object.h"
#include "shell/numbers.h"

namespace kelvo::strict {

/// A value of the strict judge: a number in the judge's table of values. Equal values of one kind
/// are one number; an integer and the equal rational are two.
using Value = std::uint32_t;

inline constexpr Value kNoValue = 0;
inline constexpr Value kFalse = 1;
inline constexpr Value kTrue = 2;

inline Value truth(bool value) {
  return value ? kTrue : kFalse;
}

enum class ValueKind : std::uint8_t { NONE, BOOLEAN, INSTANCE, INTEGER, RATIONAL, SET };

/// All values that have come up, with their arithmetic.
class Values {
 public:
  Values();

  Value instance(const model::Instance& instance);
  /// Of the instances that have come up, the one with this name; no value if there is none.
  Value named_instance(const std::string& name) const;
  Value number(const rational& value, ValueKind kind);
  Value integer(const rational& value) { return number(value, ValueKind::INTEGER); }
  Value rational_number(const rational& value) { return number(value, ValueKind::RATIONAL); }
  /// The set of these elements, in any order and with repetitions.
  Value set(std::vector<Value> elements);

  ValueKind kind(Value v) const { return entries_[v].kind; }
  bool is_number(Value v) const {
    return kind(v) == ValueKind::INTEGER || kind(v) == ValueKind::RATIONAL;
  }
  /// Of an integer or a rational.
  const rational& number_of(Value v) const { return numbers_[entries_[v].place]; }
  const model::Instance& instance_of(Value v) const { return instances_[entries_[v].place]; }
  /// Ascending.
  const std::vector<Value>& elements_of(Value v) const { return sets_[entries_[v].place]; }

  /// The order of two numbers.
  bool less(Value a, Value b) const;
  /// Equality of values: numbers by their amount, whatever their kinds.
  bool equal(Value a, Value b) const;
  /// The element of a set that stands for `v`: numbers of one amount are one element.
  Value as_element(Value v);

  Value sum(Value a, Value b);
  Value difference(Value a, Value b);
  Value product(Value a, Value b);
  /// Cut off towards zero for two integers, else exact. No value for a division by zero.
  Value quotient(Value a, Value b);

  std::string text(Value v) const;

 private:
  struct Entry {
    ValueKind kind;
    std::uint32_t place;
  };
  struct NumberHash {
    std::size_t operator()(const std::pair<rational, ValueKind>& number) const;
  };
  /// Equal fractions have equal parts; the comparison of the number library divides.
  struct NumberEqual {
    bool operator()(const std::pair<rational, ValueKind>& a,
                    const std::pair<rational, ValueKind>& b) const {
      return a.second == b.second && a.first.backend().data() == b.first.backend().data();
    }
  };
  struct SetHash {
    std::size_t operator()(const std::vector<Value>& elements) const;
  };

  Value add(ValueKind kind, std::size_t place);
  /// An integer if both are, else a rational.
  ValueKind common_kind(Value a, Value b) const;

  std::vector<Entry> entries_;
  std::vector<rational> numbers_;
  std::vector<double> approximations_;  // of the numbers
  std::vector<model::Instance> instances_;
  std::vector<std::vector<Value>> sets_;
  std::unordered_map<std::pair<rational, ValueKind>, Value, NumberHash, NumberEqual> number_ids_;
  std::unordered_map<const model::InstanceImpl*, Value> instance_ids_;
  std::unordered_map<std::string, Value> instance_names_;
  std::unordered_map<std::vector<Value>, Value, SetHash> set_ids_;
};

/// What the values of a declared type are.
class ValueType {
 public:
  ValueType(Environment& env, const model::Type& type);

  /// The value as a fluent or parameter of the type holds it: an integer in a float is a rational.
  /// No value, with `complaint` filled, for one that the type does not have.
  Value fit(Values& values, Value v, std::string& complaint) const;

 private:
  bool is_within_bounds(const rational& number) const;
  bool has_instance(const model::Instance& instance) const;

  Environment& environment_;
  model::Type type_;
  std::optional<rational> lower_;
  std::optional<rational> upper_;
};

}  // namespace kelvo::strict
