#include "planners/task/classical_action.h"

#include <deque>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/fluent.h"
#include "model/print_expression.h"
#include "model/to_dnf.h"
#include "model/to_nnf.h"
#include "model/types.h"
#include "planners/task/problem_statements.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/duration_bounds.h"

namespace kelvo {

using model::Expression;
using model::ExpressionFactory;

Expression normalise(Environment& env, Expression e) {
  const Expression nnf = model::ToNNF(env)(e);
  return model::ExpressionSimplifier(env)(nnf);
}

ClassicalAction::ClassicalAction(Environment& env, const model::Action& ground_action)
    : action(ground_action) {
  ExpressionFactory& ef = env.expression_factory();
  if (action->has_parameters()) {
    throw InternalError("The ftp-based planner assumes a grounded model");
  }
  for (const Expression statement : action->expressions()) {
    if (mentions_duration(env, statement)) {
      if (ef.is_temporal_expression(statement)) {
        throw InternalError() << "Duration anchor cannot be used in temporal expression: "
                              << model::print_expression(statement);
      }
      continue;
    }
    for (const Expression e : single_statements(ef, statement)) {
      if (std::optional<Effect> effect = get_effect(ef, e, action)) {
        add_effect(env, e, std::move(*effect));
      } else if (ef.is_temporal_expression(e)) {
        add_condition(ef, e->child(1));
      } else if (!ef.is_assign(e)) {
        add_condition(ef, e);
      }
    }
  }
  if (conditions.empty()) {
    condition = ef.make_true();
    return;
  }
  condition = conditions.size() == 1 ? conditions.front() : ef.make_and(conditions);
  dnf = model::ToDNF(env)(normalise(env, condition));
}

void ClassicalAction::add_condition(const ExpressionFactory& ef, Expression body) {
  conditions.push_back(body);
  std::deque<Expression> open{body};
  while (!open.empty()) {
    const Expression e = open.front();
    open.pop_front();
    if (ef.is_and(e) || ef.is_or(e)) {
      for (const Expression child : e->children()) open.push_back(child);
    } else {
      condition_atoms.push_back(e);
    }
  }
}

void ClassicalAction::add_effect(Environment& env, Expression statement, Effect effect) {
  ExpressionFactory& ef = env.expression_factory();
  const Expression key = assigned_fluent(ef, effect);
  const Expression value = model::ExpressionSimplifier(env)(effect.value());
  const bool is_boolean = effect.fluent()->type()->is_boolean();
  const auto known = effects.find(key);
  if (known == effects.end()) {
    effects.emplace(key, effect);
  } else if (known->second.timing() == effect.timing()) {
    throw InternalError() << "Found two contradicting effects of the same action at the same time: "
                          << "in action " << action->name();
  } else if (ef.is_start_anchor(known->second.timing()) && ef.is_end_anchor(effect.timing())) {
    known->second = effect;
  } else if (!ef.is_end_anchor(known->second.timing()) || !ef.is_start_anchor(effect.timing())) {
    throw InternalError() << "Actions with complex self-interfering effects are not supported: "
                          << "in action " << action->name() << " effect "
                          << model::print_expression(statement);
  }
  if (!is_boolean) {
    effect_literal_set.insert(ef.make_equals(key, value));
    return;
  }
  const bool may_be_true = !ef.is_false(value);
  const bool may_be_false = !ef.is_true(value);
  if (may_be_true) effect_literals.push_back(key);
  if (may_be_false) effect_literals.push_back(ef.make_not(key));
  effect_literal_set.insert(effect_literals.end() - (may_be_true && may_be_false ? 2 : 1),
                            effect_literals.end());
}

}  // namespace kelvo
