#include "model/window_extent.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "model/action.h"
#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/function_value.h"
#include "model/types.h"
#include "shell/environment.h"

namespace kelvo {

using model::Expression;
using ExpressionKind = model::ExpressionOperatorKind;

namespace {

bool is_start(Expression e) {
  return model::kind_of(e) == ExpressionKind::START;
}

bool is_end(Expression e) {
  return model::kind_of(e) == ExpressionKind::END;
}

bool is_positive_constant(const model::ExpressionFactory& ef, Expression reference) {
  if (!ef.is_constant_reference(reference)) return false;
  const model::FunctionValue table = ef.get_constant_from_reference(reference)->value();
  return table != nullptr && table->has_assignments() &&
         std::ranges::all_of(table->assignments(), [&](const auto& entry) {
           return ef.is_number(entry.second) && ef.get_number(entry.second) > 0;
         });
}

bool is_real(const model::ExpressionFactory& ef, Expression e) {
  if (ef.is_functional_apply(e)) e = ef.get_reference_from_functional_apply(e);
  if (!ef.is_constant_reference(e)) return ef.is_rational_constant(e);
  return ef.get_constant_from_reference(e)->type()->kind() == model::TypeCode::RATIONAL;
}

// Sums, products and quotients of positive numbers, among them entries of constants.
bool is_positive(const model::ExpressionFactory& ef, Expression bound) {
  std::vector<Expression> todo{bound};
  while (!todo.empty()) {
    const Expression e = todo.back();
    todo.pop_back();
    switch (model::kind_of(e)) {
      case ExpressionKind::PLUS:
      case ExpressionKind::TIMES:
        todo.insert(todo.end(), e->children().begin(), e->children().end());
        break;
      case ExpressionKind::DIV:
        // Of integers it may be cut off to zero.
        if (!is_real(ef, e->child(0)) && !is_real(ef, e->child(1))) return false;
        todo.insert(todo.end(), e->children().begin(), e->children().end());
        break;
      default:
        if (ef.is_number(e)) {
          if (ef.get_number(e) <= 0) return false;
        } else if (ef.is_functional_apply(e)) {
          if (!is_positive_constant(ef, ef.get_reference_from_functional_apply(e))) return false;
        } else if (!is_positive_constant(ef, e)) {
          return false;
        }
    }
  }
  return true;
}

// Whether a bound of the text keeps the duration above zero.
bool is_surely_positive(const model::ExpressionFactory& ef, const model::ActionImpl& action) {
  std::vector<Expression> todo(action.expressions().begin(), action.expressions().end());
  while (!todo.empty()) {
    const Expression e = todo.back();
    todo.pop_back();
    if (ef.is_and(e)) {
      todo.insert(todo.end(), e->children().begin(), e->children().end());
      continue;
    }
    const bool bounds = ef.is_ge(e) || ef.is_gt(e) || ef.is_equals(e) || ef.is_assign(e);
    if (bounds && ef.is_duration_anchor(e->child(0)) && is_positive(ef, e->child(1))) return true;
  }
  return false;
}

Extent extent_of_length(const rational& length, bool is_closed) {
  if (length > 0 || (is_closed && length == 0)) return Extent::NEVER_EMPTY;
  return Extent::ALWAYS_EMPTY;
}

}  // namespace

Extent extent_of(Environment& env, const TimedStatement& statement, const model::ActionImpl* action,
                 const rational* fixed_duration) {
  if (statement.is_point()) return Extent::NEVER_EMPTY;
  model::ExpressionFactory& ef = env.expression_factory();
  const bool is_closed = statement.left_closed && statement.right_closed;
  if (is_start(statement.left) && is_end(statement.right)) {
    if (is_closed || action == nullptr) return Extent::NEVER_EMPTY;
    if (fixed_duration != nullptr) return extent_of_length(*fixed_duration, is_closed);
    return is_surely_positive(ef, *action) ? Extent::NEVER_EMPTY : Extent::PERHAPS_EMPTY;
  }
  const std::optional<AnchoredTime> left = try_timing(ef, statement.left);
  const std::optional<AnchoredTime> right = try_timing(ef, statement.right);
  if (!left || !right) return Extent::PERHAPS_EMPTY;
  if (left->from_start == right->from_start) {
    const rational length = right->offset - left->offset;
    return extent_of_length(left->from_start ? length : rational(-length), is_closed);
  }
  if (fixed_duration == nullptr) return Extent::PERHAPS_EMPTY;
  const rational begin = left->from_start ? left->offset : rational(*fixed_duration - left->offset);
  const rational end =
      right->from_start ? right->offset : rational(*fixed_duration - right->offset);
  return extent_of_length(end - begin, is_closed);
}

}  // namespace kelvo
