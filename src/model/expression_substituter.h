#pragma once

#include <unordered_map>

#include "model/expression_identity.h"

namespace kelvo {

/// Rewrites an expression by a map from expressions to expressions. A replacement is not walked
/// again, so a key and its value may mention each other.
///
/// The map stays with the caller. An entry added after a walk does not reach what that walk has
/// memoized: call `clear_memoization()` or make a new substituter.
class ExpressionSubstituter : public model::ExpressionIdentity {
 public:
  using Substitution = std::unordered_map<model::Expression, model::Expression>;

  /// With `before_rebuild`, a node is looked up as it was written; else as it is with its children
  /// already replaced.
  ExpressionSubstituter(Environment& env, const Substitution& substitution,
                        bool before_rebuild = false)
      : ExpressionIdentity(env), substitution_(substitution), before_rebuild_(before_rebuild) {}

  void do_memoize_value(model::Expression e, model::Expression value) const override;

 private:
  const Substitution& substitution_;
  bool before_rebuild_;
};

}  // namespace kelvo
