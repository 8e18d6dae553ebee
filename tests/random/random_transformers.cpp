// Small random problems go through chains of transformers. A plan that a planner finds for the
// output must, mapped back, be valid for the input; input and output must agree on whether
// there is a plan; the output must print the same text twice; and a plan for uncertain durations
// must be valid for whatever durations the environment chooses.
//
//   random_transformers            runs as many seeds as KELVO_RANDOM_SCALE asks for (default 1)
//   random_transformers <seed>     runs one seed and prints the problems; a number behind it picks
//                                  one chain

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "model/action.h"
#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "planners/ftp/ftp_planner.h"
#include "plans/time_triggered_plan.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "smt/smt_planner.h"
#include "tests/random/process_limits.h"
#include "tests/random/random.h"
#include "tests/random/transformer_problems.h"
#include "transformers/bounder.h"
#include "transformers/constant_promoter.h"
#include "transformers/contains_compiler.h"
#include "transformers/empty_conditions_compiler.h"
#include "transformers/flattener.h"
#include "transformers/grounder.h"
#include "transformers/intermediate_effects_compiler.h"
#include "transformers/partial_order_compiler.h"
#include "transformers/set_compiler.h"
#include "transformers/temporal_uncertainty_compiler.h"
#include "transformers/usertype_fluents_compiler.h"
#include "validation/strict_judge.h"
#include "validation/tt_validator.h"

