#pragma once

#include <set>

#include "model/node.h"

namespace kelvo::model {

/// An immutable, hash-consed expression, owned by the environment's `ExpressionFactory`: equal
/// expressions are one pointer.
using Expression = Node*;

/// The order of creation. Never compare expressions by address where the order can be seen.
struct ExpressionLess {
  bool operator()(const Node* a, const Node* b) const noexcept { return a->id() < b->id(); }
};

/// The one alias for ordered sets of expressions.
using ExpressionSet = std::set<Expression, ExpressionLess>;

}  // namespace kelvo::model
