#include "model/expression_scope.h"

#include <ostream>

#include "model/print_expression.h"

namespace kelvo::model {

std::ostream& operator<<(std::ostream& os, const ExpressionScope& scope) {
  for (const Expression e : scope.expressions()) os << print_expression(e) << ";\n";
  return os;
}

}  // namespace kelvo::model
