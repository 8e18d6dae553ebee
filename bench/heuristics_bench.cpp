// The parts of one step of the search: a child with its network, and the heuristics.

#include <benchmark/benchmark.h>

#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "planners/ftp/events/search_network.h"
#include "planners/ftp/events/successor_generator.h"
#include "planners/ftp/relaxation/hadd.h"
#include "planners/ftp/relaxation/hmax.h"
#include "planners/own_compilation.h"
#include "shell/environment.h"
#include "transformers/transformer_chain.h"

namespace kelvo::ftp {
namespace {

/// Machines that each turn raw parts into done ones, two phases a part, all at once if need be.
std::string workshop(int num_machines) {
  std::ostringstream text;
  text << "type machine; instance machine m0";
  for (int i = 1; i < num_machines; ++i) text << ", m" << i;
  text << R"(;
    fluent boolean ready(machine m);
    fluent boolean halfway(machine m);
    fluent boolean done(machine m);
    fluent boolean power;
    action run(machine m) {
      duration >= 4 and duration <= 9;
      [start] ready(m);
      [start] ready(m) := false;
      [start + 1, end - 1] power;
      [start + 2] halfway(m) := true;
      [end] done(m) := true;
    };
    [start] power := true;
  )";
  for (int i = 0; i < num_machines; ++i) {
    text << "[start] ready(m" << i << ") := true; [start] halfway(m" << i
         << ") := false; [start] done(m" << i << ") := false; [end] done(m" << i << ");\n";
  }
  return text.str();
}

struct World {
  explicit World(int num_machines) {
    std::istringstream source(workshop(num_machines));
    OwnCompilation compilation;
    compilation.splits_durations = true;
    chain.emplace(AnmlParser(env).parse(source));
    apply_own_compilation(*chain, compilation);
    task = std::make_unique<CompiledTask>(chain->problem(), rational(1, 100));
    generator = std::make_unique<SuccessorGenerator>(*task, StepRules{});
    state = generator->make_initial_state();
  }

  /// The state with all machines running.
  void open_all() {
    for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < task->templates().size(); ++id) {
      if (generator->open_action(*state, id) == nullptr) continue;
      SearchState* child = generator->keep(*state);
      generator->release(state);
      state = child;
    }
  }

  Environment env;
  std::optional<TransformerChain> chain;
  std::unique_ptr<CompiledTask> task;
  std::unique_ptr<SuccessorGenerator> generator;
  SearchState* state = nullptr;
};

void BM_ChildByEvent(benchmark::State& bench) {
  World world(static_cast<int>(bench.range(0)));
  world.open_all();
  std::size_t list = 0;
  for (auto _ : bench) {
    benchmark::DoNotOptimize(world.generator->apply_event(*world.state, list));
    list = (list + 1) % world.state->num_todo;
  }
  bench.counters["open"] = world.state->num_todo;
}
BENCHMARK(BM_ChildByEvent)->Arg(5)->Arg(20);

// The network alone: the copy of the parent's and one step against all open lists.
void BM_NetworkChild(benchmark::State& bench) {
  World world(static_cast<int>(bench.range(0)));
  world.open_all();
  SearchNetwork network;
  for (auto _ : bench) {
    network.start_from(*world.state);
    const TimePoint at{2, 2.0};
    for (const TodoList& list : world.state->lists()) {
      benchmark::DoNotOptimize(network.add({list.node, 2.0}, at, 0.0));
      benchmark::DoNotOptimize(network.add({list.node + 1, -1.0}, at, 0.0));
    }
  }
}
BENCHMARK(BM_NetworkChild)->Arg(5)->Arg(20);

void BM_KeptChild(benchmark::State& bench) {
  World world(static_cast<int>(bench.range(0)));
  world.open_all();
  for (auto _ : bench) {
    world.generator->apply_event(*world.state, 0);
    world.generator->release(world.generator->keep(*world.state));
  }
}
BENCHMARK(BM_KeptChild)->Arg(5)->Arg(20);

template <typename H>
void BM_Heuristic(benchmark::State& bench) {
  World world(static_cast<int>(bench.range(0)));
  RelaxedTask relaxed(*world.task);
  H heuristic(relaxed);
  for (auto _ : bench) benchmark::DoNotOptimize(heuristic.evaluate(*world.state));
  bench.counters["relaxed"] = static_cast<double>(relaxed.actions().size());
}
BENCHMARK(BM_Heuristic<HAdd>)->Arg(10)->Arg(20)->Arg(40);
BENCHMARK(BM_Heuristic<HMax>)->Arg(10)->Arg(40);

}  // namespace
}  // namespace kelvo::ftp
