#pragma once

#include "model/expression_default_walker.h"

namespace kelvo::model {

/// Tells whether an expression holds a node of one kind. The arguments of an application are not
/// searched.
class CheckContainsWalker : public ExpressionDefaultWalker<bool> {
 public:
  CheckContainsWalker(Environment& env, ExpressionOperatorKind kind)
      : ExpressionDefaultWalker(env), kind_(kind) {}

 protected:
  bool walk_functional_apply(Expression e) const override { return kind_of(e) == kind_; }
  bool walk_default(Expression e) const override;

 private:
  ExpressionOperatorKind kind_;
};

}  // namespace kelvo::model
