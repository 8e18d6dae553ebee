#include "model/expression_substituter.h"

namespace kelvo {

void ExpressionSubstituter::do_memoize_value(model::Expression e, model::Expression value) const {
  const auto found = substitution_.find(before_rebuild_ ? e : value);
  ExpressionIdentity::do_memoize_value(e, found == substitution_.end() ? value : found->second);
}

}  // namespace kelvo
