#include "validation/strict_statements.h"

#include <algorithm>

#include "model/action.h"
#include "model/expression_payloads.h"
#include "model/print_expression.h"
#include "shell/errors.h"

namespace kelvo::strict {

using model::Expression;
using Kind = model::ExpressionOperatorKind;

namespace {

bool is(Expression e, Kind kind) {
  return model::kind_of(e) == kind;
}

[[noreturn]] void refuse(const char* what, Expression e) {
  throw InvalidParameterError() << what << ": " << model::print_expression(e);
}

// The parts of a conjunction, nested ones opened, in the order of the text.
std::vector<Expression> conjuncts_of(Expression e) {
  std::vector<Expression> result;
  std::vector<Expression> todo{e};
  while (!todo.empty()) {
    const Expression next = todo.back();
    todo.pop_back();
    if (is(next, Kind::AND)) {
      todo.insert(todo.end(), next->children().rbegin(), next->children().rend());
    } else {
      result.push_back(next);
    }
  }
  return result;
}

bool mentions(const Program& program, Op op) {
  return std::ranges::any_of(program, [op](const Instruction& i) { return i.op == op; });
}

// Whether `part` occurs in `e`.
bool occurs(Expression part, Expression e) {
  std::vector<Expression> todo{e};
  while (!todo.empty()) {
    const Expression next = todo.back();
    todo.pop_back();
    if (next == part) return true;
    todo.insert(todo.end(), next->children().begin(), next->children().end());
  }
  return false;
}

bool is_increase(Expression target, Expression value) {
  const bool is_sum = is(value, Kind::PLUS);
  if ((!is_sum && !is(value, Kind::MINUS)) || value->arity() != 2) return false;
  if (value->child(0) == target) return !occurs(target, value->child(1));
  return is_sum && value->child(1) == target && !occurs(target, value->child(0));
}

/// Takes the statements of one owner apart.
class Reader {
 public:
  Reader(ProgramCompiler& compiler, CompileScope scope, bool is_action)
      : compiler_(compiler), scope_(std::move(scope)), is_action_(is_action) {}

  template <typename Expressions>
  void read(const Expressions& expressions, StatementList& list) {
    list.statements.reserve(expressions.size());
    for (const Expression e : expressions) list.statements.push_back(read(e, list));
  }

 private:
  Statement read(Expression source, StatementList& list) {
    Statement statement;
    statement.source = source;
    Expression body = source;
    if (is(source, Kind::TEMPORAL_EXPR)) {
      read_time(source->child(0), statement);
      body = source->child(1);
    }
    if (is(body, Kind::IN_ASSIGN)) {
      read_uncertain_duration(body, statement, list);
    } else if (is(body, Kind::ASSIGN) && is(body->child(0), Kind::DURATION)) {
      read_duration(body, statement);
    } else if (is(body, Kind::ASSIGN)) {
      read_effect(body, statement);
    } else {
      read_condition(body, statement);
    }
    return statement;
  }

  void read_time(Expression interval, Statement& statement) {
    while (is(interval, Kind::CONTAINS)) {
      statement.kind = Statement::Kind::CONTAINS;
      if (statement.label.empty()) {
        statement.label = model::payload_of<model::IdentifierPayload>(interval).name();
      }
      if (interval->arity() > 1 && statement.lasting.empty()) {
        statement.lasting = compiler_.compile(interval->child(1), scope_);
      }
      interval = interval->child(0);
    }
    if (!is(interval, Kind::INTERVAL)) refuse("Not an interval", interval);
    const auto& flags = model::payload_of<model::IntervalPayload>(interval);
    statement.is_timed = true;
    statement.is_point = interval->arity() == 1 && flags.left_closed() && flags.right_closed();
    statement.left_closed = flags.left_closed();
    statement.right_closed = flags.right_closed();
    statement.left = read_bound(interval->child(0));
    statement.right = read_bound(interval->child(interval->arity() - 1));
  }

