#include "transformers/duration_constraint.h"

#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "shell/environment.h"

namespace kelvo {

using model::Expression;

namespace {

class ConstraintSimplifier : public model::ExpressionSimplifier {
 public:
  using ExpressionSimplifier::ExpressionSimplifier;

 protected:
  Expression walk_assign(Expression e) const override { return walk_equals(e); }
};

}  // namespace

bool admits_duration(Environment& env, Expression constraint, const rational& duration,
                     ExpressionSubstituter::Substitution values) {
  if (constraint == nullptr) return true;
  model::ExpressionFactory& ef = env.expression_factory();
  values[ef.make_duration_anchor()] = ef.make_rational_constant(duration);
  const Expression bound = ExpressionSubstituter(env, values)(constraint);
  return ef.is_true(ConstraintSimplifier(env)(bound));
}

}  // namespace kelvo
