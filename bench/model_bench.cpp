// Nodes, walkers and evaluators.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "model/all_values_evaluator.h"
#include "model/expression_evaluator.h"
#include "model/expression_factory.h"
#include "model/expression_free_vars.h"
#include "model/expression_simplifier.h"
#include "model/expression_substituter.h"
#include "model/expression_type_checker.h"
#include "model/model_factory.h"
#include "model/to_dnf.h"
#include "model/to_nnf.h"
#include "shell/environment.h"

namespace kelvo::model {
namespace {

/// Integer fluents and comparisons over them.
struct World {
  explicit World(std::int64_t num_fluents) {
    for (std::int64_t i = 0; i < num_fluents; ++i) {
      fluents.push_back(env.model_factory().make_fluent("x" + std::to_string(i),
                                                        env.model_factory().make_integer_type()));
      references.push_back(ef.make_fluent_reference(fluents.back()));
    }
  }

  /// x0 + 1 < x1 and x1 + 1 < x2 and ...
  Expression chain() {
    std::vector<Expression> conjuncts;
    const Expression one = ef.make_integer_constant(1);
    for (std::size_t i = 0; i + 1 < references.size(); ++i) {
      const Expression next = ef.make_plus(references[i], one);
      conjuncts.push_back(ef.make_lt(next, references[i + 1]));
    }
    return ef.make_and(conjuncts);
  }

  Environment env;
  ExpressionFactory& ef = env.expression_factory();
  std::vector<Fluent> fluents;
  std::vector<Expression> references;
};

void make_new_nodes(benchmark::State& state) {
  World world(1);
  Expression e = world.references[0];
  for (auto step : state) e = world.ef.make_not(e);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(make_new_nodes)->Iterations(2000000);

void make_known_node(benchmark::State& state) {
  World world(2);
  for (auto step : state) {
    benchmark::DoNotOptimize(world.ef.make_plus(world.references[0], world.references[1]));
  }
}
BENCHMARK(make_known_node);

void make_known_integer(benchmark::State& state) {
  World world(1);
  const integer value = 12345;
  for (auto step : state) benchmark::DoNotOptimize(world.ef.make_integer_constant(value));
}
BENCHMARK(make_known_integer);

/// One fresh walk of `Walker` over a chain, by the number of fluents; items are distinct nodes.
template <typename Walker, typename... Args>
void walk(benchmark::State& state, World& world, const Args&... args) {
  const Expression e = world.chain();
  for (auto step : state) benchmark::DoNotOptimize(Walker(world.env, args...)(e));
  state.SetItemsProcessed(state.iterations() * 3 * state.range(0));
}

void walk_identity(benchmark::State& state) {
  World world(state.range(0));
  walk<ExpressionIdentity>(state, world);
}
BENCHMARK(walk_identity)->Arg(10)->Arg(1000);

void walk_substituter(benchmark::State& state) {
  World world(state.range(0));
  const ExpressionSubstituter::Substitution swap = {{world.references[0], world.references[1]}};
  walk<ExpressionSubstituter>(state, world, swap);
}
BENCHMARK(walk_substituter)->Arg(10)->Arg(1000);

void walk_simplifier(benchmark::State& state) {
  World world(state.range(0));
  walk<ExpressionSimplifier>(state, world);
}
BENCHMARK(walk_simplifier)->Arg(10)->Arg(1000);

void walk_type_checker(benchmark::State& state) {
  World world(state.range(0));
  walk<ExpressionTypeChecker>(state, world);
}
BENCHMARK(walk_type_checker)->Arg(10)->Arg(1000);

void walk_free_vars(benchmark::State& state) {
  World world(state.range(0));
  walk<ExpressionFreeVars>(state, world);
}
BENCHMARK(walk_free_vars)->Arg(10)->Arg(1000);

void walk_normal_forms(benchmark::State& state) {
  World world(state.range(0));
  const Expression e = world.ef.make_not(world.ef.make_not(world.chain()));
  for (auto step : state) {
    const Expression nnf = ToNNF(world.env)(e);
    benchmark::DoNotOptimize(ToDNF(world.env)(nnf));
  }
}
BENCHMARK(walk_normal_forms)->Arg(10)->Arg(1000);

void evaluate_state(benchmark::State& state) {
  World world(state.range(0));
  ExpressionEvaluator::Index index;
  ExpressionEvaluator::Values values;
  for (const Expression reference : world.references) {
    index.emplace(reference, values.size());
    values.push_back(world.ef.make_integer_constant(2 * values.size()));
  }
  const Expression e = world.chain();
  for (auto step : state) {
    benchmark::DoNotOptimize(ExpressionEvaluator(world.env, index, values)(e));
  }
}
BENCHMARK(evaluate_state)->Arg(10)->Arg(1000);

void evaluate_all_values(benchmark::State& state) {
  World world(state.range(0));
  AllValuesEvaluator::Assignments assignments;
  for (const Expression reference : world.references) {
    for (int i = 0; i < 4; ++i) {
      assignments[reference].insert(world.ef.make_integer_constant(i));
    }
  }
  const Expression e = world.chain();
  for (auto step : state) {
    benchmark::DoNotOptimize(AllValuesEvaluator(world.env, assignments)(e));
  }
}
BENCHMARK(evaluate_all_values)->Arg(10)->Arg(1000);

}  // namespace
}  // namespace kelvo::model
