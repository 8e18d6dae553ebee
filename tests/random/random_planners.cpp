// Random problems are solved by a planner; the validator judges the plan.
//
//   random_planners <mode>          runs as many seeds as KELVO_RANDOM_SCALE asks for (default 1)
//   random_planners <mode> <seed>   runs one seed and prints the problem and the plans
//
// Modes: with `ftp`, `guided` (the guided search of ftp) and `smt` each problem is solvable by
// construction, and the validator judges the plan that the generator knows, too. With `agree` and
// `agree_guided` nobody knows: ftp, or its guided search, and smt say whether there is a plan, as
// far as one proves that there is none, or the other one looks.
//
// Each seed runs in a process of its own with a limit of processor time: a search may be long, and
// a crash is one failed seed.

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "model/action.h"
#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "planners/ftp/ftp_planner.h"
#include "planners/task/problem_statements.h"
#include "plans/time_triggered_plan.h"
#include "plans/ttp_parser.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "smt/smt_planner.h"
#include "tests/random/problem_generator.h"
#include "tests/random/process_limits.h"
#include "validation/strict_judge.h"
#include "validation/tt_validator.h"

namespace kelvo::random_tests {

namespace {

/// How many seeds a mode runs, for how many milliseconds of processor time each, and how many of
/// them may be out of time: a blind search may be too long, and so may the last horizons before a
/// plan. What has no plan is refuted at once or not at all, so that comparisons get little time.
struct Budget {
  std::uint32_t num_seeds;
  long max_milliseconds;
  std::uint32_t max_percent_out_of_time;
};

bool is_comparison(const std::string& mode) {
  return mode == "agree" || mode == "agree_guided";
}

bool is_guided(const std::string& mode) {
  return mode == "guided" || mode == "agree_guided";
}

Budget budget_of(const std::string& mode) {
  if (mode == "smt") return {300, 2000, 5};
  if (is_comparison(mode)) return {150, 150, 25};
  if (mode == "guided") return {300, 2000, 5};
  return {200, 2000, 5};
}

/// The number of steps of the longest plans that `agree` looks for by smt.
constexpr std::size_t MAX_HORIZON = 9;

GeneratorFeatures features_of(const std::string& mode, std::uint32_t seed) {
  GeneratorFeatures features;
  features.parameters = seed % 2 == 0;
  features.structured = seed % 8 == 4;
  features.numbers = seed % 3 != 0;
  features.intermediate_times = seed % 5 != 0;
  features.free_durations = seed % 7 < 4;
  features.timed_statements = seed % 4 != 1;
  // The two planners read a goal without an interval in different states.
  features.untimed_goals = mode == "ftp" || mode == "guided";
  if (is_comparison(mode)) {
    features.arbitrary_goals = true;
    features.max_fluents = 3;
    features.max_actions = 2;
  }
  return features;
}

void set_options(const std::string& mode, std::uint32_t seed, Configuration& configuration) {
  if (is_guided(mode)) {
    configuration.set_value("ftp-search", "guided");
    configuration.set_value("ftp-improve", seed % 3 == 0 ? 50L : 0L);
    return;
  }
  static constexpr std::array<const char*, 4> heuristics = {"hadd", "hmax", "blind", "hsize"};
  configuration.set_value("ftp-heuristic", heuristics[seed / 2 % heuristics.size()]);
  configuration.set_value("ftp-weak-equality", seed % 6 == 1);
  configuration.set_value("ftp-deordering", seed % 6 == 2);
}

bool is_valid(Environment& env, const model::ProblemInstance& problem,
              const std::shared_ptr<TimeTriggeredPlan>& plan) {
  return TTValidator(env, problem).validate(plan) &&
         StrictJudge(env, problem).judge(*plan).is_valid();
}

std::shared_ptr<Plan> solve(Environment& env, const model::ProblemInstance& problem,
                            const std::string& algorithm) {
  return algorithm == "smt" ? smt::SmtPlanner(env, problem).solve()
                            : ftp::FtpPlanner(env, problem).solve();
}

/// What there is to complain about, else whether there is a plan.
struct Verdict {
  std::string complaint;
  bool has_plan = false;
};

/// An empty text if the plan is valid.
std::string complaint_about(Environment& env, const model::ProblemInstance& problem,
                            const std::shared_ptr<Plan>& found, bool verbose) {
  const auto plan = std::make_shared<TimeTriggeredPlan>(found);
  if (verbose) std::cout << ";; A plan has been found:\n" << *plan;
  if (is_valid(env, problem, plan)) return "";
  std::ostringstream text;
  text << "the plan is not valid:\n" << *plan;
  return text.str();
}

/// The planner finds a plan, as good as the one that is known.
Verdict check_solution(Environment& env, const model::ProblemInstance& problem,
                       const std::string& algorithm, const std::string& known_plan, bool verbose) {
  std::istringstream witness(known_plan);
  if (!is_valid(env, problem, TTPParser(env, problem).parse(witness))) {
    return {"the witness is not valid"};
  }
  const std::shared_ptr<Plan> found = solve(env, problem, algorithm);
  if (found == nullptr) return {"no plan was found"};
  return {complaint_about(env, problem, found, verbose), true};
}

/// A number of steps with which smt can state the plan: the first and the last one, and one for
/// each timed effect of the problem, each start of an action and each of its effects.
std::size_t sufficient_horizon(const model::ProblemInstance& problem,
                               const std::shared_ptr<Plan>& found) {
  std::size_t horizon = 2 + ProblemStatements(problem).timed_literals.size();
  const TimeTriggeredPlan plan(found);
  for (const auto& [time, steps] : plan.plan()) {
    for (const auto& step : steps) horizon += 1 + step->action()->expressions().size();
  }
  return horizon;
}

/// Both planners agree on whether there is a plan, as far as both can tell.
Verdict check_agreement(Environment& env, const model::ProblemInstance& problem, bool verbose) {
  env.configuration().set_value("smt-max-horizon", static_cast<long>(MAX_HORIZON + 1));
  const std::shared_ptr<Plan> bounded = solve(env, problem, "smt");
  if (bounded != nullptr) {
    const std::string complaint = complaint_about(env, problem, bounded, verbose);
    if (!complaint.empty()) return {"smt: " + complaint};
  }
  const std::shared_ptr<Plan> searched = solve(env, problem, "ftp");
  if (searched == nullptr) {
    return {bounded == nullptr ? "" : "smt alone finds a plan", bounded != nullptr};
  }
  const std::string complaint = complaint_about(env, problem, searched, verbose);
  if (!complaint.empty()) return {"ftp: " + complaint};
  const bool both = bounded != nullptr || sufficient_horizon(problem, searched) > MAX_HORIZON;
  return {both ? "" : "ftp alone finds a plan", true};
}

enum class Outcome { SOLVED, UNSOLVABLE, BAD, OUT_OF_TIME };

Outcome run_seed(const std::string& mode, std::uint32_t seed, bool verbose) {
  const GeneratedProblem generated = generate_problem(seed, features_of(mode, seed));
  if (verbose) std::cout << generated.anml << ";; The generator's plan:\n" << generated.witness;
  Verdict verdict;
  try {
    Environment env;
    set_options(mode, seed, env.configuration());
    env.configuration().set_value("rational-precision", true);
    std::istringstream anml(generated.anml);
    const model::ProblemInstance problem = AnmlParser(env).parse(anml);
    verdict = is_comparison(mode) ? check_agreement(env, problem, verbose)
                                  : check_solution(env, problem, mode, generated.witness, verbose);
  } catch (const std::exception& error) {
    verdict.complaint = error.what();
  }
  if (verdict.complaint.empty()) return verdict.has_plan ? Outcome::SOLVED : Outcome::UNSOLVABLE;
  std::cerr << "seed " << seed << ": " << verdict.complaint << "\n";
  return Outcome::BAD;
}

Outcome run_seed_apart(const std::string& mode, std::uint32_t seed) {
  const pid_t child = fork();
  if (child == 0) {
    limit_process(budget_of(mode).max_milliseconds);
    _exit(static_cast<int>(run_seed(mode, seed, /*verbose=*/false)));
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return Outcome::BAD;
  if (WIFEXITED(status)) return static_cast<Outcome>(WEXITSTATUS(status));
  if (WTERMSIG(status) == SIGPROF || WTERMSIG(status) == SIGKILL) return Outcome::OUT_OF_TIME;
  std::cerr << "seed " << seed << ": ended by signal " << WTERMSIG(status) << "\n";
  return Outcome::BAD;
}

int run_all(const std::string& mode) {
  const char* scale = std::getenv("KELVO_RANDOM_SCALE");
  const int factor = scale == nullptr ? 1 : std::max(1, std::atoi(scale));
  const Budget budget = budget_of(mode);
  const std::uint32_t num_seeds = budget.num_seeds * static_cast<std::uint32_t>(factor);
  std::map<Outcome, std::uint32_t> counts;
  for (std::uint32_t seed = 1; seed <= num_seeds; ++seed) {
    const Outcome outcome = run_seed_apart(mode, seed);
    ++counts[outcome];
    if (outcome == Outcome::OUT_OF_TIME) std::cerr << "seed " << seed << ": out of time\n";
  }
  std::cout << num_seeds << " problems: " << counts[Outcome::SOLVED] << " solved by valid plans, "
            << counts[Outcome::UNSOLVABLE] << " without a plan, " << counts[Outcome::OUT_OF_TIME]
            << " out of time, " << counts[Outcome::BAD] << " wrong\n";
  const bool too_slow =
      counts[Outcome::OUT_OF_TIME] * 100 > num_seeds * budget.max_percent_out_of_time;
  // A comparison that never met both answers has compared nothing.
  const bool is_telling =
      counts[Outcome::SOLVED] > 0 && (!is_comparison(mode) || counts[Outcome::UNSOLVABLE] > 0);
  return counts[Outcome::BAD] == 0 && !too_slow && is_telling ? 0 : 1;
}

}  // namespace

}  // namespace kelvo::random_tests

int main(int argc, char** argv) {
  using namespace kelvo::random_tests;
  const std::string mode = argc < 2 ? "" : argv[1];
  if (mode != "ftp" && mode != "guided" && mode != "smt" && !is_comparison(mode)) {
    std::cerr << "usage: random_planners ftp|guided|smt|agree|agree_guided [<seed>]\n";
    return 1;
  }
  if (argc < 3) return run_all(mode);
  kelvo::Log::set_stream(std::cerr);
  kelvo::Log::set_reporting_level(kelvo::LogLevel::DEBUG);
  const auto seed = static_cast<std::uint32_t>(std::atol(argv[2]));
  return run_seed(mode, seed, /*verbose=*/true) == Outcome::BAD ? 1 : 0;
}
