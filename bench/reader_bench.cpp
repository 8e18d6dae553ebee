// Reading a large problem: scanner, parser, name resolution and type checks, start to end.

#include <benchmark/benchmark.h>

#include <sstream>
#include <string>

#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "shell/environment.h"

namespace {

constexpr int kRobots = 300;
constexpr int kPlaces = 1000;

// Declares `count` objects of a type.
std::string instances(const std::string& type, const std::string& prefix, int count) {
  std::string text = "instance " + type + " ";
  for (int i = 0; i < count; ++i) text += (i == 0 ? "" : ", ") + prefix + std::to_string(i);
  return text + ";\n";
}

// Initial values, timed effects and goals over windows, about 40 characters a statement.
std::string world(int num_statements) {
  std::string text = "type Place; type Robot;\n" + instances("Robot", "r", kRobots) +
                     instances("Place", "l", kPlaces) +
                     "fluent boolean at(Robot r, Place l); fluent integer level(Robot r);\n"
                     "fluent boolean p;\n";
  for (int i = 0; i < num_statements; ++i) {
    const std::string robot = "r" + std::to_string(i % kRobots);
    const std::string place = "l" + std::to_string(i / kRobots % kPlaces);
    const std::string at = "at(" + robot + ", " + place + ")";
    const std::string time = std::to_string(i % 977);
    if (i % 5 == 4) {
      text += "[start + " + time + ", end) " + at + " or p or level(" + robot +
              ") <= " + std::to_string(i % 50) + ";\n";
    } else if (i % 5 == 3) {
      text += "[start + " + time + ".5] " + at + " := true;\n";
    } else {
      text += "[start] " + at + " := " + (i % 2 == 0 ? "false" : "true") + ";\n";
    }
  }
  return text;
}

// A table of a constant.
std::string table(int num_entries) {
  std::string text = "type Place;\n" + instances("Place", "l", kPlaces) +
                     "constant integer distance(Place a, Place b);\n";
  for (int i = 0; i < num_entries; ++i) {
    text += "distance(l" + std::to_string(i % kPlaces) + ", l" + std::to_string(i / kPlaces) +
            ") := " + std::to_string(i) + ";\n";
  }
  return text;
}

void read(benchmark::State& state, const std::string& text) {
  for (auto _ : state) {
    kelvo::Environment env;
    std::istringstream source(text);
    benchmark::DoNotOptimize(kelvo::AnmlParser(env).parse(source));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void BM_ReadStatements(benchmark::State& state) {
  read(state, world(static_cast<int>(state.range(0))));
}
BENCHMARK(BM_ReadStatements)->Arg(25000)->Arg(250000)->Unit(benchmark::kMillisecond);

void BM_ReadTable(benchmark::State& state) {
  read(state, table(static_cast<int>(state.range(0))));
}
BENCHMARK(BM_ReadTable)->Arg(40000)->Arg(400000)->Unit(benchmark::kMillisecond);

}  // namespace