namespace kelvo::random_tests {

namespace {

constexpr std::uint32_t NUM_SEEDS = 16;
constexpr long MAX_MILLISECONDS = 400;
constexpr long MAX_HORIZON = 10;  // of the SMT planner
constexpr rlim_t MAX_MEMORY = 1UL << 30;

using Problem = model::ProblemInstance;
using Transformer = std::shared_ptr<BasicTransformer>;
using Maker = Transformer (*)(const Problem&);

template <typename T>
Transformer make(const Problem& problem) {
  return std::make_shared<T>(problem);
}

Transformer make_full_grounder(const Problem& problem) {
  return std::make_shared<Grounder>(problem, /*ground_all=*/true);
}

Transformer make_inner_times_compiler(const Problem& problem) {
  return std::make_shared<IntermediateEffectsCompiler>(problem, rational(1, 100));
}

Problem parse(Environment& env, const std::string& text) {
  std::istringstream source(text);
  source.unsetf(std::ios::skipws);
  return AnmlParser(env).parse(source);
}

Transformer make_bounder(const Problem& problem) {
  const Problem bounding =
      parse(problem->environment(), delivery_problem(1, {.spare_objects = true}));
  return std::make_shared<Bounder>(problem, bounding);
}

struct Chain {
  const char* name;
  std::function<std::string(std::uint32_t)> generate;
  std::vector<Maker> makers;
  /// The search can decide the input as well.
  bool decides_input = true;
  /// The search cannot decide the output when it has no plan.
  bool opens_output = false;
};

const std::vector<Chain>& chains() {
  const auto delivery = [](const Form& form) {
    return [form](std::uint32_t seed) { return delivery_problem(seed, form); };
  };
  static const std::vector<Chain> all = {
      {"flattener", delivery({.structured = true}), {make<Flattener>}},
      {"promoter, flattener",
       delivery({.structured = true}),
       {make<ConstantPromoter>, make<Flattener>}},
      {"grounder", delivery({}), {make<Grounder>}},
      {"full grounder", delivery({}), {make_full_grounder}},
      {"promoter, grounder", delivery({}), {make<ConstantPromoter>, make<Grounder>}},
      {"user-type fluents", delivery({}), {make<Grounder>, make<UserTypeFluentsCompiler>}},
      {"sets", delivery({.sets = true}), {make<Grounder>, make<SetCompiler>}},
      {"structured sets",
       delivery({.structured = true, .sets = true}),
       {make<Flattener>, make<Grounder>, make<SetCompiler>}},
      {"versions",
       delivery({.durations = Form::FREE}),
       {make<Grounder>, make<EmptyConditionsCompiler>, make<PartialOrderCompiler>}},
      {"bounder", delivery({}), {make_bounder}},
      {"contains", delivery({.visits = true}), {make<ContainsCompiler>}, /*decides_input=*/false},
      // Nothing keeps a clip from being opened again and again.
      {"inner times", inner_times_problem, {make_inner_times_compiler}, true, true},
  };
  return all;
}

Problem apply(const Chain& chain, Problem problem, std::vector<Transformer>& applied) {
  for (const Maker maker : chain.makers) {
    applied.push_back(maker(problem));
    problem = applied.back()->output_problem();
  }
  return problem;
}

std::string output_text(const Chain& chain, const std::string& text) {
  Environment env;
  std::vector<Transformer> applied;
  std::ostringstream printed;
  printed << apply(chain, parse(env, text), applied);
  return printed.str();
}

bool is_valid(Environment& env, const Problem& problem,
              const std::shared_ptr<TimeTriggeredPlan>& plan) {
  return TTValidator(env, problem).validate(plan) &&
         StrictJudge(env, problem).judge(*plan).is_valid();
}

/// What there is to complain about, else whether there is a plan.
struct Verdict {
  std::string complaint;
  bool has_plan = false;
};

Verdict judge(const Chain& chain, const std::string& text) {
  if (output_text(chain, text) != output_text(chain, text)) return {"two outputs differ"};
  Environment env;
  const Problem input = parse(env, text);
  std::vector<Transformer> applied;
  const Problem output = apply(chain, input, applied);
  // The standard search would need too long for many of the problems.
  env.configuration().set_value("ftp-search", "guided");
  env.configuration().set_value("smt-max-horizon", MAX_HORIZON);
  const std::shared_ptr<Plan> direct =
      chain.decides_input ? ftp::FtpPlanner(env, input).solve() : nullptr;
  const bool is_bounded = chain.opens_output && direct == nullptr;
  std::shared_ptr<Plan> plan =
      is_bounded ? smt::SmtPlanner(env, output).solve() : ftp::FtpPlanner(env, output).solve();
  if (chain.decides_input) {
    if (plan == nullptr && direct != nullptr) return {"only the input has a plan"};
    if (plan != nullptr && direct == nullptr) return {"only the output has a plan"};
  }
  if (plan == nullptr) return {};
  std::ranges::for_each(applied.rbegin(), applied.rend(),
                        [&plan](const Transformer& t) { plan = t->map_back(plan); });
  const auto mapped = std::make_shared<TimeTriggeredPlan>(plan);
  if (is_valid(env, input, mapped)) return {"", true};
  std::ostringstream complaint;
  complaint << "the plan mapped back is not valid:\n" << *mapped;
  return {complaint.str()};
}

// The steps of a plan for uncertain durations with chosen ones, over the problem that leaves them
// free.
Verdict judge_uncertainty(std::uint32_t seed) {
  Environment env;
  const Problem uncertain = parse(env, delivery_problem(seed, {.durations = Form::UNCERTAIN}));
  const Problem free = parse(env, delivery_problem(seed, {.durations = Form::FREE}));
  TemporalUncertaintyCompiler compiler(uncertain);
  std::shared_ptr<Plan> plan = ftp::FtpPlanner(env, compiler.output_problem()).solve();
  const std::shared_ptr<Plan> direct = ftp::FtpPlanner(env, uncertain).solve();
  if ((plan == nullptr) != (direct == nullptr)) return {"the search compiles otherwise"};
  if (plan == nullptr) return {};
  plan = compiler.map_back(plan);
  const TimeTriggeredPlan steps(plan);
  // The drive's range of durations, read off the text of the free problem.
  std::ostringstream drive;
  drive << *free->actions().at("drive");
  const auto bound_behind = [&drive](const std::string& mark) {
    const std::string text = drive.str();
    return std::atoi(text.c_str() + text.find(mark) + mark.size());
  };
  const int low = bound_behind("duration >= ");
  const int high = bound_behind("duration <= ");
  Random random(seed + 99);
  for (int round = 0; round < 4; ++round) {
    auto chosen = std::make_shared<TimeTriggeredPlan>(env);
    for (const auto& [time, at_time] : steps.plan()) {
      for (const auto& step : at_time) {
        const int duration = round == 0   ? low
                             : round == 1 ? high
                                          : low + random.below(high - low + 1);
        const bool is_drive = step->action()->name() == "drive";
        chosen->add_step(std::make_shared<TimeTriggeredStep>(
            time, free->actions().at(step->action()->name()), step->actual_parameters(),
            is_drive ? rational(duration) : step->duration()));
      }
    }
    if (!is_valid(env, free, chosen)) {
      std::ostringstream complaint;
      complaint << "not valid for these durations:\n" << *chosen;
      return {complaint.str()};
    }
  }
  return {"", true};
}

enum class Outcome { PLAN, NO_PLAN, BAD, OUT_OF_BOUNDS };

/// The chain of that number; behind the last one, uncertain durations.
Outcome run_chain(std::size_t number, std::uint32_t seed, bool verbose) {
  const bool is_uncertain = number == chains().size();
  const char* name = is_uncertain ? "uncertain durations" : chains()[number].name;
  const std::string text = is_uncertain ? delivery_problem(seed, {.durations = Form::UNCERTAIN})
                                        : chains()[number].generate(seed);
  if (verbose) std::cout << "// " << name << "\n" << text << std::endl;
  Verdict verdict;
  try {
    verdict = is_uncertain ? judge_uncertainty(seed) : judge(chains()[number], text);
  } catch (const std::bad_alloc&) {
    return Outcome::OUT_OF_BOUNDS;
  } catch (const std::exception& error) {
    verdict.complaint = error.what();
  }
  if (verdict.complaint.empty()) return verdict.has_plan ? Outcome::PLAN : Outcome::NO_PLAN;
  std::cerr << "seed " << seed << ", " << name << ": " << verdict.complaint << "\n";
  return Outcome::BAD;
}

// In a process of its own: a search may be long, and a crash is one failed seed.
Outcome run_chain_apart(std::size_t number, std::uint32_t seed) {
  const pid_t child = fork();
  if (child == 0) {
    limit_process(MAX_MILLISECONDS, MAX_MEMORY);
    _exit(static_cast<int>(run_chain(number, seed, /*verbose=*/false)));
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return Outcome::BAD;
  if (WIFEXITED(status)) return static_cast<Outcome>(WEXITSTATUS(status));
  const int signal = WTERMSIG(status);
  if (signal == SIGPROF || signal == SIGKILL) return Outcome::OUT_OF_BOUNDS;
  std::cerr << "seed " << seed << ", chain " << number << ": ended by signal " << signal << "\n";
  return Outcome::BAD;
}

int run_all() {
  const char* scale = std::getenv("KELVO_RANDOM_SCALE");
  const int factor = scale == nullptr ? 1 : std::max(1, std::atoi(scale));
  const std::uint32_t num_seeds = NUM_SEEDS * static_cast<std::uint32_t>(factor);
  bool all_good = true;
  for (std::size_t number = 0; number <= chains().size(); ++number) {
    std::map<Outcome, std::uint32_t> counts;
    for (std::uint32_t seed = 1; seed <= num_seeds; ++seed) ++counts[run_chain_apart(number, seed)];
    std::cout << (number == chains().size() ? "uncertain durations" : chains()[number].name) << ": "
              << counts[Outcome::PLAN] << " valid plans, " << counts[Outcome::NO_PLAN]
              << " without a plan, " << counts[Outcome::OUT_OF_BOUNDS] << " out of time or memory, "
              << counts[Outcome::BAD] << " failed" << std::endl;
    // A chain for which no plan was judged has been tested for nothing.
    const bool is_telling = counts[Outcome::PLAN] > 0;
    const bool is_in_bounds = counts[Outcome::OUT_OF_BOUNDS] * 4 <= num_seeds;
    all_good = all_good && counts[Outcome::BAD] == 0 && is_telling && is_in_bounds;
  }
  return all_good ? 0 : 1;
}

}  // namespace

}  // namespace kelvo::random_tests

int main(int argc, char** argv) {
  using namespace kelvo::random_tests;
  if (argc < 2) return run_all();
  const auto seed = static_cast<std::uint32_t>(std::atol(argv[1]));
  const std::size_t first = argc > 2 ? static_cast<std::size_t>(std::atol(argv[2])) : 0;
  const std::size_t last = argc > 2 ? first : chains().size();
  bool good = true;
  for (std::size_t number = first; number <= std::min(last, chains().size()); ++number) {
    good = run_chain(number, seed, /*verbose=*/true) != Outcome::BAD && good;
  }
  return good ? 0 : 1;
}
