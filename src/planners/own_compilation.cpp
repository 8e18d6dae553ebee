#include "planners/own_compilation.h"

#include <algorithm>
#include <unordered_set>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/problem_instance.h"
#include "model/user_type.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/constant_promoter.h"
#include "transformers/duration_bounds.h"
#include "transformers/empty_conditions_compiler.h"
#include "transformers/flattener.h"
#include "transformers/grounder.h"
#include "transformers/partial_order_compiler.h"
#include "transformers/set_compiler.h"
#include "transformers/temporal_uncertainty_compiler.h"

namespace kelvo {

namespace {

using model::ProblemInstance;
using Maker = std::shared_ptr<BasicTransformer> (*)(const ProblemInstance&, const OwnCompilation&);

struct Step {
  bool (*is_needed)(const ProblemInstance&, const OwnCompilation&);
  Maker make;
};

bool is_structured(const ProblemInstance& problem, const OwnCompilation&) {
  return !problem->is_flat();
}

bool reads_fluent(const model::ExpressionFactory& ef, model::Expression e) {
  std::vector<model::Expression> todo{e};
  std::unordered_set<model::Expression> seen;
  while (!todo.empty()) {
    const model::Expression node = todo.back();
    todo.pop_back();
    if (!seen.insert(node).second) continue;
    if (ef.is_fluent_reference(node)) return true;
    if (ef.is_functional_apply(node)) todo.push_back(ef.get_reference_from_functional_apply(node));
    todo.insert(todo.end(), node->children().begin(), node->children().end());
  }
  return false;
}

// Durations are often told as fluents that nothing writes.
bool has_fluents_in_durations(const ProblemInstance& problem, const OwnCompilation& compilation) {
  if (!compilation.splits_durations) return false;
  Environment& env = problem->environment();
  const model::ExpressionFactory& ef = env.expression_factory();
  for (const auto& [name, action] : problem->actions()) {
    for (const model::Expression e : action->expressions()) {
      const bool is_constraint = !ef.is_temporal_expression(e) && mentions_duration(env, e);
      if (is_constraint && reads_fluent(ef, e)) return true;
    }
  }
  return false;
}

bool is_uncertain(const ProblemInstance& problem, const OwnCompilation&) {
  return problem->has_temporal_uncertainty();
}

bool is_lifted(const ProblemInstance& problem, const OwnCompilation& compilation) {
  const bool must_be_ground = compilation.grounds_actions || problem->has_sets();
  return must_be_ground && !problem->is_ground(/*only_action=*/true);
}

bool has_sets(const ProblemInstance& problem, const OwnCompilation&) {
  return problem->has_sets();
}

bool splits_durations(const ProblemInstance&, const OwnCompilation& compilation) {
  return compilation.splits_durations;
}

template <typename T>
std::shared_ptr<BasicTransformer> make(const ProblemInstance& problem, const OwnCompilation&) {
  return std::make_shared<T>(problem);
}

std::shared_ptr<BasicTransformer> make_grounder(const ProblemInstance& problem,
                                                const OwnCompilation& compilation) {
  return std::make_shared<Grounder>(problem, /*ground_all=*/false, compilation.prune_actions);
}

// A bound that is no constant would get lost when actions are split, and the action would have a
// duration that is too free.
std::shared_ptr<BasicTransformer> make_empty_conditions(const ProblemInstance& problem,
                                                        const OwnCompilation&) {
  for (const auto& [name, action] : problem->actions()) {
    const model::Expression bound = non_constant_duration_bound(problem->environment(), action);
    if (bound == nullptr) continue;
    throw InternalError() << "The duration of an action must be constant once the problem is "
                          << "ground: action " << name << " has " << model::print_expression(bound);
  }
  return std::make_shared<EmptyConditionsCompiler>(problem);
}

constexpr Step steps[] = {
    {is_structured, make<Flattener>},
    {has_fluents_in_durations, make<ConstantPromoter>},
    {is_uncertain, make<TemporalUncertaintyCompiler>},
    {is_lifted, make_grounder},
    {has_sets, make<SetCompiler>},
    {splits_durations, make_empty_conditions},
    {splits_durations, make<PartialOrderCompiler>},
};

}  // namespace

ProblemInstance apply_own_compilation(Environment&, ProblemInstance problem,
                                      const OwnCompilation& compilation,
                                      std::vector<std::shared_ptr<BasicTransformer>>& applied) {
  for (const Step& step : steps) {
    if (!step.is_needed(problem, compilation)) continue;
    applied.push_back(step.make(problem, compilation));
    problem = applied.back()->output_problem();
  }
  return problem;
}

}  // namespace kelvo
