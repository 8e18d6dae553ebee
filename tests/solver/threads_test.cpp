// Environments of their own in threads of their own. The build for races compiles this program and
// the library alone.
#include <array>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "tests/solver/reference.h"
#include "tests/solver/session.h"

namespace ordax_testing {
namespace {

constexpr std::size_t kThreads = 8;
constexpr std::size_t kFormulas = 40;

struct Case {
  Formula formula;
  Verdict verdict;
};

// Formulas that the slow judge decides, with and without large numbers.
std::vector<Case> cases() {
  std::vector<Case> result;
  for (std::uint64_t seed = 1; result.size() < kFormulas; ++seed) {
    const Profile& profile = profiles()[seed % profiles().size()];
    Formula formula = random_formula(seed, profile);
    const bool is_small = formula.variables.size() <= 4 && formula.nodes.size() <= 60;
    Verdict verdict = is_small ? judge_by_enumeration(formula) : Verdict::UNKNOWN;
    if (verdict == Verdict::UNKNOWN) verdict = judge_by_peer(formula);
    if (verdict != Verdict::UNKNOWN || !has_peer()) result.push_back({formula, verdict});
  }
  return result;
}

// What is wrong with the answer that an environment gives, or an empty text.
std::string problem_of(const Case& c) {
  Session session;
  const Builder terms(session, c.formula);
  if (terms.failed()) return "a term was refused: " + session.last_error();
  for (const int assertion : c.formula.assertions) session.add(terms[assertion]);
  const int answer = session.solve();
  if (answer == 0) return c.verdict == Verdict::SAT ? "unsat for a satisfiable formula" : "";
  if (answer < 0) return "";  // an unbounded search over integers may give up
  Assignment assignment;
  if (!terms.read_model(c.formula, assignment)) return "no model";
  return model_error(c.formula, assignment);
}

// Each thread begins at another formula, fails on the way, and leaves one environment for the main
// thread to destroy.
int run() {
  const std::vector<Case> all = cases();
  std::array<std::string, kThreads> problems;
  std::array<ordax_env, kThreads> left{};
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (std::size_t i = 0; i < all.size() && problems[t].empty(); ++i) {
        problems[t] = problem_of(all[(i + t * all.size() / kThreads) % all.size()]);
      }
      const std::string name = "no such option " + std::to_string(t);
      const ordax_config config = ordax_create_config();
      ordax_set_option(config, name.c_str(), "1");
      if (ordax_last_error_message({nullptr}) != "unknown option: " + name) {
        problems[t] = "the text of another thread's failure";
      }
      left[t] = ordax_create_env(config);
      ordax_destroy_config(config);
      const ordax_term huge = ordax_make_number(left[t], "1/12345678901234567890123");
      const ordax_decl decl =
          ordax_declare_function(left[t], "x", ordax_get_rational_type(left[t]));
      const ordax_term x = ordax_make_constant(left[t], decl);
      ordax_assert_formula(left[t], ordax_make_equal(left[t], x, huge));
      if (ordax_solve(left[t]) != ORDAX_SAT)
        problems[t] = "unsat for x = 1/12345678901234567890123";
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const ordax_env env : left) ordax_destroy_env(env);
  int failures = 0;
  for (const std::string& problem : problems) {
    if (problem.empty()) continue;
    std::printf("%s\n", problem.c_str());
    ++failures;
  }
  return failures;
}

}  // namespace
}  // namespace ordax_testing

#if defined(__SANITIZE_THREAD__)
// The oracle was not built with the sanitizer, which misunderstands its locks.
extern "C" const char* __tsan_default_suppressions() {
  return "called_from_lib:libz3\nmutex:libz3\n";
}
#endif

int main() {
  return ordax_testing::run() == 0 ? 0 : 1;
}
