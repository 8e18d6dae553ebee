#pragma once

#include <unordered_map>
#include <vector>

#include "model/expression_simplifier.h"
#include "model/parametric_object.h"

namespace kelvo {

/// The arguments as the entries of fluents and constants have them: an integral rational in the
/// place of an integer parameter becomes an integer.
std::vector<model::Expression> as_arguments(model::ExpressionFactory& ef,
                                            const model::Parameters& formals,
                                            std::vector<model::Expression> arguments);

/// Simplifies under a map from expressions to values: the bindings of one plan step (anchors and
/// parameters) or the state of a simulation (ground fluents). What simplifies to a key of the map
/// becomes its value. An assignment reads as an equality, so that `duration := 5` becomes a truth
/// value once the duration is known.
///
/// The map stays with the caller; when it changes, call `clear_memoization()`.
class DurSimplifier : public model::ExpressionSimplifier {
 public:
  using Values = std::unordered_map<model::Expression, model::Expression>;

  DurSimplifier(Environment& env, const Values& values)
      : ExpressionSimplifier(env), values_(values) {}

  void do_memoize_value(model::Expression e, model::Expression value) const override;

 protected:
  model::Expression walk_assign(model::Expression e) const override;
  model::Expression walk_functional_apply(model::Expression e) const override;

 private:
  const Values& values_;
};

}  // namespace kelvo
