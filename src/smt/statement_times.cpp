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

bool is_never_negative(Environment& env, Expression time) {
  if (is_start(time) || is_end(time)) return true;
  const std::optional<AnchoredTime> anchored = try_timing(env.expression_factory(), time);
  return anchored && (anchored->from_start ? anchored->offset >= 0 : anchored->offset <= 0);
}

}  // namespace kelvo::smt
