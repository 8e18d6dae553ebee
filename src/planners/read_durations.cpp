#include "planners/read_durations.h"

#include <vector>

#include "model/action.h"
#include "model/check_contains_walker.h"
#include "model/expression_factory.h"
#include "model/expression_substituter.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/duration_bounds.h"

namespace kelvo {

using model::Expression;

bool has_read_durations(const model::ProblemInstance& problem) {
  Environment& env = problem->environment();
  const model::ExpressionFactory& ef = env.expression_factory();
  const model::CheckContainsWalker mentions(env, model::ExpressionOperatorKind::DURATION);
  for (const auto& [name, action] : problem->actions()) {
    for (const Expression e : action->expressions()) {
      if (ef.is_temporal_expression(e) && mentions(e)) return true;
    }
  }
  return false;
}

void ReadDurationsCompiler::split_action(const model::Action& action) {
  Environment& env = environment();
  model::ExpressionFactory& ef = env.expression_factory();
  DurationBounds bounds;
  for (const Expression e : action->expressions()) {
    if (!ef.is_temporal_expression(e) && mentions_duration(env, e)) bounds.fold(env, e);
  }
  ExpressionSubstituter::Substitution substitution;
  if (bounds.is_point()) {
    const Expression duration = ef.make_duration_anchor();
    substitution.emplace(duration, ef.make_rational_constant(bounds.lower));
  }
  const ExpressionSubstituter with_value(env, substitution);
  std::vector<Expression> body;
  for (const Expression e : action->expressions()) {
    const bool is_rewritten = ef.is_temporal_expression(e) && mentions_duration(env, e);
    if (is_rewritten && !bounds.is_point()) {
      throw InternalError() << "What reads the duration of an action needs one that is fixed: "
                            << "action " << action->name() << " has " << model::print_expression(e);
    }
    body.push_back(is_rewritten ? with_value(e) : e);
  }
  add_version(action, body, ef.make_true(), nullptr);
}

}  // namespace kelvo