  TimeBound read_bound(Expression time) {
    TimeBound bound;
    if (is(time, Kind::LABEL_REF)) {
      bound.label = model::payload_of<model::IdentifierPayload>(time).name();
      return bound;
    }
    bound.time = compiler_.compile(time, scope_);
    if (mentions(bound.time, Op::FLUENT)) refuse("A time reads a fluent", time);
    bound.mentions_end = mentions(bound.time, Op::END);
    if (is_action_ && !bound.mentions_end && !mentions(bound.time, Op::START)) {
      bound.time.push_back({Op::START});
      bound.time.push_back({Op::PLUS, 2});
    }
    return bound;
  }

  void read_uncertain_duration(Expression body, Statement& statement, StatementList& list) {
    const Expression interval = body->child(1);
    const Program low = compiler_.compile(interval->child(0), scope_);
    const Program high = compiler_.compile(interval->child(interval->arity() - 1), scope_);
    if (!list.uncertain_duration) list.uncertain_duration = {low, high};
    Program program{{Op::DURATION}};
    program.insert(program.end(), low.begin(), low.end());
    program.push_back({Op::GE});
    program.push_back({Op::DURATION});
    program.insert(program.end(), high.begin(), high.end());
    program.push_back({Op::LE});
    program.push_back({Op::AND, 2});
    statement.kind = Statement::Kind::DURATION;
    statement.conjuncts.push_back({body, std::move(program)});
  }

  void read_duration(Expression body, Statement& statement) {
    statement.kind = Statement::Kind::DURATION;
    statement.conjuncts.push_back({body, compiler_.compile(body, scope_)});
  }

  void read_effect(Expression body, Statement& statement) {
    if (!statement.is_timed) refuse("An effect without a time", statement.source);
    if (!statement.is_point || statement.kind == Statement::Kind::CONTAINS ||
        !statement.left.label.empty()) {
      refuse("An effect over an interval", statement.source);
    }
    statement.kind = Statement::Kind::EFFECT;
    statement.target = compiler_.compile_target(body->child(0), scope_);
    statement.value = compiler_.compile(body->child(1), scope_);
    statement.is_increase = is_increase(body->child(0), body->child(1));
  }

  void read_condition(Expression body, Statement& statement) {
    if (statement.kind == Statement::Kind::CONTAINS) {
      statement.conjuncts.push_back({body, compiler_.compile(body, scope_)});
      return;
    }
    for (const Expression e : conjuncts_of(body)) {
      statement.conjuncts.push_back({e, compiler_.compile(e, scope_)});
    }
    // What an action says of its duration without a time is about its start.
    const bool is_about_duration =
        is_action_ && !statement.is_timed &&
        std::ranges::any_of(statement.conjuncts, [](const Conjunct& conjunct) {
          return mentions(conjunct.program, Op::DURATION);
        });
    if (is_about_duration) statement.kind = Statement::Kind::DURATION;
  }

  ProgramCompiler& compiler_;
  CompileScope scope_;
  bool is_action_;
};

}  // namespace

StatementList compile_problem(const std::vector<Expression>& statements,
                              ProgramCompiler& compiler) {
  StatementList list;
  Reader(compiler, {}, /*is_action=*/false).read(statements, list);
  return list;
}

StatementList compile_action(const model::ActionImpl& action, ProgramCompiler& compiler) {
  StatementList list;
  CompileScope scope;
  scope.has_object = !action.path().empty();
  for (std::size_t i = 0; i < action.parameters().size(); ++i) {
    scope.parameters[action.parameters()[i].get()] = static_cast<std::uint32_t>(i);
  }
  list.owner = scope.has_object ? action.path().back() + "." + action.name() : action.name();
  Reader(compiler, std::move(scope), /*is_action=*/true).read(action.expressions(), list);
  return list;
}

}  // namespace kelvo::strict
