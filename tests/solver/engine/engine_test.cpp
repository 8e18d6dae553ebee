#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "solver/dpll/dpll_solver.h"

namespace ordax {
namespace {

using Clauses = std::vector<std::vector<Lit>>;

LitVector to_vector(const std::vector<Lit>& literals) {
  LitVector result;
  for (const Lit l : literals) result.push_back(l);
  return result;
}

bool holds(const Clauses& clauses, std::uint32_t assignment) {
  return std::all_of(clauses.begin(), clauses.end(), [assignment](const std::vector<Lit>& clause) {
    return std::any_of(clause.begin(), clause.end(), [assignment](Lit l) {
      return ((assignment >> var_of(l) & 1U) != 0) != is_negated(l);
    });
  });
}

bool satisfiable(const Clauses& clauses, int num_vars) {
  for (std::uint32_t a = 0; a < 1U << num_vars; ++a) {
    if (holds(clauses, a)) return true;
  }
  return false;
}

bool model_satisfies(const DpllSolver& engine, const Clauses& clauses) {
  return std::all_of(clauses.begin(), clauses.end(), [&engine](const std::vector<Lit>& clause) {
    return std::any_of(clause.begin(), clause.end(), [&](Lit l) {
      // A minimal model leaves values open, also those of tautologies.
      if (std::find(clause.begin(), clause.end(), negate(l)) != clause.end()) return true;
      const Value v = engine.model_value(var_of(l));
      return v != kUndefined && (v == kTrue) != is_negated(l);
    });
  });
}

std::vector<Lit> random_clause(std::mt19937& random, int num_vars, std::size_t longest) {
  std::vector<Lit> clause(1 + random() % longest);
  for (Lit& l : clause) {
    l = make_lit(static_cast<Var>(random() % static_cast<unsigned>(num_vars)), random() % 2 == 0);
  }
  return clause;
}

struct SearchSetting {
  const char* name;
  void (*set)(Configuration&);
};

// Every option of the search must leave the answers alone.
const SearchSetting kSetups[] = {
    {"default", [](Configuration&) {}},
    {"luby",
     [](Configuration& c) {
       c.dpll.restart_strategy = 1;
       c.dpll.restart_initial = 2;
     }},
    {"agility",
     [](Configuration& c) {
       c.dpll.restart_strategy = 2;
       c.dpll.restart_initial = 1;
     }},
    {"dynamic", [](Configuration& c) { c.dpll.restart_strategy = 3; }},
    {"true first", [](Configuration& c) { c.dpll.branching_initial_phase = 1; }},
    {"no phase cache", [](Configuration& c) { c.dpll.branching_cache_phase = 0; }},
    {"limited phase cache", [](Configuration& c) { c.dpll.branching_cache_phase = 1; }},
    {"random",
     [](Configuration& c) {
       c.dpll.branching_random_frequency = 0.5;
       c.dpll.branching_random_invalidate_phase_cache = true;
     }},
    {"lbd",
     [](Configuration& c) {
       c.dpll.glucose_var_activity = true;
       c.dpll.glucose_learnt_minimization = true;
     }},
    {"facts kept", [](Configuration& c) { c.dpll.store_tlemmas = true; }},
    {"minimal model", [](Configuration& c) { c.dpll.minimize_model = true; }},
    {"no reset", [](Configuration& c) { c.dpll.pop_btpoint_reset_var_order = false; }},
    {"ghosts", [](Configuration& c) { c.dpll.ghost_filtering = true; }},
};

TEST(EngineTest, AgreesWithEnumerationUnderEverySetting) {
  for (const SearchSetting& setup : kSetups) {
    Configuration configuration;
    setup.set(configuration);
    Logger logger(0, "");
    std::mt19937 random(7);
    for (int round = 0; round < 150; ++round) {
      const int num_vars = 4 + static_cast<int>(random() % 9);
      DpllSolver engine(configuration, logger);
      for (int v = 0; v < num_vars; ++v) engine.new_var();
      Clauses clauses;
      const std::size_t count = static_cast<std::size_t>(num_vars) * (2 + random() % 4);
      for (std::size_t i = 0; i < count; ++i) {
        clauses.push_back(random_clause(random, num_vars, 4));
        engine.add_clause(to_vector(clauses.back()));
        if (random() % 8 != 0) continue;
        // Checks in between: the engine must be as good as new afterwards.
        const bool expected = satisfiable(clauses, num_vars);
        ASSERT_EQ(engine.solve(), expected) << setup.name << " round " << round;
        if (expected) {
          ASSERT_TRUE(model_satisfies(engine, clauses)) << setup.name << " round " << round;
        }
      }
      const bool expected = satisfiable(clauses, num_vars);
      ASSERT_EQ(engine.solve(), expected) << setup.name << " round " << round;
      if (expected) {
        ASSERT_TRUE(model_satisfies(engine, clauses)) << setup.name << " round " << round;
      }
    }
  }
}

TEST(EngineTest, PushPopAndAssumptionsAgreeWithEnumeration) {
  for (const SearchSetting& setup : kSetups) {
    Configuration configuration;
    setup.set(configuration);
    Logger logger(0, "");
    std::mt19937 random(11);
    for (int round = 0; round < 60; ++round) {
      const int num_vars = 3 + static_cast<int>(random() % 7);
      DpllSolver engine(configuration, logger);
      std::vector<Clauses> levels(1);
      std::vector<std::vector<Var>> variables(1);  // ours, by level
      for (int v = 0; v < num_vars; ++v) variables[0].push_back(engine.new_var());
      const auto all_vars = [&] {
        std::vector<Var> result;
        for (const auto& level : variables) result.insert(result.end(), level.begin(), level.end());
        return result;
      };
      for (int step = 0; step < 40; ++step) {
        const std::vector<Var> vars = all_vars();
        const auto random_literal = [&] {
          return make_lit(vars[random() % vars.size()], random() % 2 == 0);
        };
        switch (random() % 8) {
          case 0:
            if (levels.size() > 4) break;
            engine.push_backtrack_point();
            levels.emplace_back();
            variables.emplace_back();
            if (vars.size() < 10) variables.back().push_back(engine.new_var());
            break;
          case 1:
            if (levels.size() == 1) break;
            engine.pop_backtrack_point();
            levels.pop_back();
            variables.pop_back();
            break;
          case 2:
          case 3: {
            // Numbers of labels lie between those of the variables: enumerate by position.
            Clauses all;
            for (const Clauses& level : levels) all.insert(all.end(), level.begin(), level.end());
            LitVector assumptions;
            const std::size_t count = random() % 4;
            for (std::size_t i = 0; i < count; ++i) assumptions.push_back(random_literal());
            const auto position = [&vars](Lit l) {
              const auto at = std::find(vars.begin(), vars.end(), var_of(l)) - vars.begin();
              return make_lit(static_cast<Var>(at), is_negated(l));
            };
            Clauses dense;
            for (const auto& clause : all) {
              dense.emplace_back();
              for (const Lit l : clause) dense.back().push_back(position(l));
            }
            Clauses with = dense;
            for (const Lit l : assumptions) with.push_back({position(l)});
            const bool expected = satisfiable(with, static_cast<int>(vars.size()));
            ASSERT_EQ(engine.solve(assumptions), expected)
                << setup.name << " round " << round << " step " << step;
            if (expected) {
              for (const Lit l : assumptions) all.push_back({l});
              ASSERT_TRUE(model_satisfies(engine, all)) << setup.name << " round " << round;
              break;
            }
            Clauses failed = dense;
            for (const Lit l : engine.failed_assumptions()) {
              ASSERT_NE(std::find(assumptions.begin(), assumptions.end(), l), assumptions.end());
              failed.push_back({position(l)});
            }
            ASSERT_FALSE(satisfiable(failed, static_cast<int>(vars.size())))
                << setup.name << " round " << round << " step " << step;
            break;
          }
          default: {
            std::vector<Lit> clause(1 + random() % 3);
            for (Lit& l : clause) l = random_literal();
            levels.back().push_back(clause);
            engine.add_clause(to_vector(clause));
          }
        }
      }
    }
  }
}

class PigeonTest : public testing::Test {
 protected:
  void add_pigeons(DpllSolver& engine, int holes) {
    const auto in = [holes](int pigeon, int hole) { return make_lit(pigeon * holes + hole); };
    while (engine.num_vars() < static_cast<std::size_t>((holes + 1) * holes)) engine.new_var();
    for (int p = 0; p <= holes; ++p) {
      LitVector clause;
      for (int h = 0; h < holes; ++h) clause.push_back(in(p, h));
      engine.add_clause(clause);
      for (int q = 0; q < p; ++q) {
        for (int h = 0; h < holes; ++h) {
          engine.add_clause(to_vector({negate(in(p, h)), negate(in(q, h))}));
        }
      }
    }
  }
  Configuration configuration_;
  Logger logger_{0, ""};
};

TEST_F(PigeonTest, UnsatisfiableInEveryRestartStrategy) {
  for (int strategy = 0; strategy <= 3; ++strategy) {
    configuration_.dpll.restart_strategy = strategy;
    configuration_.dpll.restart_initial = 20;
    DpllSolver engine(configuration_, logger_);
    add_pigeons(engine, 7);
    EXPECT_FALSE(engine.solve()) << strategy;
    EXPECT_TRUE(engine.is_unsat());
    EXPECT_FALSE(engine.solve()) << "a known answer is given again";
  }
}

TEST_F(PigeonTest, ForgettingKeepsClausesOfTwoLevels) {
  DpllSolver engine(configuration_, logger_);
  add_pigeons(engine, 8);
  std::set<std::uint32_t> ids;
  class Watcher : public TerminationTest {
   public:
    explicit Watcher(DpllSolver& engine) : engine_(engine) {}
    bool should_stop() override {
      if (engine_.num_learnts() < last_) ++forgettings;
      last_ = engine_.num_learnts();
      std::set<std::uint32_t> now;
      for (const Clause* c : engine_.learnt_clauses()) now.insert(c->id());
      for (const std::uint32_t id : kept_) missing += now.count(id) == 0 ? 1 : 0;
      for (const Clause* c : engine_.learnt_clauses()) {
        if (c->lbd() == 2) kept_.insert(c->id());
      }
      return forgettings == 2;
    }
    int forgettings = 0;
    int missing = 0;

   private:
    DpllSolver& engine_;
    std::size_t last_ = 0;
    std::set<std::uint32_t> kept_;
  } watcher(engine);
  engine.set_termination_test(&watcher);
  EXPECT_THROW(engine.solve(), TerminationTest::terminated);
  EXPECT_EQ(watcher.forgettings, 2);
  EXPECT_EQ(watcher.missing, 0);
}

TEST(EngineUnitTest, UnitClausesNeedNoDecision) {
  Configuration configuration;
  Logger logger(0, "");
  DpllSolver engine(configuration, logger);
  for (int v = 0; v < 20; ++v) engine.new_var();
  for (int v = 0; v < 20; ++v) engine.add_clause(to_vector({make_lit(v, v % 2 == 0)}));
  ASSERT_TRUE(engine.solve());
  EXPECT_EQ(engine.statistics().decisions, 0U);
  for (int v = 0; v < 20; ++v) EXPECT_EQ(engine.model_value(v), v % 2 == 0 ? kFalse : kTrue);
}

TEST(EngineUnitTest, LubySeries) {
  const std::uint64_t expected[] = {1, 1, 2, 1, 1, 2, 4, 1, 1, 2, 1, 1, 2, 4, 8, 1};
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(DpllSolver::luby(i + 1), expected[i]) << i + 1;
  }
}

TEST(EngineUnitTest, ClauseAddedAboveTheBaseIsSeenAgainAtLevelZero) {
  Configuration configuration;
  Logger logger(0, "");
  DpllSolver engine(configuration, logger);
  for (int v = 0; v < 3; ++v) engine.new_var();
  engine.add_clause(to_vector({make_lit(0), make_lit(1), make_lit(2)}));
  ASSERT_TRUE(engine.solve(to_vector({make_lit(0, true), make_lit(1, true)}), /*keep_trail=*/true));
  ASSERT_GT(engine.decision_level(), 0);
  // Unit under the open assumptions, falsified by them, and a unit by itself.
  engine.add_clause(to_vector({make_lit(0), make_lit(2, true)}));
  engine.add_clause(to_vector({make_lit(0), make_lit(1)}));
  engine.add_clause(to_vector({make_lit(1, true), make_lit(1, true)}));
  ASSERT_TRUE(engine.solve());
  EXPECT_EQ(engine.model_value(0), kTrue);
  EXPECT_EQ(engine.model_value(1), kFalse);
}

TEST(EngineUnitTest, PreferredVariablesComeFirst) {
  Configuration configuration;
  configuration.dpll.branching_random_frequency = 0;
  Logger logger(0, "");
  DpllSolver engine(configuration, logger);
  for (int v = 0; v < 3; ++v) engine.new_var();
  engine.add_clause(to_vector({make_lit(0, true), make_lit(2, true)}));
  engine.set_preferred(2, kTrue);
  ASSERT_TRUE(engine.solve());
  EXPECT_EQ(engine.model_value(2), kTrue);
  EXPECT_EQ(engine.model_value(0), kFalse);
  EXPECT_EQ(engine.model_value(1), kFalse) << "false first without a preference";
}

TEST(EngineUnitTest, ProofsRefusePreprocessing) {
  Configuration configuration;
  configuration.proof_generation = true;
  configuration.dpll.preprocessor.mode = 1;
  Logger logger(0, "");
  try {
    DpllSolver engine(configuration, logger);
    FAIL();
  } catch (const Exception& e) {
    EXPECT_EQ(e.message(), "proof generation is not compatible with SAT-level preprocessing");
  }
}

TEST(ClauseArenaTest, RefusesClausesBeyondTheRecord) {
  ClauseArena arena;
  const std::vector<Lit> literals(Clause::kMaxSize + std::size_t{1}, 0);
  try {
    arena.make(literals.data(), literals.size(), 0, false, false);
    FAIL();
  } catch (const Exception& e) {
    EXPECT_EQ(e.message(), "max clause size exceeded (size: 16777216, max: 16777215)");
  }
}

}  // namespace
}  // namespace ordax
