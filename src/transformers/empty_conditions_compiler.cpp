#include "transformers/empty_conditions_compiler.h"

#include <algorithm>
#include <map>
#include <optional>

#include "model/action.h"
#include "model/check_contains_walker.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/timed_effect.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/duration_bounds.h"

namespace kelvo {

using model::Expression;
using model::ExpressionOperatorKind;

namespace {

using Expressions = std::vector<Expression>;

/// The expressions of an action by how the duration concerns them.
struct SortedExpressions {
  Expressions kept;
  Expressions duration_constraints;
  /// Conditions over [start + c1, end - c2] by the duration c1 + c2 below which they are empty.
  std::map<rational, Expressions> by_threshold;
};

[[noreturn]] void refuse_interval() {
  throw InternalError(
      "Durative conditions must have the form: [start + c1, start + c2], [start + c1, end - c2] or "
      "[end - c1, end - c2] with c1>=0 and c2>=0");
}

AnchoredTime anchored_bound(Environment& env, Expression bound) {
  model::ExpressionFactory& ef = env.expression_factory();
  if (ef.is_number(model::ExpressionSimplifier(env)(bound))) refuse_interval();
  const std::optional<AnchoredTime> time = try_timing(ef, bound);
  if (!time || time->offset < 0) refuse_interval();
  return *time;
}

// Then the interval is empty if it has no length.
bool has_open_side(const TimedStatement& statement) {
  return !statement.left_closed || !statement.right_closed;
}

void sort_durative_condition(Environment& env, Expression condition, SortedExpressions& sorted) {
  const TimedStatement statement = decompose_statement(condition);
  if (statement.is_contains) refuse_interval();
  const AnchoredTime left = anchored_bound(env, statement.left);
  const AnchoredTime right = anchored_bound(env, statement.right);
  if (left.from_start && !right.from_start) {
    sorted.by_threshold[left.offset + right.offset].push_back(condition);
    return;
  }
  if (left.from_start != right.from_start) refuse_interval();
  // Both bounds count from one anchor: the length is the same for all durations.
  const rational length =
      left.from_start ? rational(right.offset - left.offset) : rational(left.offset - right.offset);
  const bool can_hold_time = has_open_side(statement) ? length > 0 : length >= 0;
  if (can_hold_time) sorted.kept.push_back(condition);
}

SortedExpressions sort_expressions(Environment& env, const model::Action& action) {
  const model::ExpressionFactory& ef = env.expression_factory();
  SortedExpressions sorted;
  for (const Expression e : action->expressions()) {
    if (ef.is_temporal_expression(e)) {
      const TimedStatement statement = decompose_statement(e);
      if (statement.is_point() || ef.is_assign(statement.body)) {
        sorted.kept.push_back(e);
      } else {
        sort_durative_condition(env, e, sorted);
      }
    } else if (mentions_duration(env, e)) {
      if (model::CheckContainsWalker(env, ExpressionOperatorKind::OR)(e)) {
        throw InternalError("Duration disjunctions not supported!");
      }
      sorted.duration_constraints.push_back(e);
    } else {
      sorted.kept.push_back(e);
    }
  }
  return sorted;
}

void append(Expressions& to, const Expressions& from) {
  to.insert(to.end(), from.begin(), from.end());
}

}  // namespace

// `body` grows by the conditions that are not empty above the thresholds passed so far, and
// `previous` says that the duration is above these.
void EmptyConditionsCompiler::split_action(const model::Action& action) {
  model::ExpressionFactory& ef = environment().expression_factory();
  const SortedExpressions sorted = sort_expressions(environment(), action);
  const Expression duration = ef.make_duration_anchor();
  Expressions body = sorted.kept;
  Expression previous = nullptr;
  const auto add = [&](const Expressions& version_body, Expression above, Expression below) {
    Expressions parts;
    if (above != nullptr) parts.push_back(above);
    append(parts, sorted.duration_constraints);
    if (below != nullptr) parts.push_back(below);
    add_folded_version(action, version_body, parts);
  };
  for (const auto& [threshold, conditions] : sorted.by_threshold) {
    Expressions closed;
    Expressions open;
    for (const Expression condition : conditions) {
      const bool is_open = has_open_side(decompose_statement(condition));
      (is_open ? open : closed).push_back(condition);
    }
    const Expression value = ef.make_rational_constant(threshold);
    if (closed.empty()) {
      add(body, previous, ef.make_le(duration, value));
    } else {
      add(body, previous, ef.make_lt(duration, value));
    }
    append(body, closed);
    if (!closed.empty() && !open.empty()) {
      add(body, nullptr, ef.make_equals(duration, value));
    }
    append(body, open);
    previous = open.empty() ? ef.make_ge(duration, value) : ef.make_gt(duration, value);
  }
  add(body, previous, nullptr);
}

void EmptyConditionsCompiler::add_folded_version(const model::Action& action,
                                                 const Expressions& body,
                                                 const Expressions& constraints) {
  model::ExpressionFactory& ef = environment().expression_factory();
  if (constraints.empty()) {
    add_version(action, body, ef.make_true(), nullptr);
    return;
  }
  const Expression constraint =
      constraints.size() == 1 ? constraints.front() : ef.make_and(constraints);
  DurationBounds bounds;
  bounds.fold(environment(), constraint);
  if (bounds.is_empty()) return;
  // The range says nothing of a bound that depends on arguments or on the state: it stays beside
  // the range. All versions have it, so that the constant part alone tells them apart.
  Expressions whole_body = body;
  Expression known = constraint;
  const Expressions open_bounds = non_constant_duration_bounds(environment(), constraint);
  if (!open_bounds.empty()) {
    Expressions parts = duration_conjuncts(constraint);
    std::erase_if(parts, [&](Expression part) {
      return std::ranges::find(open_bounds, part) != open_bounds.end();
    });
    known = parts.empty() ? ef.make_true() : parts.size() == 1 ? parts.front() : ef.make_and(parts);
    append(whole_body, open_bounds);
  }
  add_version(action, whole_body, known, bounds.to_expression(environment()));
}

}  // namespace kelvo
