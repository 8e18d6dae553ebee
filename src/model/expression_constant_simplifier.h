#pragma once

#include "model/expression_identity.h"

namespace kelvo::model {

/// Turns integral rational constants into integer constants, for targets that have integers only.
/// Any other rational constant is a `TypeCheckingError`.
class ExpressionConstantSimplifier : public ExpressionIdentity {
 public:
  using ExpressionIdentity::ExpressionIdentity;

 protected:
  Expression walk_rational_constant(Expression e) const override;
};

}  // namespace kelvo::model
