#include <benchmark/benchmark.h>

#include <sstream>
#include <string>

#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "shell/environment.h"
#include "transformers/empty_conditions_compiler.h"
#include "transformers/grounder.h"
#include "transformers/partial_order_compiler.h"

namespace kelvo {
namespace {

// `move(T a, T b, T c)` over `size` instances with one static condition on two of the parameters,
// which as many pairs meet as there are instances.
std::string chain_problem(int size) {
  std::ostringstream text;
  text << "type T;\n";
  for (int i = 0; i < size; ++i) text << "instance T t" << i << ";\n";
  text << "constant boolean link(T a, T b);\nlink(*) := false;\n";
  for (int i = 0; i < size; ++i) {
    text << "link(t" << i << ", t" << (i + 1) % size << ") := true;\n";
  }
  text << "fluent boolean at(T t);\nfluent boolean has(T t);\n"
          "action move(T a, T b, T c) {\n"
          "  duration := 5;\n  [start] link(a, b);\n  [start] at(a);\n  [all] has(c);\n"
          "  [start] at(a) := false;\n  [end] at(b) := true;\n};\n";
  return text.str();
}

model::ProblemInstance parse(Environment& env, const std::string& text) {
  std::istringstream source(text);
  source.unsetf(std::ios::skipws);
  return AnmlParser(env).parse(source);
}

// size^3 combinations, size^2 survivors.
void BM_GroundStaticCondition(benchmark::State& state) {
  const std::string text = chain_problem(static_cast<int>(state.range(0)));
  std::size_t actions = 0;
  for (auto _ : state) {
    state.PauseTiming();
    {
      Environment env;
      const model::ProblemInstance problem = parse(env, text);
      state.ResumeTiming();
      Grounder grounder(problem);
      actions = grounder.output_problem()->actions().size();
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
  state.counters["actions"] = static_cast<double>(actions);
}
BENCHMARK(BM_GroundStaticCondition)->Arg(20)->Arg(100)->Unit(benchmark::kMillisecond);

// What the splitting by durations costs behind the grounder.
void BM_SplitDurations(benchmark::State& state) {
  Environment env;
  Grounder grounder(parse(env, chain_problem(static_cast<int>(state.range(0)))));
  const model::ProblemInstance ground = grounder.output_problem();
  for (auto _ : state) {
    EmptyConditionsCompiler empty_conditions(ground);
    PartialOrderCompiler partial_order(empty_conditions.output_problem());
    benchmark::DoNotOptimize(partial_order.output_problem());
  }
}
BENCHMARK(BM_SplitDurations)->Arg(20)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelvo
