#include "planners/ftp/task/action_events.h"

#include <algorithm>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/print_expression.h"
#include "model/timed_effect.h"
#include "shell/errors.h"
#include "shell/long_numbers.h"

namespace kelvo::ftp {

using model::Expression;
using model::ExpressionFactory;

ActionEvents::ActionEvents(Environment& env, const model::Action& ground_action)
    : action(ground_action) {
  ExpressionFactory& ef = env.expression_factory();
  std::vector<Expression> timed_conditions;
  std::vector<Expression> timed_effects;
  std::vector<Expression> at_start;
  for (const Expression e : action->expressions()) {
    const TimedStatement statement = decompose_statement(e);
    if (mentions_duration(env, e)) {
      duration.fold(env, statement.body);
      continue;
    }
    // The refusals of effects without a time or over an interval.
    if (get_effect(ef, e, action)) {
      timed_effects.push_back(e);
      continue;
    }
    if (statement.is_contains) {
      throw InternalError() << "Found a contains in an action: " << model::print_expression(e);
    }
    timed_conditions.push_back(e);
    const bool is_untimed = !statement.is_timed();
    if (is_untimed || (statement.left_closed && is_at_start(ef, statement.left))) {
      at_start.push_back(statement.body);
    }
  }
  const Expression start = ef.make_start_anchor();
  conditions = group_by_interval(ef, timed_conditions, start);
  effects = group_by_interval(ef, timed_effects, start);
  if (!at_start.empty()) {
    const Expression body = at_start.size() == 1 ? at_start.front() : ef.make_and(at_start);
    const Expression point = ef.make_point_interval(start);
    start_condition = ef.make_temporal_expression(point, body);
  }
}

rational ActionEvents::nominal_duration() const {
  if (!duration.upper) return duration.lower + 1;
  if (!is_less(duration.lower, *duration.upper)) return *duration.upper;
  return (duration.lower + *duration.upper) / 2;
}

std::vector<Expression> group_by_interval(ExpressionFactory& ef,
                                          const std::vector<Expression>& statements,
                                          Expression untimed) {
  struct Group {
    Expression interval = nullptr;
    std::vector<Expression> bodies;
  };
  std::map<std::string, Group> groups;
  for (const Expression e : statements) {
    const TimedStatement statement = decompose_statement(e);
    const Expression interval =
        statement.is_timed() ? statement.interval : ef.make_point_interval(untimed);
    std::ostringstream text;
    text << model::print_expression(interval);
    Group& group = groups[text.str()];
    group.interval = interval;
    group.bodies.push_back(statement.body);
  }
  std::vector<Expression> result;
  for (const auto& [text, group] : groups) {
    const Expression body =
        group.bodies.size() == 1 ? group.bodies.front() : ef.make_and(group.bodies);
    result.push_back(ef.make_temporal_expression(group.interval, body));
  }
  return result;
}

namespace {

EventTime place(ExpressionFactory& ef, Expression time, const rational& later,
                const rational& end_key) {
  AnchoredTime at = timing(ef, time);
  if (at.from_start) {
    at.offset = sum(at.offset, later);
    return {true, at.offset, at.offset};
  }
  at.offset = sum(at.offset, negated(later));
  return {false, at.offset, sum(end_key, negated(at.offset))};
}

// Of an interval with both ends tied to one anchor.
std::optional<rational> length_of(ExpressionFactory& ef, const TimedStatement& statement) {
  const AnchoredTime left = timing(ef, statement.left);
  const AnchoredTime right = timing(ef, statement.right);
  if (left.from_start != right.from_start) return {};
  return left.from_start ? sum(right.offset, negated(left.offset))
                         : sum(left.offset, negated(right.offset));
}

// How much later than it says a goal opens that is open on the left: behind the effects that come
// at that time, and before its end.
rational opening_shift(ExpressionFactory& ef, const TimedStatement& goal, const rational& gap) {
  if (goal.left_closed) return 0;
  const std::optional<rational> length = length_of(ef, goal);
  return length && *length < 2 * gap ? rational(*length / 2) : gap;
}

}  // namespace

std::vector<PlacedEvent> place_action_events(ExpressionFactory& ef, const ActionEvents& action,
                                             const rational& gap) {
  const rational nominal = action.nominal_duration();
  std::vector<PlacedEvent> result;
  std::size_t index = 1;
  for (const Expression e : action.effects) {
    const TimedStatement statement = decompose_statement(e);
    result.push_back({EventRole::EFFECT, e, index++, place(ef, statement.left, 0, nominal)});
  }
  for (const Expression e : action.conditions) {
    const TimedStatement statement = decompose_statement(e);
    const bool in_start_condition = statement.left_closed && is_at_start(ef, statement.left);
    const rational later = statement.left_closed ? rational(0) : gap;
    const EventTime left = place(ef, statement.left, later, nominal);
    if (statement.is_point()) {
      if (!in_start_condition) result.push_back({EventRole::POINT, e, index++, left});
      continue;
    }
    result.push_back({EventRole::OPENING, e, index++, left, !statement.left_closed,
                      /*at_once=*/in_start_condition});
    result.push_back({EventRole::CLOSING, e, index++, place(ef, statement.right, 0, nominal)});
  }
  return result;
}

std::vector<PlacedEvent> place_problem_events(ExpressionFactory& ef,
                                              const std::vector<Expression>& literals,
                                              const std::vector<Expression>& goals,
                                              const rational& gap) {
  std::vector<PlacedEvent> result;
  std::size_t index = 0;
  for (const Expression e : literals) {
    const TimedStatement statement = decompose_statement(e);
    result.push_back({EventRole::EFFECT, e, index++, place(ef, statement.left, 0, 0)});
  }
  for (const Expression e : goals) {
    const TimedStatement statement = decompose_statement(e);
    if (asks_nothing(ef, statement)) continue;
    const bool from_initial_state = statement.left_closed && is_at_start(ef, statement.left);
    const EventTime left = place(ef, statement.left, opening_shift(ef, statement, gap), 0);
    if (statement.is_point()) {
      if (!from_initial_state) result.push_back({EventRole::POINT, e, index++, left});
      continue;
    }
    result.push_back({EventRole::OPENING, e, index++, left, !statement.left_closed,
                      /*at_once=*/from_initial_state});
    result.push_back({EventRole::CLOSING, e, index++, place(ef, statement.right, 0, 0)});
  }
  return result;
}

void sort_table(std::vector<PlacedEvent>& table) {
  std::stable_sort(table.begin(), table.end(), [](const PlacedEvent& a, const PlacedEvent& b) {
    if (a.time.key != b.time.key) return a.time.key < b.time.key;
    return a.role != EventRole::EFFECT && b.role == EventRole::EFFECT;
  });
}

}  // namespace kelvo::ftp
