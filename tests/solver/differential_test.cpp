// Random formulas against oracles: a model is judged by exact evaluation of what was written,
// "unsat" by enumeration with Fourier-Motzkin elimination on small formulas and by another solver
// where one was found. ORDAX_TEST_CASES multiplies the number of cases, ORDAX_TEST_SEED moves the
// seeds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>

#include "tests/solver/formula.h"
#include "tests/solver/prefix_reader.h"
#include "tests/solver/reference.h"
#include "tests/solver/session.h"

namespace ordax_testing {
namespace {

std::uint64_t environment_number(const char* name, std::uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

std::uint64_t scaled(std::uint64_t cases) {
  return cases * environment_number("ORDAX_TEST_CASES", 1);
}

std::uint64_t seed_of(std::uint64_t i) {
  return i + environment_number("ORDAX_TEST_SEED", 0) * 1'000'003;
}

struct Answer {
  int result = -2;
  std::string problem;
};

// An unbounded integer problem may exhaust the branching, or without a limit on it the patience of
// the caller; then the solver says that it doesn't know.
bool gave_up(const Session& session) {
  return session.last_error() == "the limit on integer branches is reached" ||
         session.last_error() == "user-requested termination";
}

int has_no_steps_left(void* steps) {
  return --*static_cast<std::int64_t*>(steps) < 0 ? 1 : 0;
}

Answer ask(const Formula& formula, const Options& options) {
  Answer answer;
  Session session(options);
  std::int64_t steps = 1'000'000;
  ordax_set_termination_test(session, has_no_steps_left, &steps);
  const Builder terms(session, formula);
  if (terms.failed()) return {-2, "a builder call failed: " + session.last_error()};
  for (const int a : formula.assertions) session.add(terms[a]);
  answer.result = session.solve();
  if (answer.result < 0 && !gave_up(session)) answer.problem = "unknown: " + session.last_error();
  if (answer.result != 1) return answer;
  Assignment assignment;
  if (!terms.read_model(formula, assignment)) {
    answer.problem = "no model: " + session.last_error();
  } else {
    answer.problem = model_error(formula, assignment);
  }
  return answer;
}

// What is wrong with the answer for a formula, or an empty text.
std::string problem_of(const Formula& formula, const Options& options) {
  const Answer answer = ask(formula, options);
  if (!answer.problem.empty() || answer.result != 0) return answer.problem;
  // The other solver is the faster judge; enumeration has the last word on small formulas, and the
  // only one where no other solver was found.
  const bool is_small = formula.variables.size() <= 4 && formula.nodes.size() <= 60 &&
                        std::all_of(formula.nodes.begin(), formula.nodes.end(), [](const Node& n) {
                          return mpz_sizeinbase(n.number.get_num_mpz_t(), 2) < 32;
                        });
  Verdict verdict = is_small || !has_peer() ? judge_by_enumeration(formula) : Verdict::UNKNOWN;
  if (verdict == Verdict::UNKNOWN) verdict = judge_by_peer(formula);
  return verdict == Verdict::SAT ? "unsat, but there is a model" : "";
}

// Drops assertions as long as the formula stays wrong.
Formula shrunk(Formula formula, const std::function<bool(const Formula&)>& fails) {
  for (std::size_t i = formula.assertions.size(); i-- > 0;) {
    Formula smaller = formula;
    smaller.assertions.erase(smaller.assertions.begin() + static_cast<std::ptrdiff_t>(i));
    if (fails(smaller)) formula = std::move(smaller);
  }
  return formula;
}

std::string options_text(const Options& options) {
  std::string text;
  for (const auto& [name, value] : options) text.append(name).append("=").append(value).append(" ");
  return text;
}

void expect_right(std::uint64_t seed, const Profile& profile, const Options& options) {
  const Formula formula = random_formula(seed, profile);
  const std::string problem = problem_of(formula, options);
  if (problem.empty()) return;
  const Formula small =
      shrunk(formula, [&](const Formula& f) { return !problem_of(f, options).empty(); });
  ADD_FAILURE() << "profile " << profile.name << " seed " << seed << " options "
                << options_text(options) << ": " << problem << "\n"
                << small.text();
}

class Differential : public testing::TestWithParam<std::size_t> {};

TEST_P(Differential, VerdictsAndModelsAreRight) {
  const Profile& profile = profiles()[GetParam()];
  const bool small = std::string(profile.name).substr(0, 5) == "small";
  const std::uint64_t cases = scaled(small ? 1500 : profile.big ? 100 : 1100);
  for (std::uint64_t i = 0; i < cases && !HasFailure(); ++i) {
    expect_right(seed_of(i), profile, {});
  }
}

// Values that must not change an answer.
const std::vector<Options>& variants() {
  static const std::vector<Options> all = {
      {{"preprocessor.toplevel_propagation", "false"}},
      {{"preprocessor.toplevel_propagation_limit", "1"}},
      {{"preprocessor.simplification", "0"}},
      {{"preprocessor.simplification", "31"}},
      {{"preprocessor.partial_nnf_conversion", "true"}},
      {{"preprocessor.full_cnf_conversion", "true"}},
      {{"dpll.restart_strategy", "1"}, {"dpll.restart_initial", "2"}},
      {{"dpll.restart_strategy", "2"}, {"dpll.restart_initial", "1"}},
      {{"dpll.restart_strategy", "3"}},
      {{"dpll.restart_initial", "1"}, {"dpll.restart_geometric_factor", "1.0"}},
      {{"dpll.branching_random_frequency", "1.0"}},
      {{"dpll.branching_random_frequency", "0.5"},
       {"dpll.branching_random_invalidate_phase_cache", "true"},
       {"dpll.branching_random_ignore_polarity", "false"}},
      {{"dpll.branching_initial_phase", "1"}, {"dpll.branching_cache_phase", "0"}},
      {{"dpll.branching_initial_phase", "2"}, {"dpll.branching_cache_phase", "1"}},
      {{"dpll.store_tlemmas", "true"}},
      {{"dpll.ghost_filtering", "true"}},
      {{"dpll.ghost_filtering", "true"}, {"dpll.preprocessor.mode", "2"}},
      {{"dpll.ghost_filtering", "true"},
       {"dpll.restart_initial", "1"},
       {"dpll.restart_geometric_factor", "1.0"},
       {"dpll.branching_random_frequency", "0.5"}},
      {{"dpll.minimize_model", "true"}},
      {{"dpll.glucose_var_activity", "true"}, {"dpll.glucose_learnt_minimization", "true"}},
      {{"dpll.preprocessor.mode", "1"}},
      {{"dpll.preprocessor.mode", "2"}, {"dpll.preprocessor.elimination_grow_limit", "8"}},
      {{"dpll.preprocessor.mode", "2"},
       {"dpll.preprocessor.elimination_phase", "3"},
       {"dpll.preprocessor.elimination_recent_vars_only", "true"}},
      {{"theory.pure_literal_filtering", "true"}},
      {{"theory.pure_literal_filtering", "true"}, {"dpll.ghost_filtering", "true"}},
      {{"theory.pure_literal_filtering", "true"}, {"theory.la.deduction_enabled", "false"}},
      {{"theory.la.split_rat_eq", "false"}},
      {{"theory.la.split_rat_eq", "false"}, {"theory.la.pure_equality_filtering", "false"}},
      {{"theory.la.pure_equality_filtering", "false"}},
      {{"theory.la.deduction_enabled", "false"}},
      {{"theory.la.lazy_expl_threshold", "0"}},
      {{"theory.la.lazy_expl_threshold", "1000"}},
      {{"theory.la.pivoting_greedy_threshold", "1"}},
      {{"theory.la.laz_equality_elimination", "false"}},
      {{"theory.la.laz_internal_branch_and_bound", "false"}},
      {{"theory.la.laz_internal_branch_and_bound", "false"},
       {"theory.la.laz_equality_elimination", "false"},
       {"theory.la.laz_cuts_from_proofs_mode", "0"}},
      {{"theory.la.laz_internal_branch_and_bound_limit", "0"}},
      {{"theory.la.laz_cuts_from_proofs_mode", "1"}},
      {{"theory.la.laz_cuts_from_proofs_mode", "2"}},
      {{"theory.la.laz_unit_cube_test", "false"}},
      {{"theory.eq_propagation", "false"}, {"theory.interface_eq_policy", "3"}},
      {{"shallow_incrementality", "true"}},
      {{"unsat_core_generation", "3"}},
      {{"random_seed", "7"}, {"dpll.branching_random_frequency", "0.2"}},
  };
  return all;
}

TEST(OptionInvariance, NoOptionChangesAnAnswer) {
  const std::uint64_t cases = scaled(100);
  for (std::size_t v = 0; v < variants().size(); ++v) {
    for (std::uint64_t i = 0; i < cases && !HasFailure(); ++i) {
      const Profile& profile = profiles()[(i + v) % profiles().size()];
      expect_right(seed_of(1'000'000 + i * 100 + v), profile, variants()[v]);
    }
  }
}

// Within the two equations, one of the bounds says no more than another: the search on integers
// goes without it, and the answer stays.
TEST(Integers, BoundsThatEquationsMakeRedundantAreLeftOut) {
  const char* const formula = R"(
      (declare v0 Int) (declare v1 Int) (declare v2 Int) (declare v3 Int)
      (assert (<= (+ (* -3 v3) (* 7 v1) (* 5 v0)) 20))
      (assert (<= 20 (+ (* -3 v3) (* 7 v1) (* 5 v0))))
      (assert (<= (+ (* 2 v0) (* -3 v1)) -15))
      (assert (<= -15 (+ (* 2 v0) (* -3 v1))))
      (assert (<= (+ (* -3 v3) (* -7 v1)) 13))
      (assert (<= (+ (* -2 v0) (* -2 v3)) 18))
      (assert (<= (+ (* 5 v3) (* -2 v1)) 13))
      (assert (<= (+ (* -7 v2) (* -5 v1)) 9))
      (assert (<= (+ (* 2 v3) (* 3 v2) (* -2 v0)) 12))
      (assert (<= (+ (* 4 v0) (* -5 v3) (* 2 v2)) 4))
      (assert (<= -20 v0)) (assert (<= v0 20)) (assert (<= -20 v1)) (assert (<= v1 20))
      (assert (<= -20 v2)) (assert (<= v2 20)) (assert (<= -20 v3)) (assert (<= v3 20)))";
  Session session({{"verbosity", "4"},
                   {"debug.log_sections", "LAZ"},
                   {"preprocessor.toplevel_propagation", "false"}});
  PrefixReader reader(session);
  ASSERT_TRUE(reader.read(formula)) << reader.error();
  testing::internal::CaptureStderr();
  EXPECT_EQ(session.solve(), 0);
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("internal BB: tot_redundant: 1\n"), std::string::npos) << log;
}

// The formula needs the first inequality only negatively, but the equality holds by it.
TEST(Filtering, TheSidesOfASplitEqualityAreTold) {
  const char* const formula = R"(
      (declare b Bool) (declare c Bool) (declare d Bool)
      (declare x Real) (declare y Real) (declare z Real)
      (assert (or (not (<= x (+ y 7))) c))
      (assert (or (= x (+ y 7)) d))
      (assert (<= (+ y 4) z))
      (assert (<= (+ z 5) x))
      (assert (or b (not d)))
      (assert (or (not b) (not d))))";
  Session session(
      {{"theory.pure_literal_filtering", "true"}, {"theory.la.deduction_enabled", "false"}});
  PrefixReader reader(session);
  ASSERT_TRUE(reader.read(formula)) << reader.error();
  EXPECT_EQ(session.solve(), 0);
}

