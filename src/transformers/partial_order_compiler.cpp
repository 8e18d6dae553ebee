#include "transformers/partial_order_compiler.h"

#include <set>
#include <utility>

#include "model/action.h"
#include "model/check_contains_walker.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/print_expression.h"
#include "model/timed_effect.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/duration_bounds.h"

namespace kelvo {

using model::Expression;
using model::ExpressionOperatorKind;

namespace {

using Expressions = std::vector<Expression>;

bool occurs(Environment& env, ExpressionOperatorKind kind, Expression e) {
  return model::CheckContainsWalker(env, kind)(e);
}

// The time of `e` in an action that starts at 0 and ends at `end`, if given.
rational value_of(Environment& env, Expression e, const rational* end) {
  model::ExpressionFactory& ef = env.expression_factory();
  Substitution anchors{{ef.make_start_anchor(), ef.make_rational_constant(0)}};
  if (end != nullptr) anchors[ef.make_end_anchor()] = ef.make_rational_constant(*end);
  const Expression time = ExpressionSubstituter(env, anchors)(e);
  const Expression value = model::ExpressionSimplifier(env)(time);
  if (!ef.is_number(value)) {
    throw InternalError() << "The time points of an action must be constants: "
                          << model::print_expression(e);
  }
  return ef.get_number(value);
}

/// The time points of an action and the range of its duration.
class TimePoints {
 public:
  TimePoints(Environment& env, const model::Action& action) : env_(env) {
    const model::ExpressionFactory& ef = env.expression_factory();
    for (const Expression e : action->expressions()) {
      if (ef.is_temporal_expression(e)) {
        read_timed(decompose_statement(e));
      } else if (mentions_duration(env, e)) {
        bounds_.fold(env, e);
      }
    }
  }

  const DurationBounds& bounds() const { return bounds_; }

  /// How far an action of duration `d` can grow until a point that hangs on its end reaches the
  /// next one that hangs on its start; `none` if there is no such distance below `none`. With
  /// `touching`, a point that is reached already counts, at distance 0.
  rational gap(const rational& d, const rational& none, bool touching) const {
    rational least = none;
    for (const Expression end : from_end_) {
      const rational v = value_of(env_, end, &d);
      const auto next = touching ? from_start_.lower_bound(v) : from_start_.upper_bound(v);
      if (next != from_start_.end() && *next - v < least) least = *next - v;
    }
    return least;
  }

 private:
  void read_timed(const TimedStatement& statement) {
    bool has_anchor = read_bound(statement.left);
    if (statement.is_point()) {
      if (!has_anchor && mentions_duration(env_, statement.body)) {
        bounds_.fold(env_, statement.body);
      }
    } else {
      read_bound(statement.right);
    }
  }

  bool read_bound(Expression bound) {
    if (occurs(env_, ExpressionOperatorKind::START, bound)) {
      from_start_.insert(value_of(env_, bound, nullptr));
      return true;
    }
    if (occurs(env_, ExpressionOperatorKind::END, bound)) {
      from_end_.push_back(bound);
      return true;
    }
    return false;
  }

  Environment& env_;
  DurationBounds bounds_;
  std::set<rational> from_start_;
  Expressions from_end_;
};

// Whether two effects on one fluent coincide in an action of duration `d`.
bool has_coinciding_effects(Environment& env, const Expressions& body, const rational& d) {
  const model::ExpressionFactory& ef = env.expression_factory();
  std::set<std::pair<rational, std::size_t>> seen;
  for (const Expression e : body) {
    if (!ef.is_temporal_expression(e)) continue;
    const TimedStatement statement = decompose_statement(e);
    Expressions todo{statement.body};
    while (!todo.empty()) {
      const Expression effect = todo.back();
      todo.pop_back();
      if (ef.is_and(effect)) {
        todo.insert(todo.end(), effect->children().begin(), effect->children().end());
      } else if (ef.is_assign(effect) && !ef.is_duration_anchor(effect->child(0))) {
        const rational time = value_of(env, statement.left, &d);
        if (!seen.emplace(time, effect->child(0)->id()).second) return true;
      }
    }
  }
  return false;
}

}  // namespace

void PartialOrderCompiler::split_action(const model::Action& action) {
  model::ExpressionFactory& ef = environment().expression_factory();
  const TimePoints points(environment(), action);
  const DurationBounds& bounds = points.bounds();
  if (!bounds.upper) {
    add_whole(action);
    return;
  }
  const rational& low = bounds.lower;
  const rational& high = *bounds.upper;
  Expressions body;
  for (const Expression e : action->expressions()) {
    if (!mentions_duration(environment(), e)) body.push_back(e);
  }

  rational d = low;
  while (d <= high) {
    const bool is_first = d == low;
    const rational gap = points.gap(d, high, /*touching=*/false);
    bool touches = true;
    if (is_first) {
      touches = points.gap(d, high, /*touching=*/true) == 0;
      // A duration of 0 leaves nothing to split, and no gap by which to go on.
      if (gap == high && (!touches || high == 0)) {
        add_whole(action);
        return;
      }
      if (touches && !bounds.lower_open) add_point_version(action, body, d);
    }
    const rational next = d + gap;
    const Expression next_value = ef.make_rational_constant(next);
    Expression range = ef.make_lt(ef.make_duration_anchor(), next_value);
    if (touches) {
      const Expression value = ef.make_rational_constant(d);
      const Expression above = ef.make_gt(ef.make_duration_anchor(), value);
      range = ef.make_and(above, range);
    }
    DurationBounds in_range = bounds;
    in_range.fold(environment(), range);
    if (!in_range.is_empty()) {
      add_version(action, body, range, in_range.to_expression(environment()));
    }
    DurationBounds at_next = bounds;
    at_next.fold(environment(), ef.make_equals(ef.make_duration_anchor(), next_value));
    if (!at_next.is_empty()) add_point_version(action, body, next);
    d = next;
  }
}

void PartialOrderCompiler::add_whole(const model::Action& action) {
  const Expressions body(action->expressions().begin(), action->expressions().end());
  add_version(action, body, environment().expression_factory().make_true(), nullptr);
}

void PartialOrderCompiler::add_point_version(const model::Action& action, const Expressions& body,
                                             const rational& d) {
  if (has_coinciding_effects(environment(), body, d)) return;
  model::ExpressionFactory& ef = environment().expression_factory();
  const Expression value = ef.make_rational_constant(d);
  const Expression is_d = ef.make_equals(ef.make_duration_anchor(), value);
  add_version(action, body, is_d, is_d);
}

}  // namespace kelvo
