#pragma once

#include <iosfwd>

#include "model/expression.h"
#include "shell/env_object.h"

namespace kelvo::model {

/// A set of expressions, in order of their creation: the body of an action or a problem.
class ExpressionScope : public virtual EnvObject {
 public:
  explicit ExpressionScope(Environment& env) : EnvObject(env) {}

  /// Constant time for an expression that is newer than those that are here, as most are.
  void add_expression(Expression e) { expressions_.insert(expressions_.end(), e); }
  const ExpressionSet& expressions() const { return expressions_; }

 protected:
  ExpressionSet expressions_;
};

/// Each expression with ";" and a newline.
std::ostream& operator<<(std::ostream& os, const ExpressionScope& scope);

}  // namespace kelvo::model
