#pragma once

#include "model/expression.h"
#include "shell/env_object.h"

namespace kelvo::model {

/// Negation normal form: negations stand on literals only, implications and equivalences (of
/// booleans; `==` on a boolean fluent, application or constant is one) are opened up. The result is
/// linear in the distinct nodes of the input; child order and arity are kept.
class ToNNF : public EnvObject {
 public:
  explicit ToNNF(Environment& env) : EnvObject(env) {}

  Expression operator()(Expression e) const;
};

}  // namespace kelvo::model
