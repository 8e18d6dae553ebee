// Random problems, each of which is solvable by construction, are solved by a planner; the
// validator judges the plan, and the plan that the generator knows.
//
//   random_planners ftp|smt          runs as many seeds as KELVO_RANDOM_SCALE asks for (default 1)
//   random_planners ftp|smt <seed>   runs one seed and prints the problem and the plans
//
// Each seed runs in a process of its own with a limit of processor time: a search may be long, and
// a crash is one failed seed.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <sstream>
#include <string>

#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "planners/ftp/ftp_planner.h"
#include "plans/time_triggered_plan.h"
#include "plans/ttp_parser.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "smt/smt_planner.h"
#include "tests/random/problem_generator.h"
#include "validation/tt_validator.h"

namespace kelvo::random_tests {

namespace {

/// How many seeds a planner runs, for how many seconds of processor time each, and how many of them
/// may be out of time: a blind search may be too long, and so may the last horizons before a plan.
struct Budget {
  std::uint32_t num_seeds;
  rlim_t max_seconds;
  std::uint32_t max_percent_out_of_time;
};

Budget budget_of(const std::string& algorithm) {
  if (algorithm == "smt") return {40, 3, 60};
  return {60, 5, 10};
}

GeneratorFeatures features_of(std::uint32_t seed) {
  GeneratorFeatures features;
  features.parameters = seed % 2 == 0;
  features.structured = seed % 8 == 4;
  features.numbers = seed % 3 != 0;
  features.intermediate_times = seed % 5 != 0;
  features.free_durations = seed % 7 < 4;
  features.timed_statements = seed % 4 != 1;
  return features;
}

void set_options(std::uint32_t seed, Configuration& configuration) {
  static constexpr std::array<const char*, 4> heuristics = {"hadd", "hmax", "blind", "hsize"};
  configuration.set_value("ftp-heuristic", heuristics[seed / 2 % heuristics.size()]);
  configuration.set_value("ftp-weak-equality", seed % 6 == 1);
  configuration.set_value("ftp-deordering", seed % 6 == 2);
}

bool is_valid(Environment& env, const model::ProblemInstance& problem,
              const std::shared_ptr<TimeTriggeredPlan>& plan) {
  return TTValidator(env, problem).validate(plan);
}

/// An empty text if all is well.
std::string complaint_about(const std::string& algorithm, std::uint32_t seed,
                            const GeneratedProblem& generated, bool verbose) {
  Environment env;
  set_options(seed, env.configuration());
  env.configuration().set_value("rational-precision", true);
  std::istringstream anml(generated.anml);
  const model::ProblemInstance problem = AnmlParser(env).parse(anml);
  std::istringstream witness(generated.witness);
  if (!is_valid(env, problem, TTPParser(env, problem).parse(witness))) {
    return "the witness is not valid";
  }
  const std::shared_ptr<Plan> found = algorithm == "smt" ? smt::SmtPlanner(env, problem).solve()
                                                         : ftp::FtpPlanner(env, problem).solve();
  if (found == nullptr) return "no plan was found";
  const auto plan = std::make_shared<TimeTriggeredPlan>(found);
  if (verbose) std::cout << ";; A plan has been found:\n" << *plan;
  if (is_valid(env, problem, plan)) return "";
  std::ostringstream text;
  text << "the plan is not valid:\n" << *plan;
  return text.str();
}

/// Runs in the child: true if all is well.
bool run_seed(const std::string& algorithm, std::uint32_t seed, bool verbose) {
  const GeneratedProblem generated = generate_problem(seed, features_of(seed));
  if (verbose) std::cout << generated.anml << ";; The generator's plan:\n" << generated.witness;
  std::string complaint;
  try {
    complaint = complaint_about(algorithm, seed, generated, verbose);
  } catch (const std::exception& error) {
    complaint = error.what();
  }
  if (complaint.empty()) return true;
  std::cerr << "seed " << seed << ": " << complaint << "\n";
  return false;
}

enum class Outcome { GOOD, BAD, OUT_OF_TIME };

Outcome run_seed_apart(const std::string& algorithm, std::uint32_t seed) {
  const pid_t child = fork();
  if (child == 0) {
    const rlim_t max_seconds = budget_of(algorithm).max_seconds;
    const rlimit limit = {max_seconds, max_seconds + 1};
    setrlimit(RLIMIT_CPU, &limit);
    _exit(run_seed(algorithm, seed, /*verbose=*/false) ? 0 : 1);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return Outcome::BAD;
  if (WIFEXITED(status)) return WEXITSTATUS(status) == 0 ? Outcome::GOOD : Outcome::BAD;
  if (WTERMSIG(status) == SIGXCPU || WTERMSIG(status) == SIGKILL) return Outcome::OUT_OF_TIME;
  std::cerr << "seed " << seed << ": ended by signal " << WTERMSIG(status) << "\n";
  return Outcome::BAD;
}

int run_all(const std::string& algorithm) {
  const char* scale = std::getenv("KELVO_RANDOM_SCALE");
  const int factor = scale == nullptr ? 1 : std::max(1, std::atoi(scale));
  const std::uint32_t num_seeds =
      budget_of(algorithm).num_seeds * static_cast<std::uint32_t>(factor);
  std::uint32_t num_good = 0;
  std::uint32_t num_out_of_time = 0;
  for (std::uint32_t seed = 1; seed <= num_seeds; ++seed) {
    const Outcome outcome = run_seed_apart(algorithm, seed);
    if (outcome == Outcome::GOOD) ++num_good;
    if (outcome == Outcome::OUT_OF_TIME) {
      ++num_out_of_time;
      std::cerr << "seed " << seed << ": out of time\n";
    }
  }
  std::cout << num_good << " of " << num_seeds << " problems solved by valid plans, "
            << num_out_of_time << " out of time\n";
  const bool too_slow =
      num_out_of_time * 100 > num_seeds * budget_of(algorithm).max_percent_out_of_time;
  return num_good + num_out_of_time == num_seeds && !too_slow ? 0 : 1;
}

}  // namespace

}  // namespace kelvo::random_tests

int main(int argc, char** argv) {
  using namespace kelvo::random_tests;
  const std::string algorithm = argc < 2 ? "" : argv[1];
  if (algorithm != "ftp" && algorithm != "smt") {
    std::cerr << "usage: random_planners ftp|smt [<seed>]\n";
    return 1;
  }
  if (argc < 3) return run_all(algorithm);
  kelvo::Log::set_stream(std::cerr);
  kelvo::Log::set_reporting_level(kelvo::LogLevel::DEBUG);
  const auto seed = static_cast<std::uint32_t>(std::atol(argv[2]));
  return run_seed(algorithm, seed, /*verbose=*/true) ? 0 : 1;
}