// The same formula written otherwise: assertions permuted, atoms scaled, names and creation order
// changed.
Formula rewritten(const Formula& formula, std::uint64_t seed) {
  Random random(seed);
  Formula result;
  result.variables = formula.variables;
  for (Variable& v : result.variables) v.name = "other_" + v.name;
  std::vector<int> map;
  for (const Node& n : formula.nodes) {
    Node copy = n;
    for (int& c : copy.children) c = map[static_cast<std::size_t>(c)];
    if (n.op == Op::AND || n.op == Op::OR || n.op == Op::PLUS) {
      std::reverse(copy.children.begin(), copy.children.end());
    }
    if (n.op == Op::LEQ || n.op == Op::EQ) {
      const int numerator = random.between(1, 9);
      Rational factor(numerator, random.between(1, 4));
      factor.canonicalize();
      const int k = result.number(factor);
      for (int& c : copy.children) c = result.add(Op::TIMES, {k, c});
    }
    result.nodes.push_back(copy);
    map.push_back(static_cast<int>(result.nodes.size()) - 1);
  }
  for (const int a : formula.assertions)
    result.assertions.push_back(map[static_cast<std::size_t>(a)]);
  for (std::size_t i = result.assertions.size(); i > 1; --i) {
    std::swap(result.assertions[i - 1],
              result.assertions[static_cast<std::size_t>(random.below(static_cast<int>(i)))]);
  }
  return result;
}

