// Small random delivery problems go through chains of transformers. A plan that the FTP planner
// finds for the output must, mapped back, be valid for the input; input and output must agree on
// whether there is a plan; the output must print the same text twice; and a plan for uncertain
// durations must be valid for whatever durations the environment chooses.
//
//   random_transformers            runs as many seeds as KELVO_RANDOM_SCALE asks for (default 1)
//   random_transformers <seed>     runs one seed and prints the problem

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
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
#include "shell/environment.h"
#include "tests/random/process_limits.h"
#include "transformers/constant_promoter.h"
#include "transformers/empty_conditions_compiler.h"
#include "transformers/flattener.h"
#include "transformers/grounder.h"
#include "transformers/partial_order_compiler.h"
#include "transformers/set_compiler.h"
#include "transformers/usertype_fluents_compiler.h"
#include "validation/tt_validator.h"

namespace kelvo::random_tests {

namespace {

constexpr std::uint32_t NUM_SEEDS = 16;
constexpr rlim_t MAX_SECONDS = 10;
constexpr rlim_t MAX_MEMORY = 1UL << 30;
constexpr int OUT_OF_MEMORY = 2;  // exit status
constexpr int NUM_PLACES = 3;
constexpr int NUM_PARCELS = 2;

class Random {
 public:
  explicit Random(std::uint32_t seed) : state_(seed * 2654435761U + 12345U) {}

  /// A number from 0 to `bound` - 1.
  int below(int bound) {
    state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<int>((state_ >> 33) % static_cast<std::uint64_t>(bound));
  }

