#include "transformers/duration_bounds.h"

#include <vector>

#include "model/action.h"
#include "model/check_contains_walker.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/print_expression.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/long_numbers.h"

namespace kelvo {

using model::Expression;
using model::ExpressionOperatorKind;
using model::print_expression;

namespace {

void raise_lower(DurationBounds& bounds, const rational& value, bool open) {
  if (open ? !is_less(value, bounds.lower) : is_less(bounds.lower, value)) {
    bounds.lower = value;
    bounds.lower_open = open;
  }
}

void drop_upper(DurationBounds& bounds, const rational& value, bool open) {
  if (!bounds.upper || (open ? !is_less(*bounds.upper, value) : is_less(value, *bounds.upper))) {
    bounds.upper = value;
    bounds.upper_open = open;
  }
}

}  // namespace

bool is_duration_comparison(Expression e) {
  switch (model::kind_of(e)) {
    case ExpressionOperatorKind::LE:
    case ExpressionOperatorKind::LT:
    case ExpressionOperatorKind::GE:
    case ExpressionOperatorKind::GT:
    case ExpressionOperatorKind::EQUALS:
    case ExpressionOperatorKind::ASSIGN:
      return model::kind_of(e->child(0)) == ExpressionOperatorKind::DURATION;
    default:
      return false;
  }
}

std::vector<Expression> duration_conjuncts(Expression constraint) {
  std::vector<Expression> conjuncts;
  std::vector<Expression> todo{constraint};
  while (!todo.empty()) {
    const Expression e = todo.back();
    todo.pop_back();
    if (model::kind_of(e) == ExpressionOperatorKind::AND) {
      todo.insert(todo.end(), e->children().rbegin(), e->children().rend());
    } else {
      conjuncts.push_back(e);
    }
  }
  return conjuncts;
}

void DurationBounds::fold(Environment& env, Expression constraint) {
  const model::ExpressionFactory& ef = env.expression_factory();
  const model::ExpressionSimplifier simplify(env);
  for (const Expression conjunct : duration_conjuncts(constraint)) {
    if (!is_duration_comparison(conjunct)) throw InternalError() << print_expression(conjunct);
    const Expression bound = simplify(conjunct->child(1));
    if (!ef.is_number(bound)) continue;
    const rational value = ef.get_number(bound);
    switch (model::kind_of(conjunct)) {
      case ExpressionOperatorKind::LE:
        drop_upper(*this, value, /*open=*/false);
        break;
      case ExpressionOperatorKind::LT:
        drop_upper(*this, value, /*open=*/true);
        break;
      case ExpressionOperatorKind::GE:
        raise_lower(*this, value, /*open=*/false);
        break;
      case ExpressionOperatorKind::GT:
        raise_lower(*this, value, /*open=*/true);
        break;
      default:
        raise_lower(*this, value, /*open=*/false);
        drop_upper(*this, value, /*open=*/false);
    }
  }
}

bool DurationBounds::is_empty() const {
  if (!upper) return false;
  if (is_less(*upper, lower)) return true;
  return lower_open != upper_open && !is_less(lower, *upper);
}

Expression DurationBounds::to_expression(Environment& env) const {
  model::ExpressionFactory& ef = env.expression_factory();
  const Expression duration = ef.make_duration_anchor();
  const Expression low = ef.make_rational_constant(lower);
  if (is_point()) return ef.make_equals(duration, low);
  const Expression above = lower_open ? ef.make_gt(duration, low) : ef.make_ge(duration, low);
  if (!upper) return above;
  const Expression high = ef.make_rational_constant(*upper);
  const Expression below = upper_open ? ef.make_lt(duration, high) : ef.make_le(duration, high);
  return ef.make_and(above, below);
}

bool mentions_duration(Environment& env, Expression e) {
  return model::CheckContainsWalker(env, ExpressionOperatorKind::DURATION)(e);
}

std::vector<Expression> non_constant_duration_bounds(Environment& env, Expression constraint) {
  const model::ExpressionSimplifier simplify(env);
  std::vector<Expression> bounds = duration_conjuncts(constraint);
  std::erase_if(bounds, [&](Expression conjunct) {
    return !is_duration_comparison(conjunct) ||
           env.expression_factory().is_number(simplify(conjunct->child(1)));
  });
  return bounds;
}

Expression non_constant_duration_bound(Environment& env, const model::Action& action) {
  const model::ExpressionFactory& ef = env.expression_factory();
  for (const Expression e : action->expressions()) {
    if (ef.is_temporal_expression(e) || !mentions_duration(env, e)) continue;
    const std::vector<Expression> bounds = non_constant_duration_bounds(env, e);
    if (!bounds.empty()) return bounds.front();
  }
  return nullptr;
}

}  // namespace kelvo
