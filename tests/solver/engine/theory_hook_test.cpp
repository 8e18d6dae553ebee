// What passes between the engine and a theory, with a theory that follows a script.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "solver/dpll/dpll_solver.h"
#include "solver/terms/term_manager.h"

namespace ordax {
namespace {

using Clause = std::vector<Lit>;

LitVector to_vector(const Clause& literals) {
  LitVector result;
  for (const Lit l : literals) result.push_back(l);
  return result;
}

/// Knows some clauses by heart. It reports one that is false as a conflict, and one that is unit as
/// an implication without a reason, and notes what it is told.
class ScriptedTheory : public TheoryHook {
 public:
  std::vector<Clause> clauses;
  std::vector<Clause> lemmas;  // handed over at the first check
  bool implies = false;
  bool only_complete = false;  // conflicts are seen by complete checks only
  std::vector<Lit> told;       // as it stands
  std::vector<Lit> ever_told;
  int explained = 0;

  bool tell_atom(Var, const Term*) override { return true; }
  void forget_atoms(Var) override {}
  void new_decision_level() override { levels_.push_back(told.size()); }
  void backtrack(int level) override {
    const auto target = static_cast<std::size_t>(std::max(level, 0));
    if (level < 0) {
      told.clear();
    } else if (target < levels_.size()) {
      told.resize(levels_[target]);
    }
    levels_.resize(std::min(levels_.size(), target));
  }
  bool assume(Lit literal, bool) override {
    EXPECT_EQ(std::count(told.begin(), told.end(), literal), 0) << "told twice";
    told.push_back(literal);
    ever_told.push_back(literal);
    return true;
  }
  bool check(bool approx) override {
    conflict_ = nullptr;
    if (only_complete && approx) return true;
    for (const Clause& clause : clauses) {
      if (std::all_of(clause.begin(), clause.end(), [&](Lit l) { return is_false(l); })) {
        conflict_ = &clause;
        return false;
      }
    }
    return true;
  }
  bool has_conflict() const override { return conflict_ != nullptr; }
  void get_conflict_clause(LitVector& clause) override { clause = to_vector(*conflict_); }
  Implied next_implied_literal(Lit& literal, LitVector&) override {
    if (!implies) return Implied::NONE;
    for (const Clause& clause : clauses) {
      Lit open = kNoLit;
      std::size_t num_open = 0;
      for (const Lit l : clause) {
        if (is_false(l)) continue;
        open = l;
        ++num_open;
      }
      if (num_open != 1 || std::count(told.begin(), told.end(), open) != 0) continue;
      if (std::count(given_.begin(), given_.end(), open) != 0) continue;
      given_.push_back(open);
      literal = open;
      return Implied::LAZY;
    }
    given_.clear();
    return Implied::NONE;
  }
  void explain(Lit literal, LitVector& clause) override {
    ++explained;
    for (const Clause& c : clauses) {
      if (std::count(c.begin(), c.end(), literal) == 0) continue;
      clause.clear();
      clause.push_back(literal);
      for (const Lit l : c) {
        if (l != literal) clause.push_back(l);
      }
    }
  }
  bool has_lemma() const override { return !lemmas.empty(); }
  void next_lemma(LitVector& clause, bool& is_permanent, bool& trackable) override {
    clause = to_vector(lemmas.back());
    lemmas.pop_back();
    is_permanent = true;
    trackable = true;
  }
  int final_check() override { return -1; }
  void compute_models() override {}
  bool is_filtered(Lit) const override { return false; }

 private:
  bool is_false(Lit l) const { return std::count(told.begin(), told.end(), negate(l)) != 0; }

  std::vector<std::size_t> levels_;
  const Clause* conflict_ = nullptr;
  std::vector<Lit> given_;
};

class TheoryHookTest : public testing::Test {
 protected:
  static constexpr int kAtoms = 6;

