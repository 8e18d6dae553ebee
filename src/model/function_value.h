#pragma once

#include <unordered_map>
#include <utility>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "shell/environment.h"
#include "shell/hashing.h"

namespace kelvo::model {

/// The value of a constant: a table from argument vectors to values. A key may be shorter than
/// the number of parameters and then covers every point that has it as a prefix; the empty key is
/// the default value.
class FunctionValueImpl {
 public:
  using Key = std::vector<Expression>;
  struct KeyHash {
    std::size_t operator()(const Key& key) const {
      std::size_t hash = 0;
      for (const Expression e : key) hash = mix_id(hash, e);
      return hash;
    }
  };
  using Assignments = std::unordered_map<Key, Expression, KeyHash>;

  /// A later assignment of the same key replaces the earlier one.
  void add_assignment(const Key& key, Expression value) { assignments_[key] = value; }
  bool has_assignments() const { return !assignments_.empty(); }
  bool has_assignments(const Key& key) const { return assignments_.contains(key); }
  const Assignments& assignments() const { return assignments_; }
  /// The entries by length of the key, then by the ids of its elements.
  std::vector<std::pair<Key, Expression>> sorted_assignments() const;

  /// The value at `key`: the exact entry, else that of the longest prefix while the elements of
  /// the key are numbers, booleans or instance references. Null when there is none.
  Expression assignment(const Key& key) const;
  /// The value of the empty key, or null.
  Expression default_value() const;
  void default_value(Expression value) { assignments_[{}] = value; }

 private:
  Assignments assignments_;
};

/// A new table with the substitution applied to keys and values.
FunctionValue substitute_function_value(Environment& env, const FunctionValue& fv,
                                        std::unordered_map<Expression, Expression>& substitutions);

}  // namespace kelvo::model
