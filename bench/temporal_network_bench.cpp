#include "temporal/temporal_network.h"

#include <benchmark/benchmark.h>

#include <memory>

namespace kelvo {
namespace {

using Network = TemporalNetwork<int, double>;
using Interpreter = TNInterpreter<int>;

constexpr int START_PLAN = 0;
constexpr int END_PLAN = 1;

int start_of(int action) {
  return 2 + 2 * action;
}
int end_of(int action) {
  return 3 + 2 * action;
}

// As in a search: every action is opened in a network of its own, which extends the one before.
std::shared_ptr<Network> open_actions(Interpreter& interpreter, int num_actions) {
  std::shared_ptr<Network> last = Network::make();
  last->add_ge(interpreter, END_PLAN, START_PLAN, 0);
  last->make_immutable();
  for (int action = 0; action < num_actions; ++action) {
    last = Network::make(last);
    last->add_ge(interpreter, start_of(action), action == 0 ? START_PLAN : start_of(action - 1),
                 0.01);
    last->add_gt(interpreter, END_PLAN, end_of(action), 1.0);
    last->add_ge(interpreter, end_of(action), start_of(action), 5 + action % 3);
    last->add_le(interpreter, end_of(action), start_of(action), 5 + action % 3);
    last->make_immutable();
  }
  return last;
}

// One search step below a state with the given number of open actions: an end event is ordered
// behind the last event and before another end.
void network_child(benchmark::State& state) {
  const int num_actions = static_cast<int>(state.range(0));
  Interpreter interpreter;
  const std::shared_ptr<Network> parent = open_actions(interpreter, num_actions);
  int action = 0;
  for (auto _ : state) {
    const std::shared_ptr<Network> child = Network::make(parent);
    child->add_ge(interpreter, end_of(action), start_of(num_actions - 1), 0.01);
    child->add_ge(interpreter, end_of((action + 1) % num_actions), end_of(action), 0.01);
    child->make_immutable();
    benchmark::DoNotOptimize(child->check_feasibility());
    action = (action + 1) % num_actions;
  }
}
BENCHMARK(network_child)->Arg(5)->Arg(20)->Arg(80);

// The whole chain at one go, as when a plan is scheduled.
void schedule_chain(benchmark::State& state) {
  const int num_steps = static_cast<int>(state.range(0));
  for (auto _ : state) {
    Interpreter interpreter;
    const std::shared_ptr<Network> network = Network::make();
    for (int step = num_steps - 1; step >= 0; --step) {
      network->add_ge(interpreter, end_of(step), start_of(step), 5);
      network->add_le(interpreter, end_of(step), start_of(step), 5);
      if (step > 0) network->add_ge(interpreter, start_of(step), end_of(step - 1), 0.01);
    }
    benchmark::DoNotOptimize(network->get_min_makespan());
  }
  state.SetItemsProcessed(state.iterations() * num_steps);
}
BENCHMARK(schedule_chain)->Arg(100)->Arg(10000);

}  // namespace
}  // namespace kelvo
