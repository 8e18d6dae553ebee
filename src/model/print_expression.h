#pragma once

#include <iosfwd>

#include "model/expression.h"

namespace kelvo::model {

/// `os << print_expression(e)` writes the text form of `e`, as messages, logs and the printed
/// problems have it. For people: there is no promise that it can be read back. Needs no
/// environment; runs on an explicit stack, in the size of the text.
struct print_expression {
  explicit print_expression(Expression expression) : e(expression) {}
  Expression e;
};

std::ostream& operator<<(std::ostream& os, const print_expression& p);

}  // namespace kelvo::model
