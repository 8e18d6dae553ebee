#include "planners/task/problem_statements.h"

#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include "model/expression_evaluator.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "planners/task/state_space.h"
#include "shell/environment.h"

namespace kelvo {

using model::Expression;

namespace {

Expression ground_key(Environment& env, const Effect& effect) {
  const Expression key = assigned_fluent(env.expression_factory(), effect);
  return model::ExpressionSimplifier(env)(key);
}

}  // namespace

ProblemStatements::ProblemStatements(const model::ProblemInstance& problem) {
  model::ExpressionFactory& ef = problem->environment().expression_factory();
  for (const Expression statement : problem->expressions()) {
    for (const Expression e : single_statements(ef, statement)) {
      std::optional<Effect> effect = get_effect(ef, e);
      if (!effect) {
        goals.push_back(e);
      } else if (is_at_start(ef, effect->timing())) {
        initial_assignments.push_back(std::move(*effect));
      } else {
        timed_literals.push_back(e);
      }
    }
  }
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

std::vector<Expression> ProblemStatements::sorted_fluents(Environment& env) const {
  std::map<std::string, Expression> by_text;
  for (const Effect& effect : initial_assignments) {
    const Expression key = ground_key(env, effect);
    std::ostringstream text;
    text << model::print_expression(key);
    by_text.emplace(text.str(), key);
  }
  std::vector<Expression> result;
  for (const auto& [text, key] : by_text) result.push_back(key);
  return result;
}

std::vector<Expression> initial_values(const ProblemStatements& statements,
                                       const StateSpace& space) {
  Environment& env = space.environment();
  model::ExpressionFactory& ef = env.expression_factory();
  const model::ExpressionSimplifier simplifier(env);
  std::vector<Expression> values(space.num_slots());
  std::vector<std::pair<std::size_t, Expression>> open;  // what is no constant
  for (const Effect& effect : statements.initial_assignments) {
    const std::size_t slot = space.fluent_index().at(ground_key(env, effect));
    const Expression value = simplifier(effect.value());
    if (ef.is_constant(value) || ef.is_instance_reference(value)) {
      values[slot] = model::as_argument(ef, space.type(slot), value);
    } else {
      open.emplace_back(slot, value);
    }
  }
  for (const auto& [slot, value] : open) {
    const model::ExpressionEvaluator evaluator(env, space.fluent_index(), values);
    values[slot] = model::as_argument(ef, space.type(slot), evaluator(value));
  }
  return values;
}

}  // namespace kelvo
