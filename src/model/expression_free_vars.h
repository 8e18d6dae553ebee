#pragma once

#include <unordered_map>
#include <utility>

#include "model/expression.h"
#include "shell/env_object.h"

namespace kelvo::model {

/// The leaves of an expression that a state or a binding decides: fluents and their applications,
/// parameters, scoped accesses (as a whole) and unresolved symbols. Linear in the expression, but
/// for the set itself; a set is kept for each expression that was asked for.
class ExpressionFreeVars : public EnvObject {
 public:
  explicit ExpressionFreeVars(Environment& env) : EnvObject(env) {}

  /// The reference stays valid until `clear_memoization()`; a temporary object returns the set.
  const ExpressionSet& operator()(Expression e) const&;
  ExpressionSet operator()(Expression e) const&& { return std::as_const(*this)(e); }
  void clear_memoization() const { memoization_.clear(); }

 private:
  mutable std::unordered_map<Expression, ExpressionSet> memoization_;
};

}  // namespace kelvo::model
