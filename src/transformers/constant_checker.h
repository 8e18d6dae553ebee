#pragma once

#include "model/expression_identity.h"

namespace kelvo {

/// Looks for constants that have no value. It runs after the simplifier, which replaces all that
/// have one. Throws `UndefinedConstantError` on the first it meets.
class ConstantChecker : public model::ExpressionIdentity {
 public:
  using ExpressionIdentity::ExpressionIdentity;

 protected:
  model::Expression walk_functional_apply(model::Expression e) const override;
  model::Expression walk_constant_reference(model::Expression e) const override;
};

}  // namespace kelvo
