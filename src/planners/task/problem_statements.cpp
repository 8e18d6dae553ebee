#include "planners/task/problem_statements.h"

#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include "model/expression_factory.h"
#include "model/initial_values.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "planners/task/state_space.h"
#include "shell/environment.h"

namespace kelvo {

using model::Expression;

namespace {

model::InitialValues values_by_fluent(Environment& env, const std::vector<Effect>& assignments) {
  model::ExpressionFactory& ef = env.expression_factory();
  std::vector<model::InitialAssignment> initial;
  initial.reserve(assignments.size());
  for (const Effect& effect : assignments) {
    initial.push_back({assigned_fluent(ef, effect), effect.value()});
  }
  return model::resolve_initial_values(env, initial);
}

}  // namespace

ProblemStatements::ProblemStatements(const model::ProblemInstance& problem) {
  model::ExpressionFactory& ef = problem->environment().expression_factory();
  for (const Expression statement : problem->expressions()) {
    for (const Expression e : single_statements(ef, statement)) {
      std::optional<Effect> effect = get_effect(ef, e);
      if (!effect) {
        if (!asks_nothing(ef, decompose_statement(e))) goals.push_back(e);
      } else if (is_at_start(ef, effect->timing())) {
        initial_assignments.push_back(std::move(*effect));
      } else {
        timed_literals.push_back(e);
      }
    }
  }
}

std::vector<Expression> ProblemStatements::sorted_fluents(Environment& env) const {
  std::map<std::string, Expression> by_text;
  for (const auto& [key, value] : values_by_fluent(env, initial_assignments)) {
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
  std::vector<Expression> values(space.num_slots());
  const auto by_fluent = values_by_fluent(space.environment(), statements.initial_assignments);
  for (const auto& [fluent, value] : by_fluent) values[space.fluent_index().at(fluent)] = value;
  return values;
}

}  // namespace kelvo
