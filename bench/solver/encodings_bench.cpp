// The solver on formulas of the shape that a planner poses, built through the public interface. The
// argument is family * 10000 + size * 100 + steps. `build` is the time to make the terms, `solve`
// to make and check them.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "bench/solver/programs/encodings.h"

namespace {

using ordax_bench::Instance;

void assert_encoding(const Instance& instance, const benchmark::State& state) {
  static const char* const FAMILIES[] = {"jobshop", "logistics", "counters", "cellar"};
  const auto code = static_cast<std::size_t>(state.range(0));
  ordax_bench::assert_encoding(instance, FAMILIES[code / 10000], static_cast<int>(code / 100 % 100),
                               static_cast<int>(code % 100));
}

void build(benchmark::State& state) {
  std::size_t calls = 0;
  for (auto _ : state) {
    const Instance instance;
    assert_encoding(instance, state);
    calls += instance.num_calls();
  }
  state.counters["seconds_per_call"] = benchmark::Counter(
      static_cast<double>(calls), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void solve(benchmark::State& state) {
  int answer = -1;
  for (auto _ : state) {
    const Instance instance;
    assert_encoding(instance, state);
    answer = ordax_solve(instance.env());
  }
  state.counters["answer"] = answer;
}

void create_and_destroy(benchmark::State& state) {
  for (auto _ : state) {
    const Instance instance;
    benchmark::DoNotOptimize(instance.env().repr);
  }
}

// New terms over the pairs of few others, as conditions of mutual exclusion are.
void make_connectives(benchmark::State& state) {
  constexpr std::size_t COUNT = 250;
  std::size_t calls = 0;
  for (auto _ : state) {
    const Instance s(Instance::Options{});
    std::vector<ordax_term> variables;
    for (std::size_t i = 0; i < COUNT; ++i) variables.push_back(s.boolean("p" + std::to_string(i)));
    for (const ordax_term a : variables) {
      for (const ordax_term b : variables) s.either(a, b);
    }
    calls += s.num_calls();
  }
  state.counters["seconds_per_call"] = benchmark::Counter(
      static_cast<double>(calls), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void make_difference_atoms(benchmark::State& state) {
  constexpr std::size_t COUNT = 100;
  std::size_t calls = 0;
  for (auto _ : state) {
    const Instance s(Instance::Options{});
    std::vector<ordax_term> times;
    std::vector<ordax_term> ends;
    for (std::size_t i = 0; i < COUNT; ++i) {
      times.push_back(s.real("t" + std::to_string(i)));
      ends.push_back(s.plus(times.back(), s.num(static_cast<int>(i % 9 + 1))));
    }
    for (const ordax_term end : ends) {
      for (const ordax_term time : times) s.leq(end, time);
    }
    calls += s.num_calls();
  }
  state.counters["seconds_per_call"] = benchmark::Counter(
      static_cast<double>(calls), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

BENCHMARK(create_and_destroy);
BENCHMARK(make_connectives)->Unit(benchmark::kMillisecond);
BENCHMARK(make_difference_atoms)->Unit(benchmark::kMillisecond);
BENCHMARK(build)->Arg(412)->Arg(10312)->Arg(20310)->Arg(30411)->Unit(benchmark::kMillisecond);
BENCHMARK(solve)->Arg(309)->Arg(409)->Arg(10208)->Arg(10310)->Arg(20207)->Arg(20309)->Unit(
    benchmark::kMillisecond);

}  // namespace
