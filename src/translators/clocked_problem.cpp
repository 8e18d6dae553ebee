#include "translators/clocked_problem.h"

#include <functional>
#include <utility>

#include "model/action.h"
#include "model/check_contains_walker.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/timed_effect.h"
#include "model/types.h"
#include "model/user_type.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"

namespace kelvo {

using model::Expression;
using model::print_expression;
using Kind = model::ExpressionOperatorKind;

// --- assumptions ---

namespace {

// Raised inside the check only: the first violation ends it.
struct Violation {
  std::string text;
};

class AssumptionCheck : public EnvObject {
 public:
  explicit AssumptionCheck(const model::ProblemInstance& problem)
      : EnvObject(problem->environment()),
        problem_(problem),
        ef_(environment().expression_factory()),
        simplify_(environment()),
        has_start_(environment(), Kind::START),
        has_end_(environment(), Kind::END),
        has_duration_(environment(), Kind::DURATION),
        has_fluent_(environment(), Kind::FLUENT_REF) {}

  void run() const {
    demand(problem_->is_ground(/*only_action=*/false), "the problem is not ground");
    for (const auto& [name, fluent] : problem_->fluents()) {
      demand(fluent->type()->is_finite_domain(),
             "fluent " + name + " has type with infinite domain");
    }
    for (const auto& [name, action] : problem_->actions()) {
      demand(!action->is_temporally_uncertain(), "action " + name + " is temporally uncertain");
    }
    const ExpressionSubstituter::Substitution start = {
        {ef_.make_start_anchor(), ef_.make_integer_constant(0)}};
    const ExpressionSubstituter substitute(environment(), start);
    for (const Expression e : problem_->expressions()) check_statement(simplify_(substitute(e)));
    for (const auto& [name, action] : problem_->actions()) {
      for (const Expression e : action->expressions()) check_action_statement(simplify_(e));
    }
  }

 private:
  static void demand(bool holds, const std::string& what) {
    if (!holds) throw Violation{"Problem assumptions are violated, " + what};
  }
  static void demand(bool holds, const std::string& what, Expression e) {
    if (holds) return;
    std::ostringstream text;
    text << what << ": " << print_expression(e);
    demand(false, text.str());
  }

  bool is_contains(Expression interval) const { return ef_.is_contains(interval); }

  void demand_no_end_outside(Expression whole, Expression e) const {
    demand(!has_end_(e), "the following expression has 'end' outside the interval", whole);
  }
  void demand_plain_ends(Expression interval, Expression whole) const {
    for (const Expression bound : interval->children()) {
      demand(ef_.is_end_anchor(bound) || !has_end_(bound),
             "the following expression has an arithmetic subexpression containing 'end'", whole);
    }
  }
  void demand_no_contains(Expression interval, Expression whole) const {
    demand(!is_contains(interval), "'contains' expressions are not supported", whole);
  }

  void check_statement(Expression e) const {
    if (!ef_.is_temporal_expression(e)) {
      demand_no_end_outside(e, e);
      demand(ef_.is_assign(e), "the following expression is a global start condition", e);
      return;
    }
    demand_no_end_outside(e, e->child(1));
    demand_no_contains(e->child(0), e);
    demand_plain_ends(e->child(0), e);
  }

  void check_action_statement(Expression e) const {
    const char* const start_outside = "the following expression has 'start' outside the interval";
    if (!ef_.is_temporal_expression(e)) {
      demand(!has_start_(e), start_outside, e);
      demand_no_end_outside(e, e);
      demand(!ef_.is_assign(e) || !has_duration_(e->child(1)),
             "the following assign expression has 'duration' on the right hand side", e);
      return;
    }
    const Expression interval = e->child(0);
    demand(!has_start_(e->child(1)), start_outside, e);
    demand_no_end_outside(e, e->child(1));
    demand(!has_duration_(e), "the following temporal expression contains 'duration'", e);
    demand_no_contains(interval, e);
    demand_plain_ends(interval, e);
    for (const Expression bound : interval->children()) {
      demand(has_start_(bound) || has_end_(bound),
             "the following temporal expression does not contain 'start' or 'end' in the interval",
             e);
    }
    demand(!has_fluent_(interval),
           "action temporal expressions with a fluent in the interval are not supported", e);
  }

