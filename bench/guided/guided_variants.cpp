// Runs the guided search on a PDDL problem with some of its ideas left out, and prints one line:
//
//   guided_variants DOMAIN PROBLEM [--improve=N] [--without-X ...]
//
// X: compression, duplicates, relaxed-plan, preferred, landmarks, symmetry, numeric, times.
// --ties-latest, --exact-duplicates and --boost are other ways. The line has: plan or
// none, the CPU seconds of the planner without the reader, states evaluated, generated and
// expanded, and the makespan.

#include <algorithm>
#include <ctime>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "model/problem_instance.h"
#include "parsers/pddl/pddl_parser.h"
#include "planners/ftp/steps/staged_search.h"
#include "planners/own_compilation.h"
#include "plans/time_triggered_plan.h"
#include "shell/environment.h"
#include "shell/numbers.h"
#include "transformers/transformer_chain.h"

namespace kelvo::ftp {

namespace {

using Variant = void (*)(GuidedOptions&);

const std::map<std::string, Variant>& variants() {
  static const std::map<std::string, Variant> all = {
      {"--without-compression", [](GuidedOptions& o) { o.compression = Compression::NONE; }},
      {"--without-duplicates", [](GuidedOptions& o) { o.duplicates = Duplicates::NONE; }},
      {"--exact-duplicates", [](GuidedOptions& o) { o.duplicates = Duplicates::EXACT; }},
      {"--without-relaxed-plan", [](GuidedOptions& o) { o.heuristic.counts_relaxed_plan = false; }},
      {"--without-preferred", [](GuidedOptions& o) { o.preferred_operators = false; }},
      {"--without-landmarks", [](GuidedOptions& o) { o.landmarks = false; }},
      {"--without-symmetry", [](GuidedOptions& o) { o.symmetry = false; }},
      {"--ties-latest", [](GuidedOptions& o) { o.heuristic.ties = LiteralQueue::Ties::LATEST; }},
      {"--without-times", [](GuidedOptions& o) { o.heuristic.earliest_supporters = false; }},
      {"--without-time-weight", [](GuidedOptions& o) { o.time_weight = 0; }},
      {"--boost", [](GuidedOptions& o) { o.boost = 1000; }},
      {"--without-numeric", [](GuidedOptions& o) { o.heuristic.numeric_supporters = false; }},
  };
  return all;
}

double cpu_seconds() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

rational makespan_of(const TimeTriggeredPlan& plan) {
  rational result = 0;
  for (const auto& [time, steps] : plan.plan()) {
    for (const auto& step : steps) result = std::max(result, rational(time + step->duration()));
  }
  return result;
}

int run(const std::vector<std::string>& arguments) {
  GuidedOptions options;
  std::size_t num_improvements = 0;
  std::stringstream text;
  for (const std::string& argument : arguments) {
    if (const auto variant = variants().find(argument); variant != variants().end()) {
      variant->second(options);
    } else if (argument.starts_with("--improve=")) {
      num_improvements = std::stoul(argument.substr(10));
    } else {
      text << std::ifstream(argument).rdbuf() << "\n";
    }
  }
  Environment env;
  const model::ProblemInstance problem = PddlParser(env).parse(text);
  const double begin = cpu_seconds();
  OwnCompilation compilation;
  compilation.splits_durations = true;
  TransformerChain chain(problem);
  apply_own_compilation(chain, compilation);
  CompiledTask task(chain.problem(), rational(1, 100));
  GuidedPlanner planner(task, options, num_improvements);
  const std::shared_ptr<TimeTriggeredPlan> plan = planner.find_plan();
  const GuidedStatistics& statistics = planner.statistics();
  std::cout << (plan == nullptr ? "none" : "plan") << " " << cpu_seconds() - begin << " "
            << statistics.num_evaluated << " " << statistics.num_generated << " "
            << statistics.num_expanded << " "
            << (plan == nullptr ? 0.0 : to_double(makespan_of(*plan))) << "\n";
  return 0;
}

}  // namespace

}  // namespace kelvo::ftp

int main(int argc, char** argv) {
  return kelvo::ftp::run(std::vector<std::string>(argv + 1, argv + argc));
}