TEST(Rewriting, RewritingAFormulaKeepsItsVerdict) {
  const std::uint64_t cases = scaled(1000);
  for (std::uint64_t i = 0; i < cases && !HasFailure(); ++i) {
    const Profile& profile = profiles()[i % profiles().size()];
    const Formula formula = random_formula(seed_of(2'000'000 + i), profile);
    const Formula other = rewritten(formula, i);
    const Answer first = ask(formula, {});
    const Answer second = ask(other, {});
    EXPECT_EQ(second.problem, "") << other.text();
    if (first.result < 0 || second.result < 0) continue;
    EXPECT_EQ(first.result, second.result) << formula.text();
  }
}

// A failed-assumption set or core has to be contradictory by itself.
void expect_contradiction(const Formula& formula, const std::vector<int>& assertions,
                          const char* what) {
  Formula part = formula;
  part.assertions = assertions;
  EXPECT_LE(ask(part, {}).result, 0) << what << "\n" << part.text();
  EXPECT_NE(judge_by_peer(part), Verdict::SAT) << what << "\n" << part.text();
}

// Pushes, pops, assertions and assumptions in a random order; each answer is compared with that of
// a fresh environment that holds the same assertions.
void run_incremental(std::uint64_t seed, const Options& options, bool with_core) {
  Random random(seed);
  const Profile& profile =
      profiles()[static_cast<std::size_t>(random.below(static_cast<int>(profiles().size())))];
  if (profile.big) return;  // many checks of long arithmetic take their time and test little more
  const Formula formula = random_formula(seed, profile);
  Session session(options);
  const Builder terms(session, formula);
  std::vector<std::vector<int>> levels(1);
  std::size_t next = 0;
  const int steps = random.between(8, 20);
  for (int step = 0; step < steps && !testing::Test::HasFailure(); ++step) {
    const int roll = random.below(10);
    if (roll < 4 && next < formula.assertions.size()) {
      const int count = random.between(1, 3);
      for (int i = 0; i < count && next < formula.assertions.size(); ++i, ++next) {
        session.add(terms[formula.assertions[next]]);
        levels.back().push_back(formula.assertions[next]);
      }
    } else if (roll == 4) {
      ASSERT_EQ(ordax_push_backtrack_point(session), 0);
      levels.emplace_back();
    } else if (roll == 5) {
      ASSERT_EQ(ordax_pop_backtrack_point(session), levels.size() > 1 ? 0 : -1);
      if (levels.size() > 1) levels.pop_back();
    } else {
      Formula active = formula;
      active.assertions.clear();
      for (const auto& level : levels) {
        active.assertions.insert(active.assertions.end(), level.begin(), level.end());
      }
      const std::vector<int> asserted = active.assertions;
      std::vector<ordax_term> assumptions;
      std::vector<int> assumed;
      for (int i = roll < 8 ? random.below(4) : 0; i > 0 && !formula.assertions.empty(); --i) {
        const int pick = formula.assertions[static_cast<std::size_t>(
            random.below(static_cast<int>(formula.assertions.size())))];
        assumptions.push_back(terms[pick]);
        assumed.push_back(pick);
      }
      active.assertions.insert(active.assertions.end(), assumed.begin(), assumed.end());
      const int result = session.solve(assumptions);
      const Answer expected = ask(active, {});
      if ((result < 0 && gave_up(session)) || expected.result < 0) return;
      ASSERT_EQ(result, expected.result) << "seed " << seed << " step " << step << " "
                                         << options_text(options) << session.last_error() << "\n"
                                         << active.text();
      if (result == 1) {
        Assignment assignment;
        ASSERT_TRUE(terms.read_model(formula, assignment))
            << "seed " << seed << " " << session.last_error();
        ASSERT_EQ(model_error(active, assignment), "") << "seed " << seed << active.text();
      } else {
        std::size_t count = 0;
        ordax_term* failed = ordax_get_unsat_assumptions(session, &count);
        ASSERT_NE(failed, nullptr);
        std::vector<int> part;
        for (std::size_t i = 0; i < count; ++i) {
          const auto place = std::find_if(assumed.begin(), assumed.end(),
                                          [&](int a) { return terms[a].repr == failed[i].repr; });
          ASSERT_NE(place, assumed.end()) << "a failed assumption was not assumed";
          part.push_back(*place);
        }
        ordax_free(failed);
        std::vector<int> core = part;
        core.insert(core.end(), asserted.begin(), asserted.end());
        expect_contradiction(formula, core, "failed assumptions");
        if (with_core) {
          core = part;
          ordax_term* in_core = ordax_get_unsat_core(session, &count);
          ASSERT_NE(in_core, nullptr) << session.last_error();
          for (std::size_t i = 0; i < count; ++i) {
            const auto place = std::find_if(asserted.begin(), asserted.end(), [&](int a) {
              return terms[a].repr == in_core[i].repr;
            });
            ASSERT_NE(place, asserted.end()) << "a core formula was not asserted";
            core.push_back(*place);
          }
          ordax_free(in_core);
          expect_contradiction(formula, core, "core");
        }
      }
    }
  }
}