  const model::ProblemInstance& problem_;
  model::ExpressionFactory& ef_;
  model::ExpressionSimplifier simplify_;
  model::CheckContainsWalker has_start_;
  model::CheckContainsWalker has_end_;
  model::CheckContainsWalker has_duration_;
  model::CheckContainsWalker has_fluent_;
};

}  // namespace

bool has_clocked_form(const model::ProblemInstance& problem) {
  try {
    AssumptionCheck(problem).run();
  } catch (const Violation& violation) {
    LOG(LogLevel::DEBUG) << violation.text;
    return false;
  }
  LOG(LogLevel::DEBUG) << "The problem satisfies all assumptions";
  return true;
}

// --- instances ---

InstanceNumbers::InstanceNumbers(const model::ProblemInstance& problem) {
  for (const auto& [name, type] : problem->user_types()) names_[name];
  for (const auto& [name, instance] : problem->instances()) {
    const model::UserType type = instance->type();
    if (type == nullptr) {
      throw InternalError() << "The following Instance has not user type: " << name;
    }
    const auto known = names_.find(type->name());
    if (known == names_.end()) {
      throw InternalError() << "The type of the following Instance has not been declared: " << name;
    }
    numbers_.emplace(instance, known->second.size());
    known->second.push_back(name);
  }
}

const std::vector<std::string>* InstanceNumbers::names(const std::string& type) const {
  const auto found = names_.find(type);
  return found == names_.end() || found->second.empty() ? nullptr : &found->second;
}

std::size_t InstanceNumbers::number(const model::Instance& instance) const {
  const auto found = numbers_.find(instance);
  if (found == numbers_.end()) {
    throw InternalError() << "The following instance has not been declared: " << instance->name();
  }
  return found->second;
}

void require_finite_type(const model::Fluent& fluent, const InstanceNumbers& numbers) {
  const model::Type type = fluent->type();
  if (type->is_boolean()) return;
  if (type->is_integer()) {
    const model::IntegerTypeBase& integers = model::as_integer_type(type);
    if (integers.has_lower_bound() && integers.has_upper_bound()) return;
    throw InternalError() << "The following fluent has unbounded integer type: " << fluent->name();
  }
  if (type->is_user_defined()) {
    if (numbers.names(model::as_user_type(type)->name()) != nullptr) return;
    throw InternalError() << "The following fluent has invalid type: " << fluent->name();
  }
  throw InternalError() << "The following fluent has unsupported type: " << fluent->name();
}

// --- statements ---

ClockedStatements::ClockedStatements(Environment& env,
                                     ExpressionSubstituter::Substitution replacements,
                                     BoundRefusal refusal)
    : EnvObject(env), replacements_(std::move(replacements)), refusal_(refusal) {
  model::ExpressionFactory& ef = env.expression_factory();
  replacements_[ef.make_start_anchor()] = ef.make_integer_constant(0);
}

std::vector<ClockedStatement> ClockedStatements::of(const model::ExpressionSet& expressions) const {
  const ExpressionSubstituter substitute(environment(), replacements_);
  const model::ExpressionSimplifier simplify(environment());
  std::vector<ClockedStatement> statements;
  model::ExpressionFactory& ef = environment().expression_factory();
  for (const Expression e : expressions) {
    for (const Expression single : single_statements(ef, e)) {
      add(e, simplify(substitute(single)), statements);
    }
  }
  return statements;
}

void ClockedStatements::refuse_bound(Expression source) const {
  throw InternalError() << refusal_.before << print_expression(source) << refusal_.behind;
}

ClockedTime ClockedStatements::time_of(Expression bound, Expression source) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  if (ef.is_end_anchor(bound)) return {/*is_end=*/true, 0};
  if (!ef.is_number(bound)) refuse_bound(source);
  return {/*is_end=*/false, ef.get_number(bound)};
}

void ClockedStatements::add(Expression source, Expression statement,
                            std::vector<ClockedStatement>& statements) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  ClockedStatement result;
  result.source = source;
  result.body = statement;
  if (ef.is_temporal_expression(statement)) {
    const TimedStatement timed = decompose_statement(statement);
    result.is_timed = true;
    result.is_point = timed.interval->arity() == 1;
    result.left = time_of(timed.left, source);
    if (result.left.is_end && !result.is_point) refuse_bound(source);
    result.right = time_of(timed.right, source);
    result.left_closed = timed.left_closed;
    result.right_closed = timed.right_closed;
    result.body = timed.body;
  }
  const Expression body = result.body;
  result.is_assignment = ef.is_assign(body) && !ef.is_duration_anchor(body->child(0));
  if (result.is_assignment) {
    if (!ef.is_fluent_reference(body->child(0))) {
      throw InternalError()
          << "The following assign expression does not have a fluent on the left hand side: "
          << print_expression(source);
    }
    result.fluent = ef.get_fluent_from_reference(body->child(0));
    result.value = body->child(1);
  }
  statements.push_back(std::move(result));
}

}  // namespace kelvo
