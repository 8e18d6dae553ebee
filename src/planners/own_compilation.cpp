#include "planners/own_compilation.h"

#include <algorithm>
#include <cstddef>
#include <unordered_map>
#include <unordered_set>

#include "model/action.h"
#include "model/domains.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/problem_instance.h"
#include "model/timed_effect.h"
#include "model/types.h"
#include "model/user_type.h"
#include "planners/read_durations.h"
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
#include "transformers/transformer_chain.h"

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

// Whether `accept` holds for a node of `e`, references of applied functions included.
template <typename Predicate>
bool has_node(const model::ExpressionFactory& ef, model::Expression e, Predicate accept) {
  std::vector<model::Expression> todo{e};
  std::unordered_set<model::Expression> seen;
  while (!todo.empty()) {
    const model::Expression node = todo.back();
    todo.pop_back();
    if (!seen.insert(node).second) continue;
    if (accept(node)) return true;
    if (ef.is_functional_apply(node)) todo.push_back(ef.get_reference_from_functional_apply(node));
    todo.insert(todo.end(), node->children().begin(), node->children().end());
  }
  return false;
}

// Durations are often given as fluents that nothing writes.
bool has_fluents_in_durations(const ProblemInstance& problem) {
  Environment& env = problem->environment();
  const model::ExpressionFactory& ef = env.expression_factory();
  for (const auto& [name, action] : problem->actions()) {
    for (const model::Expression e : action->expressions()) {
      if (ef.is_temporal_expression(e) || !mentions_duration(env, e)) continue;
      if (has_node(ef, e, [&ef](model::Expression n) { return ef.is_fluent_reference(n); })) {
        return true;
      }
    }
  }
  return false;
}

/// The fluents that are given values at the start and nowhere else.
class StaticFluents {
 public:
  explicit StaticFluents(const ProblemInstance& problem)
      : ef_(problem->environment().expression_factory()), domains_(*problem) {
    for (const auto& [name, action] : problem->actions()) {
      for (const model::Expression e : action->expressions()) note_assignments(e);
    }
    for (const model::Expression e : problem->expressions()) {
      if (is_initial_value(e)) {
        ++num_values_[assigned_fluent(e->child(1))];
      } else {
        note_assignments(e);
      }
    }
  }

  bool is_static(const model::Fluent& fluent) const {
    return num_values_.contains(fluent) && !written_.contains(fluent);
  }

  /// Whether there is a value for all arguments.
  bool has_all_values(const model::Fluent& fluent) const {
    const auto values = num_values_.find(fluent);
    if (values == num_values_.end()) return false;
    const model::Parameters& parameters = fluent->parameters();
    const bool is_finite = std::ranges::all_of(
        parameters, [](const model::Parameter& p) { return p->type()->is_finite_domain(); });
    if (!is_finite) return false;
    std::size_t num_arguments = 1;
    for (const model::Parameter& p : parameters) num_arguments *= domains_.size(p->type());
    return values->second >= num_arguments;
  }

 private:
  bool is_initial_value(model::Expression e) const {
    if (!ef_.is_temporal_expression(e) || !ef_.is_assign(e->child(1))) return false;
    const model::Expression interval = e->child(0);
    return ef_.is_point_interval(interval) && is_at_start(ef_, interval->child(0)) &&
           assigned_fluent(e->child(1)) != nullptr;
  }

  // Null for what is no fluent of a flat problem.
  model::Fluent assigned_fluent(model::Expression assignment) const {
    model::Expression left = assignment->child(0);
    if (ef_.is_functional_apply(left)) left = ef_.get_reference_from_functional_apply(left);
    return ef_.is_fluent_reference(left) ? ef_.get_fluent_from_reference(left) : nullptr;
  }

  void note_assignments(model::Expression e) {
    has_node(ef_, e, [this](model::Expression n) {
      if (ef_.is_assign(n)) written_.insert(assigned_fluent(n));
      return false;
    });
  }

  model::ExpressionFactory& ef_;
  model::Domains domains_;
  std::unordered_set<model::Fluent> written_;
  std::unordered_map<model::Fluent, std::size_t> num_values_;
};

// Conditions on fluents that nothing writes are what tells the few executable instances of an
// action from the many that are none. The grounder tests constants while it builds the tuples, and
// looks at few of them. All values must be known: what reads a constant without a value is left
// out, also where the value does not matter.
bool tests_static_fluents(const ProblemInstance& problem) {
  const model::ExpressionFactory& ef = problem->environment().expression_factory();
  const StaticFluents fluents(problem);
  bool reads_known = false;
  bool reads_partly_known = false;
  for (const auto& [name, action] : problem->actions()) {
    for (const model::Expression e : action->expressions()) {
      has_node(ef, e, [&](model::Expression n) {
        if (!ef.is_fluent_reference(n)) return false;
        const model::Fluent& fluent = ef.get_fluent_from_reference(n);
        const bool is_known = fluents.has_all_values(fluent);
        reads_known = reads_known || (fluents.is_static(fluent) && is_known);
        reads_partly_known = reads_partly_known || (fluents.is_static(fluent) && !is_known);
        return false;
      });
    }
  }
  return reads_known && !reads_partly_known;
}

bool has_sets(const ProblemInstance& problem, const OwnCompilation& compilation) {
  return compilation.compiles_sets && problem->has_sets();
}

bool is_lifted(const ProblemInstance& problem, const OwnCompilation& compilation) {
  if (compilation.grounds_fluents) return !problem->is_ground(/*only_action=*/false);
  const bool must_be_ground = compilation.grounds_actions || has_sets(problem, compilation);
  return must_be_ground && !problem->is_ground(/*only_action=*/true);
}

// Fluents that nothing writes become constants where that makes durations constant, or grounding
// short.
bool gains_from_constants(const ProblemInstance& problem, const OwnCompilation& compilation) {
  if (!compilation.splits_durations || !compilation.promotes_constants) return false;
  if (has_fluents_in_durations(problem)) return true;
  return is_lifted(problem, compilation) && compilation.prune_actions &&
         tests_static_fluents(problem);
}

bool is_uncertain(const ProblemInstance& problem, const OwnCompilation&) {
  return problem->has_temporal_uncertainty();
}

bool splits_durations(const ProblemInstance&, const OwnCompilation& compilation) {
  return compilation.splits_durations;
}

bool reads_durations(const ProblemInstance& problem, const OwnCompilation& compilation) {
  return compilation.splits_durations && has_read_durations(problem);
}

template <typename T>
std::shared_ptr<BasicTransformer> make(const ProblemInstance& problem, const OwnCompilation&) {
  return std::make_shared<T>(problem);
}

std::shared_ptr<BasicTransformer> make_grounder(const ProblemInstance& problem,
                                                const OwnCompilation& compilation) {
  return std::make_shared<Grounder>(problem, compilation.grounds_fluents,
                                    compilation.prune_actions);
}

// The searches choose durations before they know the state in which an action starts.
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
    {gains_from_constants, make<ConstantPromoter>},
    {is_uncertain, make<TemporalUncertaintyCompiler>},
    {is_lifted, make_grounder},
    {has_sets, make<SetCompiler>},
    {reads_durations, make<ReadDurationsCompiler>},
    {splits_durations, make_empty_conditions},
    {splits_durations, make<PartialOrderCompiler>},
};

}  // namespace

void apply_own_compilation(TransformerChain& chain, const OwnCompilation& compilation) {
  for (const Step& step : steps) {
    chain.apply_if(step.is_needed(chain.problem(), compilation),
                   [&](const ProblemInstance& problem) { return step.make(problem, compilation); });
  }
}

}  // namespace kelvo
