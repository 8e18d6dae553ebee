#include "model/timed_effect.h"

#include <sstream>
#include <unordered_set>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/expression_substituter.h"
#include "model/print_expression.h"
#include "shell/errors.h"
#include "shell/long_numbers.h"

namespace kelvo {

using model::Expression;
using model::ExpressionFactory;
using model::kind_of;
using model::print_expression;

namespace {

std::string printed(Expression e) {
  std::ostringstream text;
  text << print_expression(e);
  return text.str();
}

/// Visits the distinct subexpressions of `root`, children after their parent and in order, until
/// `visit` returns true.
template <typename Visit>
void visit_until(Expression root, const Visit& visit) {
  std::unordered_set<Expression> seen;
  std::vector<Expression> todo{root};
  while (!todo.empty()) {
    const Expression e = todo.back();
    todo.pop_back();
    if (e->arity() == 0 || !seen.insert(e).second) continue;  // no leaf is an assignment
    if (visit(e)) return;
    todo.insert(todo.end(), e->children().rbegin(), e->children().rend());
  }
}

/// The left side of an assignment taken apart.
struct Target {
  Expression reference;
  std::vector<Expression> arguments;
  std::string path;

  explicit Target(Expression left) : reference(left) {
    strip_scopes();
    if (kind_of(reference) == model::ExpressionOperatorKind::FLUENT_FUN_APPLY) {
      arguments.assign(reference->children().begin(), reference->children().end());
      reference = model::payload_of<model::FluentFunApplyPayload>(reference).reference();
      strip_scopes();
    }
  }

