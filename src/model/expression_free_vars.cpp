#include "model/expression_free_vars.h"

#include <unordered_set>
#include <vector>

#include "model/expression_payloads.h"

namespace kelvo::model {

// One search from the root: a memo of the sets of all subexpressions would take quadratic space
// in a deep expression.
const ExpressionSet& ExpressionFreeVars::operator()(Expression root) const& {
  using Kind = ExpressionOperatorKind;
  const auto [place, is_new] = memoization_.try_emplace(root);
  ExpressionSet& variables = place->second;
  if (!is_new) return variables;
  std::unordered_set<Expression> seen;
  std::vector<Expression> todo{root};
  while (!todo.empty()) {
    const Expression e = todo.back();
    todo.pop_back();
    if (!seen.insert(e).second) continue;
    bool has_operands = true;
    switch (kind_of(e)) {
      case Kind::FLUENT_REF:
      case Kind::PARAMETER_REF:
      case Kind::UNRESOLVED_SYMBOL:
      case Kind::DOT:  // one variable as a whole
        variables.insert(e);
        has_operands = false;
        break;
      case Kind::SET_CONSTANT:
        has_operands = false;
        break;
      case Kind::FLUENT_FUN_APPLY:
        if (kind_of(payload_of<FluentFunApplyPayload>(e).reference()) == Kind::FLUENT_REF) {
          variables.insert(e);
        }
        break;
      default:
        break;
    }
    if (has_operands) todo.insert(todo.end(), e->children().begin(), e->children().end());
  }
  return variables;
}

}  // namespace kelvo::model
