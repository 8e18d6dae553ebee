#include "smt/statement_times.h"

#include <algorithm>
#include <optional>
#include <unordered_set>
#include <vector>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/problem_instance.h"

namespace kelvo::smt {

using model::Expression;
using ExpressionKind = model::ExpressionOperatorKind;

namespace {

bool is_start(Expression e) {
  return model::kind_of(e) == ExpressionKind::START;
}

bool is_end(Expression e) {
  return model::kind_of(e) == ExpressionKind::END;
}

template <typename Accept>
bool has_node(Expression root, Accept accept) {
  std::unordered_set<Expression> seen;
  std::vector<Expression> todo{root};
  while (!todo.empty()) {
    const Expression e = todo.back();
    todo.pop_back();
    if (!seen.insert(e).second) continue;
    if (accept(e)) return true;
    todo.insert(todo.end(), e->children().begin(), e->children().end());
  }
  return false;
}

}  // namespace

bool is_anchored(Expression root) {
  return has_node(root, [](Expression e) { return is_start(e) || is_end(e); });
}

StatementTimes::StatementTimes(const model::ProblemInstance& problem) {
  model::ExpressionFactory& ef = problem->environment().expression_factory();
  for (const Expression e : problem->expressions()) {
    if (!ef.is_temporal_expression(e)) continue;
    const TimedStatement statement = decompose_statement(e);
    if (is_effect(ef, statement.body)) {
      if (!is_at_start(ef, statement.left)) asks_exact_end = true;
      continue;
    }
    const auto is_plain = [](Expression bound) { return is_start(bound) || is_end(bound); };
    const bool is_window = is_plain(statement.left) && is_plain(statement.right);
    const bool names_end = has_node(statement.interval, is_end);
    if (!is_window && names_end) asks_exact_end = true;
    if (!is_window || !statement.left_closed) asks_first_instant = true;
  }
  asks_first_instant = asks_first_instant || asks_exact_end;
}

namespace {

// A positive number below which a free duration can't be, if a bound of the text tells one.
bool is_surely_positive(Environment& env, const model::ActionImpl& action) {
  const model::ExpressionFactory& ef = env.expression_factory();
  return std::ranges::any_of(action.expressions(), [&](Expression e) {
    const bool bounds = ef.is_ge(e) || ef.is_gt(e) || ef.is_equals(e) || ef.is_assign(e);
    if (!bounds || !ef.is_duration_anchor(e->child(0))) return false;
    const Expression bound = e->child(1);
    return ef.is_number(bound) && ef.get_number(bound) > 0;
  });
}

Extent extent_of_length(const rational& length, bool is_closed) {
  if (length > 0 || (is_closed && length == 0)) return Extent::NEVER_EMPTY;
  return Extent::ALWAYS_EMPTY;
}

}  // namespace

Extent extent_of(Environment& env, const TimedStatement& statement, const model::ActionImpl* action,
                 const rational* fixed_duration) {
  if (statement.is_point()) return Extent::NEVER_EMPTY;
  const bool is_closed = statement.left_closed && statement.right_closed;
  if (is_start(statement.left) && is_end(statement.right)) {
    if (is_closed || action == nullptr) return Extent::NEVER_EMPTY;
    if (fixed_duration != nullptr) return extent_of_length(*fixed_duration, is_closed);
    return is_surely_positive(env, *action) ? Extent::NEVER_EMPTY : Extent::PERHAPS_EMPTY;
  }
  model::ExpressionFactory& ef = env.expression_factory();
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

bool is_never_negative(Environment& env, Expression time) {
  if (is_start(time) || is_end(time)) return true;
  const std::optional<AnchoredTime> anchored = try_timing(env.expression_factory(), time);
  return anchored && (anchored->from_start ? anchored->offset >= 0 : anchored->offset <= 0);
}

}  // namespace kelvo::smt