  TheoryHookTest() {
    configuration_.dpll.branching_random_frequency = 0;
    for (int i = 0; i < kAtoms; ++i) {
      const Symbol* symbol =
          terms_.signature().declare("a" + std::to_string(i), terms_.bool_type());
      atoms_.push_back(terms_.make_constant(symbol));
    }
  }

  // Atoms are the variables 0 to 5, true first.
  void fill(DpllSolver& engine) {
    engine.set_hook(&theory_);
    for (const TermRef atom : atoms_) {
      Var v = kNoVar;
      engine.variable_of_term(atom, v);
      engine.set_saved_phase(v, kTrue);
    }
  }
  static Lit yes(Var v) { return make_lit(v); }
  static Lit no(Var v) { return make_lit(v, true); }

  Configuration configuration_;
  Logger logger_{0, ""};
  TermManager terms_;
  std::vector<TermRef> atoms_;
  ScriptedTheory theory_;
};

TEST_F(TheoryHookTest, AConflictBelowTheCurrentLevelIsAnalysedAtItsOwn) {
  // The complete check sees 0 and 1 clash, which were decided long before the last level.
  DpllSolver engine(configuration_, logger_);
  fill(engine);
  theory_.only_complete = true;
  theory_.clauses = {{no(0), no(1)}};
  ASSERT_TRUE(engine.solve());
  EXPECT_EQ(engine.statistics().theory_conflicts, 1U);
  EXPECT_NE(engine.model_value(0), engine.model_value(1));
}

TEST_F(TheoryHookTest, AConflictOfOneLiteralBecomesAFact) {
  DpllSolver engine(configuration_, logger_);
  fill(engine);
  theory_.clauses = {{no(3)}};
  ASSERT_TRUE(engine.solve());
  EXPECT_EQ(engine.level_of(3), 0);
  EXPECT_EQ(engine.model_value(3), kFalse);
  EXPECT_EQ(engine.num_learnts(), 0U) << "a fact needs no clause";
}

TEST_F(TheoryHookTest, FactsAreToldOutsideOfAllLevelsAndOnlyOnce) {
  DpllSolver engine(configuration_, logger_);
  fill(engine);
  engine.add_clause(to_vector({yes(5)}));
  ASSERT_TRUE(engine.solve());
  ASSERT_TRUE(engine.solve(to_vector({no(0)})));
  EXPECT_EQ(std::count(theory_.ever_told.begin(), theory_.ever_told.end(), yes(5)), 1);
  EXPECT_EQ(theory_.told, std::vector<Lit>{yes(5)});
}

TEST_F(TheoryHookTest, AnImplicationIsExplainedOnlyIfAConflictMeetsIt) {
  theory_.implies = true;
  theory_.clauses = {{no(0), no(1), yes(5)}};
  {
    DpllSolver engine(configuration_, logger_);
    fill(engine);
    ASSERT_TRUE(engine.solve());
    EXPECT_GT(engine.statistics().implied_lazily, 0U);
    EXPECT_EQ(theory_.explained, 0);
  }
  theory_.told.clear();
  DpllSolver engine(configuration_, logger_);
  fill(engine);
  engine.add_clause(to_vector({no(5), yes(4), no(1)}));
  engine.add_clause(to_vector({no(5), no(4), no(1)}));
  ASSERT_TRUE(engine.solve());
  EXPECT_GT(theory_.explained, 0);
  EXPECT_TRUE(engine.model_value(0) == kFalse || engine.model_value(1) == kFalse);
}

TEST_F(TheoryHookTest, LemmasBindWhateverTheStateOfTheirLiterals) {
  const std::vector<std::vector<Clause>> batches = {
      {{no(0)}},                           // against the first decision
      {{no(0), no(1)}, {no(0), yes(1)}},   // together a fact
      {{yes(0), yes(1)}, {no(2), no(3)}},  // one true, one open
      {{no(0), no(0)}, {yes(1), no(1)}},   // repeated and tautological literals
      {{no(0), no(1), no(2), no(3), no(4), no(5)}},
  };
  for (const std::vector<Clause>& lemmas : batches) {
    ScriptedTheory fresh;
    theory_ = fresh;
    DpllSolver engine(configuration_, logger_);
    fill(engine);
    theory_.lemmas = lemmas;
    ASSERT_TRUE(engine.solve());
    for (const Clause& lemma : lemmas) {
      EXPECT_TRUE(std::any_of(lemma.begin(), lemma.end(), [&](Lit l) {
        return (engine.model_value(var_of(l)) == kTrue) != is_negated(l);
      }));
    }
  }
  theory_ = ScriptedTheory();
  DpllSolver engine(configuration_, logger_);
  fill(engine);
  theory_.lemmas = {{yes(2)}, {no(2)}};
  EXPECT_FALSE(engine.solve());
}

TEST_F(TheoryHookTest, AGhostThatALearntClauseImpliesIsNotTold) {
  // The theory forbids 0 with 5; the only problem clause of 5 is satisfied once 2 holds.
  for (const bool ghosts : {true, false}) {
    configuration_.dpll.ghost_filtering = ghosts;
    theory_ = ScriptedTheory();
    theory_.clauses = {{no(0), no(5)}};
    DpllSolver engine(configuration_, logger_);
    fill(engine);
    engine.add_clause(to_vector({yes(5), yes(2)}));
    ASSERT_FALSE(engine.solve(to_vector({yes(0), yes(5)})));
    ASSERT_EQ(engine.num_learnts(), 1U);
    theory_.ever_told.clear();
    ASSERT_TRUE(engine.solve(to_vector({yes(2), yes(0)})));
    EXPECT_EQ(std::count(theory_.ever_told.begin(), theory_.ever_told.end(), no(5)),
              ghosts ? 0 : 1);
    // Here the clause rests on 5, so that it has to be told.
    theory_.ever_told.clear();
    ASSERT_TRUE(engine.solve(to_vector({no(2)})));
    EXPECT_EQ(std::count(theory_.ever_told.begin(), theory_.ever_told.end(), yes(5)), 1);
    EXPECT_EQ(engine.model_value(0), kFalse);
  }
}

TEST(RestartTest, LimitsFollowTheStrategy) {
  // The limit stands still through a run, so that the sequence of its values is the schedule.
  struct Case {
    int strategy;
    std::vector<double> limits;
  };
  const Case cases[] = {{0, {200, 300, 450, 675, 1012.5}},
                        {1, {200, 200, 400, 200, 200, 400, 800}}};
  for (const Case& c : cases) {
    Configuration configuration;
    configuration.dpll.restart_strategy = c.strategy;
    Logger logger(0, "");
    DpllSolver engine(configuration, logger);
    constexpr int kHoles = 9;
    const auto in = [](int pigeon, int hole) { return make_lit(pigeon * kHoles + hole); };
    for (int v = 0; v < (kHoles + 1) * kHoles; ++v) engine.new_var();
    for (int p = 0; p <= kHoles; ++p) {
      LitVector clause;
      for (int h = 0; h < kHoles; ++h) clause.push_back(in(p, h));
      engine.add_clause(clause);
      for (int q = 0; q < p; ++q) {
        for (int h = 0; h < kHoles; ++h) {
          engine.add_clause(to_vector({negate(in(p, h)), negate(in(q, h))}));
        }
      }
    }
    class Watcher : public TerminationTest {
     public:
      Watcher(const DpllSolver& engine, std::size_t wanted) : engine_(engine), wanted_(wanted) {}
      bool should_stop() override {
        if (engine_.statistics().restarts >= limits.size()) {
          limits.push_back(engine_.restart_limit());
        }
        return limits.size() == wanted_;
      }
      std::vector<double> limits;

     private:
      const DpllSolver& engine_;
      std::size_t wanted_;
    } watcher(engine, c.limits.size());
    engine.set_termination_test(&watcher);
    EXPECT_THROW(engine.solve(), TerminationTest::terminated);
    EXPECT_EQ(watcher.limits, c.limits);
  }
}

}  // namespace
}  // namespace ordax
