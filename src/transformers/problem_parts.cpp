#include "transformers/problem_parts.h"

#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo {

using model::Expression;
using model::ProblemInstance;

namespace {

template <typename Map, typename Object>
void add_named(Map& map, const Object& object) {
  if (!map.try_emplace(object->name(), object).second) {
    throw RedefinitionError() << "Name '" << object->name() << "' already defined in this scope";
  }
}

template <typename Map>
void take_all(Map& map, const Map& other) {
  for (const auto& [name, object] : other) add_named(map, object);
}

}  // namespace

void ProblemParts::add(const model::Action& action) {
  add_named(actions, action);
}
void ProblemParts::add(const model::Fluent& fluent) {
  add_named(fluents, fluent);
}
void ProblemParts::add(const model::Constant& constant) {
  add_named(constants, constant);
}
void ProblemParts::add(const model::Instance& instance) {
  add_named(instances, instance);
}
void ProblemParts::add(const model::UserType& user_type) {
  add_named(user_types, user_type);
}

void ProblemParts::take_fluents(const ProblemInstance& problem) {
  take_all(fluents, problem->fluents());
}

void ProblemParts::take_constants(const ProblemInstance& problem) {
  take_all(constants, problem->constants());
}

void ProblemParts::take_instances(const ProblemInstance& problem) {
  take_all(instances, problem->instances());
}

void ProblemParts::take_user_types(const ProblemInstance& problem) {
  take_all(user_types, problem->user_types());
}

void ProblemParts::take_expressions(const ProblemInstance& problem) {
  expressions.insert(problem->expressions().begin(), problem->expressions().end());
}

void ProblemParts::take_orderings(const ProblemInstance& problem) {
  orderings.insert(problem->labels_orderings().begin(), problem->labels_orderings().end());
}

ProblemInstance ProblemParts::make(Environment& env) const {
  return env.model_factory().make_problem_instance(actions, fluents, constants, instances,
                                                   user_types, expressions, orderings);
}

model::Parameters copy_parameters(Environment& env, const model::Parameters& parameters,
                                  Substitution& substitution) {
  model::ExpressionFactory& ef = env.expression_factory();
  model::Parameters copies;
  for (const model::Parameter& parameter : parameters) {
    copies.push_back(env.model_factory().make_parameter(parameter->name(), parameter->type()));
    const Expression old_reference = ef.make_parameter_reference(parameter);
    substitution[old_reference] = ef.make_parameter_reference(copies.back());
  }
  return copies;
}

std::vector<Expression> split_assignments(Environment& env, Expression e) {
  model::ExpressionFactory& ef = env.expression_factory();
  const bool is_timed = ef.is_temporal_expression(e);
  const Expression body = is_timed ? e->child(1) : e;
  if (!ef.is_and(body) || body->arity() == 0 || !ef.is_assign(body->child(0))) return {e};
  std::vector<Expression> statements;
  for (const Expression child : body->children()) {
    statements.push_back(is_timed ? ef.make_temporal_expression(e->child(0), child) : child);
  }
  return statements;
}

void require_flat(const ProblemInstance& problem, const char* message) {
  if (!problem->is_flat()) throw InternalError(message);
}

}  // namespace kelvo