TEST(Incremental, AnswersAreThoseOfAFreshEnvironment) {
  const std::uint64_t cases = scaled(700);
  for (std::uint64_t i = 0; i < cases && !HasFailure(); ++i) {
    run_incremental(seed_of(3'000'000 + i), {}, false);
  }
}

TEST(Incremental, OptionsKeepTheAnswersOfSequences) {
  const std::vector<Options> options = {
      {{"shallow_incrementality", "true"}},
      {{"unsat_core_generation", "3"}},
      {{"unsat_core_generation", "3"}, {"shallow_incrementality", "true"}},
      {{"dpll.preprocessor.mode", "1"}},
      {{"dpll.preprocessor.mode", "2"}},
      {{"theory.pure_literal_filtering", "true"}},
      {{"dpll.ghost_filtering", "true"}, {"dpll.branching_random_frequency", "0.3"}},
      {{"theory.la.split_rat_eq", "false"}},
      {{"preprocessor.toplevel_propagation", "false"}},
      {{"dpll.pop_btpoint_reset_var_order", "false"}, {"theory.la.deduction_enabled", "false"}},
  };
  const std::uint64_t cases = scaled(60);
  for (std::size_t o = 0; o < options.size(); ++o) {
    for (std::uint64_t i = 0; i < cases && !HasFailure(); ++i) {
      run_incremental(seed_of(4'000'000 + i * 50 + o), options[o],
                      options[o][0].first == "unsat_core_generation");
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Profiles, Differential, testing::Range<std::size_t>(0, profiles().size()),
                         [](const testing::TestParamInfo<std::size_t>& profile) {
                           std::string name = profiles()[profile.param].name;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

}  // namespace
}  // namespace ordax_testing