 private:
  void strip_scopes() {
    while (kind_of(reference) == model::ExpressionOperatorKind::DOT) {
      if (!path.empty()) path += ".";
      path += printed(reference->child(0));
      reference = reference->child(1);
    }
  }
};

Effect make_effect(const ExpressionFactory& ef, Expression e, Expression timing,
                   Expression assignment, const model::Action& action) {
  const Expression left = assignment->child(0);
  const Target target(left);
  if (!ef.is_fluent_reference(target.reference)) {
    const bool is_application = ef.is_functional_apply(left) ||
                                (ef.is_scoping(left) && ef.is_functional_apply(left->child(1)));
    if (is_application) {
      throw InvalidParameterError()
          << "Constant assignments are not possible inside actions: " << print_expression(e);
    }
    throw InternalError() << "Found an unknown effect kind: " << print_expression(e);
  }
  return {timing,
          ef.get_fluent_from_reference(target.reference),
          assignment->child(1),
          action,
          target.arguments,
          target.path};
}

}  // namespace

std::optional<Effect> get_effect(ExpressionFactory& ef, Expression e, const model::Action& action) {
  std::optional<Effect> effect;
  visit_until(e, [&](Expression part) {
    if (ef.is_assign(part)) {
      if (ef.is_duration_anchor(part->child(0))) return true;
      throw InternalError() << "Found an untimed effect: " << print_expression(e);
    }
    if (!ef.is_temporal_expression(part) || !ef.is_assign(part->child(1))) return false;
    const Expression assignment = part->child(1);
    if (ef.is_duration_anchor(assignment->child(0))) return true;
    if (!ef.is_point_interval(part->child(0))) {
      throw InternalError("Found an effect over a non-punctual interval");
    }
    effect = make_effect(ef, e, part->child(0)->child(0), assignment, action);
    return true;
  });
  return effect;
}

bool is_effect(const ExpressionFactory& ef, Expression e) {
  bool found = false;
  visit_until(e, [&](Expression part) {
    found = ef.is_assign(part) && !ef.is_duration_anchor(part->child(0));
    return found;
  });
  return found;
}

std::vector<Expression> single_statements(model::ExpressionFactory& ef, Expression statement) {
  if (!ef.is_temporal_expression(statement) || !ef.is_and(statement->child(1)) ||
      !is_effect(ef, statement)) {
    return {statement};
  }
  std::vector<Expression> result;
  std::vector<Expression> open{statement->child(1)};
  while (!open.empty()) {
    const Expression at = open.back();
    open.pop_back();
    if (ef.is_and(at)) {
      for (std::size_t i = at->arity(); i > 0; --i) open.push_back(at->child(i - 1));
    } else {
      result.push_back(ef.make_temporal_expression(statement->child(0), at));
    }
  }
  return result;
}

Expression assigned_fluent(ExpressionFactory& ef, const Effect& effect) {
  const Expression reference = ef.make_fluent_reference(effect.fluent());
  if (effect.actual_parameters().empty()) return reference;
  return ef.make_functional_apply(reference, effect.actual_parameters());
}

Expression get_fixed_duration(Environment& env, ExpressionFactory& ef,
                              const model::Action& action) {
  for (const Expression e : action->expressions()) {
    const bool fixes = (ef.is_assign(e) || ef.is_equals(e)) && ef.is_duration_anchor(e->child(0));
    if (!fixes) continue;
    const Expression value = model::ExpressionSimplifier(env)(e->child(1));
    if (!ef.is_number(value)) return nullptr;
    return ef.make_rational_constant(ef.get_number(value));
  }
  return nullptr;
}

namespace {

/// An anchor, or none, and what is added to it.
struct LinearTime {
  enum class Anchor { NONE, START, END };
  Anchor anchor = Anchor::NONE;
  rational offset = 0;
};

/// Reads a sum or difference whose operands are one anchor and numbers. Chains nest to the left or
/// the right (`(start + 1) + 2`), never both, so one operand at most is opened up at each level.
std::optional<LinearTime> read_linear_time(const ExpressionFactory& ef, Expression time) {
  LinearTime result;
  Expression rest = time;
  while (ef.is_plus(rest) || ef.is_minus(rest)) {
    Expression next = nullptr;
    for (std::size_t i = 0; i < rest->arity(); ++i) {
      const Expression operand = rest->child(i);
      if (!ef.is_number(operand)) {
        const bool subtracted = ef.is_minus(rest) && i == 1;
        if (next != nullptr || subtracted) return std::nullopt;
        next = operand;
      } else if (ef.is_minus(rest) && i == 1) {
        result.offset = sum(result.offset, negated(ef.get_number(operand)));
      } else {
        result.offset = sum(result.offset, ef.get_number(operand));
      }
    }
    if (next == nullptr) return std::nullopt;  // numbers alone: the simplifier has folded them
    rest = next;
  }
  if (ef.is_number(rest)) {
    result.offset = sum(result.offset, ef.get_number(rest));
  } else if (ef.is_start_anchor(rest)) {
    result.anchor = LinearTime::Anchor::START;
  } else if (ef.is_end_anchor(rest)) {
    result.anchor = LinearTime::Anchor::END;
  } else {
    return std::nullopt;
  }
  return result;
}

}  // namespace

std::optional<AnchoredTime> try_timing(ExpressionFactory& ef, Expression time) {
  const Expression simple = model::ExpressionSimplifier(ef.environment())(time);
  const std::optional<LinearTime> linear = read_linear_time(ef, simple);
  if (!linear) return std::nullopt;
  // What is taken off the start, or put after the end, is outside the action or the plan.
  const bool is_sum = !ef.is_minus(simple);
  switch (linear->anchor) {
    case LinearTime::Anchor::NONE:
      return AnchoredTime{true, linear->offset};
    case LinearTime::Anchor::START:
      if (!is_sum && linear->offset < 0) return std::nullopt;
      return AnchoredTime{true, linear->offset};
    case LinearTime::Anchor::END:
      if (is_sum && linear->offset > 0) return std::nullopt;
      return AnchoredTime{false, negated(linear->offset)};
  }
  return std::nullopt;
}

AnchoredTime timing(ExpressionFactory& ef, Expression time) {
  const std::optional<AnchoredTime> result = try_timing(ef, time);
  if (!result) throw InternalError() << "Found an unsupported timing: " << print_expression(time);
  return *result;
}

bool is_at_start(ExpressionFactory& ef, Expression time) {
  if (ef.is_start_anchor(time) || ef.is_zero(time)) return true;
  if (time->arity() == 0) return false;
  const ExpressionSubstituter::Substitution start_is_zero{
      {ef.make_start_anchor(), ef.make_integer_constant(0)}};
  const Expression from_zero = ExpressionSubstituter(ef.environment(), start_is_zero)(time);
  return ef.is_zero(model::ExpressionSimplifier(ef.environment())(from_zero));
}

bool TimedStatement::is_point() const {
  return interval != nullptr && interval->arity() == 1 && left_closed && right_closed;
}

TimedStatement decompose_statement(Expression statement) {
  using Kind = model::ExpressionOperatorKind;
  TimedStatement result;
  if (kind_of(statement) != Kind::TEMPORAL_EXPR) {
    result.body = statement;
    return result;
  }
  result.interval = statement->child(0);
  result.body = statement->child(1);
  if (kind_of(result.interval) == Kind::CONTAINS) {
    result.is_contains = true;
    result.interval = result.interval->child(0);
  }
  if (kind_of(result.interval) != Kind::INTERVAL) {
    throw InternalError() << "Found a timed statement without an interval: "
                          << print_expression(statement);
  }
  const auto& flags = model::payload_of<model::IntervalPayload>(result.interval);
  result.left_closed = flags.left_closed();
  result.right_closed = flags.right_closed();
  result.left = result.interval->child(0);
  result.right = result.interval->child(result.interval->arity() - 1);
  return result;
}

bool asks_nothing(ExpressionFactory& ef, const TimedStatement& condition) {
  if (!condition.is_timed() || condition.is_contains) return false;
  const std::optional<AnchoredTime> left = try_timing(ef, condition.left);
  const std::optional<AnchoredTime> right = try_timing(ef, condition.right);
  if (!left || !right || left->from_start != right->from_start) return false;
  const rational length = left->from_start ? sum(right->offset, negated(left->offset))
                                           : sum(left->offset, negated(right->offset));
  return length < 0 || (length == 0 && !(condition.left_closed && condition.right_closed));
}

}  // namespace kelvo