 private:
  std::uint64_t state_;
};

/// How the one problem is told.
struct Form {
  bool structured = false;  // the van is an object with members of its own
  bool sets = false;        // its load is a set
  enum { FIXED, UNCERTAIN, FREE } durations = FIXED;
};

// A van brings parcels to places over random roads. Which roads there are, and how long they are,
// is told by fluents that nothing writes.
std::string delivery_problem(std::uint32_t seed, const Form& form) {
  Random random(seed);
  std::ostringstream top;
  std::ostringstream members;
  std::ostringstream start;
  const std::string van = form.structured ? "van." : "";
  const auto place = [&random] { return "p" + std::to_string(random.below(NUM_PLACES)); };
  top << "type Place; instance Place p0, p1, p2; type Parcel; instance Parcel c0, c1;\n"
         "fluent boolean road(Place a, Place b); fluent Place at(Parcel c);\n"
         "fluent boolean waits(Parcel c);\n";
  // Roads lead both ways, so that a place that can be reached can be left: what has no plan shows
  // without a search.
  for (int a = 0; a < NUM_PLACES; ++a) {
    for (int b = a + 1; b < NUM_PLACES; ++b) {
      const std::string is_road = random.below(3) > 0 ? "true" : "false";
      start << "[start] road(p" << a << ", p" << b << ") := " << is_road << "; [start] road(p" << b
            << ", p" << a << ") := " << is_road << ";\n";
    }
    start << "[start] road(p" << a << ", p" << a << ") := false;\n";
  }
  members << "fluent Place pos;\n";
  members << (form.sets ? "fluent set(Parcel) load;\n" : "fluent boolean loaded(Parcel c);\n");
  const auto duration = [&](int low) {
    const int high = low + 1 + random.below(3);
    std::ostringstream text;
    if (form.durations == Form::FIXED) {
      text << "duration := " << low << ";";
    } else if (form.durations == Form::UNCERTAIN) {
      text << "duration :in [" << low << ", " << high << "];";
    } else {
      text << "duration >= " << low << "; duration <= " << high << ";";
    }
    return text.str();
  };
  const int drive_time = 2 + random.below(5);
  members << "action drive(Place a, Place b) { " << duration(drive_time)
          << " [start] pos == a; [start] road(a, b); [end] pos := b; };\n";
  const std::string is_loaded = form.sets ? "c in load" : "loaded(c)";
  const std::string load = form.sets ? "load := load union {c}" : "loaded(c) := true";
  const std::string unload = form.sets ? "load := load \\ {c}" : "loaded(c) := false";
  members << "action pick(Parcel c, Place a) { duration := 1; [start, end] pos == a;"
          << " [start] at(c) == a; [start] waits(c); [start] waits(c) := false; [end] " << load
          << "; };\n"
          << "action drop(Parcel c, Place a) { duration := 1; [start, end] pos == a; [start] "
          << is_loaded << "; [start] " << unload
          << "; [end] at(c) := a; [end] waits(c) := true; };\n";
  start << "[start] " << van << "pos := " << place() << ";\n";
  if (form.sets) start << "[start] " << van << "load := { };\n";
  for (int c = 0; c < NUM_PARCELS; ++c) {
    start << "[start] at(c" << c << ") := " << place() << "; [start] waits(c" << c
          << ") := true;\n";
    if (!form.sets) start << "[start] " << van << "loaded(c" << c << ") := false;\n";
  }
  // One parcel to bring, one in the way: more would be a matter of the search.
  start << "[end] at(c0) == " << place() << " and waits(c0);\n";
  if (!form.structured) return top.str() + members.str() + start.str();
  return top.str() + "type Van with {\n" + members.str() + "};\ninstance Van van;\n" + start.str();
}

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

struct Chain {
  const char* name;
  Form form;
  std::vector<Maker> makers;
};

const std::vector<Chain>& chains() {
  static const std::vector<Chain> all = {
      {"flattener", {.structured = true}, {make<Flattener>}},
      {"promoter, flattener", {.structured = true}, {make<ConstantPromoter>, make<Flattener>}},
      {"grounder", {}, {make<Grounder>}},
      {"full grounder", {}, {make_full_grounder}},
      {"promoter, grounder", {}, {make<ConstantPromoter>, make<Grounder>}},
      {"user-type fluents", {}, {make<Grounder>, make<UserTypeFluentsCompiler>}},
      {"sets", {.sets = true}, {make<Grounder>, make<SetCompiler>}},
      {"structured sets",
       {.structured = true, .sets = true},
       {make<Flattener>, make<Grounder>, make<SetCompiler>}},
      {"versions",
       {.durations = Form::FREE},
       {make<Grounder>, make<EmptyConditionsCompiler>, make<PartialOrderCompiler>}},
  };
  return all;
}

Problem parse(Environment& env, const std::string& text) {
  std::istringstream source(text);
  source.unsetf(std::ios::skipws);
  return AnmlParser(env).parse(source);
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

/// An empty text if all is well.
std::string complaint_about(const Chain& chain, const std::string& text) {
  if (output_text(chain, text) != output_text(chain, text)) return "two outputs differ";
  Environment env;
  const Problem input = parse(env, text);
  std::vector<Transformer> applied;
  const Problem output = apply(chain, input, applied);
  std::shared_ptr<Plan> plan = ftp::FtpPlanner(env, output).solve();
  const std::shared_ptr<Plan> direct = ftp::FtpPlanner(env, input).solve();
  if ((plan == nullptr) != (direct == nullptr)) return "only one of input and output has a plan";
  if (plan == nullptr) return "";
  std::ranges::for_each(applied.rbegin(), applied.rend(),
                        [&plan](const Transformer& t) { plan = t->map_back(plan); });
  const auto mapped = std::make_shared<TimeTriggeredPlan>(plan);
  if (TTValidator(env, input).validate(mapped)) return "";
  std::ostringstream complaint;
  complaint << "the plan mapped back is not valid:\n" << *mapped;
  return complaint.str();
}

// The steps of a plan for uncertain durations with chosen ones, over the problem that leaves them
// free.
std::string complaint_about_uncertainty(std::uint32_t seed) {
  Environment env;
  const Problem uncertain = parse(env, delivery_problem(seed, {.durations = Form::UNCERTAIN}));
  const Problem free = parse(env, delivery_problem(seed, {.durations = Form::FREE}));
  const std::shared_ptr<Plan> plan = ftp::FtpPlanner(env, uncertain).solve();
  if (plan == nullptr) return "";
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
    if (!TTValidator(env, free).validate(chosen)) {
      std::ostringstream complaint;
      complaint << "not valid for these durations:\n" << *chosen;
      return complaint.str();
    }
  }
  return "";
}

bool run_seed(std::uint32_t seed, bool verbose) {
  bool good = true;
  const auto judge = [&](const char* name, const std::string& text,
                         const std::function<std::string()>& complain) {
    if (verbose) std::cout << "// " << name << "\n" << text << std::endl;
    std::string complaint;
    try {
      complaint = complain();
    } catch (const std::bad_alloc&) {
      _exit(OUT_OF_MEMORY);
    } catch (const std::exception& error) {
      complaint = error.what();
    }
    if (complaint.empty()) return;
    good = false;
    std::cerr << "seed " << seed << ", " << name << ": " << complaint << "\n";
  };
  for (const Chain& chain : chains()) {
    const std::string text = delivery_problem(seed, chain.form);
    judge(chain.name, text, [&] { return complaint_about(chain, text); });
  }
  judge("uncertain durations", "", [seed] { return complaint_about_uncertainty(seed); });
  return good;
}

enum class Outcome { GOOD, BAD, OUT_OF_BOUNDS };

// In a process of its own: a search may be long, and a crash is one failed seed.
Outcome run_seed_apart(std::uint32_t seed) {
  const pid_t child = fork();
  if (child == 0) {
    limit_process(MAX_SECONDS, MAX_MEMORY);
    _exit(run_seed(seed, /*verbose=*/false) ? 0 : 1);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return Outcome::BAD;
  if (WIFEXITED(status)) {
    if (WEXITSTATUS(status) == OUT_OF_MEMORY) return Outcome::OUT_OF_BOUNDS;
    return WEXITSTATUS(status) == 0 ? Outcome::GOOD : Outcome::BAD;
  }
  const int signal = WTERMSIG(status);
  std::cerr << "seed " << seed << ": ended by signal " << signal << "\n";
  return signal == SIGXCPU || signal == SIGKILL ? Outcome::OUT_OF_BOUNDS : Outcome::BAD;
}

int run_all() {
  const char* scale = std::getenv("KELVO_RANDOM_SCALE");
  const int factor = scale == nullptr ? 1 : std::max(1, std::atoi(scale));
  const std::uint32_t num_seeds = NUM_SEEDS * static_cast<std::uint32_t>(factor);
  std::uint32_t num_bad = 0;
  std::uint32_t num_out_of_bounds = 0;
  for (std::uint32_t seed = 1; seed <= num_seeds; ++seed) {
    const Outcome outcome = run_seed_apart(seed);
    if (outcome == Outcome::BAD) ++num_bad;
    if (outcome == Outcome::OUT_OF_BOUNDS) ++num_out_of_bounds;
  }
  std::cout << num_bad << " of " << num_seeds << " seeds failed, " << num_out_of_bounds
            << " were out of time or memory\n";
  return num_bad == 0 && num_out_of_bounds * 10 <= num_seeds ? 0 : 1;
}

}  // namespace

}  // namespace kelvo::random_tests

int main(int argc, char** argv) {
  using namespace kelvo::random_tests;
  if (argc < 2) return run_all();
  return run_seed(static_cast<std::uint32_t>(std::atol(argv[1])), /*verbose=*/true) ? 0 : 1;
}
