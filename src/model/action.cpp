#include "model/action.h"

#include <ostream>

#include "model/expression_payloads.h"

namespace kelvo::model {

namespace {

using Kind = ExpressionOperatorKind;

// Whether `e` is a temporal expression with a bound that is not simply an anchor of the action.
bool is_intermediate(Expression e) {
  if (kind_of(e) != Kind::TEMPORAL_EXPR) return false;
  for (const Expression bound : e->child(0)->children()) {
    if (kind_of(bound) != Kind::START && kind_of(bound) != Kind::END) return true;
  }
  return false;
}

}  // namespace

bool ActionImpl::is_temporally_uncertain(bool really_uncertain) const {
  for (const Expression e : expressions()) {
    const Expression statement = kind_of(e) == Kind::TEMPORAL_EXPR ? e->child(1) : e;
    if (kind_of(statement) != Kind::IN_ASSIGN) continue;
    if (!really_uncertain) return true;
    const Expression interval = statement->child(1);
    return interval->arity() == 2 && interval->child(0) != interval->child(1);
  }
  return false;
}

bool ActionImpl::has_intermediate_effects() const {
  for (const Expression e : expressions()) {
    if (is_intermediate(e)) return true;
  }
  return false;
}

ExpressionSet ActionImpl::intermediate_expressions() const {
  ExpressionSet result;
  for (const Expression e : expressions()) {
    if (is_intermediate(e)) result.insert(e);
  }
  return result;
}

std::ostream& operator<<(std::ostream& os, const ActionImpl& action) {
  os << "action " << action.name() << '(';
  print_parameters(os, action.parameters());
  return os << ") {\n" << static_cast<const ExpressionScope&>(action) << "};";
}

}  // namespace kelvo::model
