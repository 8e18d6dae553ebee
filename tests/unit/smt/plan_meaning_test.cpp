#include <gtest/gtest.h>

#include <sstream>
#include <utility>

#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "plans/time_triggered_plan.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "smt/smt_planner.h"
#include "validation/strict_judge.h"

namespace kelvo::smt {
namespace {

/// A problem that has plans or none, within few steps.
struct Case {
  const char* text;
  bool is_solvable;
};

class PlanMeaningTest : public testing::Test {
 protected:
  void SetUp() override {
    env_.configuration().set_value("smt-max-horizon", 8L);
    env_.configuration().set_value("rational-precision", true);
  }
  void read(const std::string& text) {
    std::istringstream source(text);
    problem_ = AnmlParser(env_).parse(source);
  }
  void expect_judged(const Case& test) {
    read(test.text);
    SmtPlanner planner(env_, problem_);
    const std::shared_ptr<Plan> plan = planner.solve();
    EXPECT_EQ(plan != nullptr, test.is_solvable) << test.text;
    if (plan == nullptr) {
      if (problem_->actions().empty()) return;  // may be proven
      EXPECT_EQ(planner.no_plan().certainty, NoPlan::Certainty::BOUNDED);
      EXPECT_EQ(planner.no_plan().reason, "with fewer than 8 steps");
      return;
    }
    StrictOptions options;
    options.no_moving_targets = env_.configuration().get_boolean_value("pddl");
    const StrictJudge judge(env_, problem_, options);
    EXPECT_TRUE(judge.judge(TimeTriggeredPlan(plan)).is_valid()) << test.text << "\n" << *plan;
  }
  template <std::size_t size>
  void expect_all_judged(const Case (&cases)[size]) {
    for (const Case& test : cases) expect_judged(test);
  }
  std::string text_of(const std::string& problem) {
    read(problem);
    const std::shared_ptr<Plan> plan = SmtPlanner(env_, problem_).solve();
    std::ostringstream text;
    if (plan != nullptr) text << *plan;
    return text.str();
  }
  std::string failure(const std::string& problem) {
    read(problem);
    try {
      SmtPlanner(env_, problem_).solve();
    } catch (const KelvoError& error) {
      return error.message();
    }
    return "no failure";
  }

  Environment env_;
  model::ProblemInstance problem_;
};

TEST_F(PlanMeaningTest, TheEndLiesOneUnitBehindTheLastChange) {
  const Case cases[] = {
      // The problem changes a fluent at the end; goals there read what was before.
      {"fluent boolean p; fluent boolean q; action a() { duration := 1; [end] p := true; };"
       "[start] p := false; [start] q := true; [end] q := false; [end] p and q;",
       true},
      {"fluent boolean p; [start] p := false; [end] p := true; [end] p;", false},
      // A plan cannot wait for the world, nor does the world behind the plan count.
      {"fluent boolean p; [start] p := false; [4] p := true; [end] p;", false},
      {"fluent boolean p; [start] p := true; [2] p := false; [end] p;", true},
      {"fluent boolean p; action rest() { duration := 1/2 + 3; };"
       "[start] p := false; [4] p := true; [end] p;",
       true},
      // Counting back from the end.
      {"fluent boolean p; [start] p := false; [end - 1] p;", false},
      {"fluent boolean p; [start] p := true; [end - 1] p;", true},
      {"fluent boolean p; [start] p := true; [end - 1.5] p;", false},
      {"fluent boolean p; action a() { duration := 4; [end] p := true; };"
       "[start] p := false; [end - 0.5] p;",
       true},
      {"fluent boolean p; [start] p := true; [end - 0.5] p := false; [5] p;", false},
      // Windows that reach beyond the end, and such that are empty.
      {"fluent boolean p; [start] p := true; [9] p := false; [2, 9] p;", true},
      {"fluent boolean p; [start] p := true; [8] p := false; [2, 9] p;", false},
      {"fluent boolean p; [start] p := false; [2, end] p;", true},
      {"fluent boolean p; [start] p := false; (3, 3) p;", true},
      {"fluent boolean p; [start] p := false; [3, 3] p;", false},
      // A goal without a time is one at the end.
      {"fluent boolean p; action a() { duration := 1; [end] p := true; }; [start] p := false; p;",
       true},
  };
  expect_all_judged(cases);
}

TEST_F(PlanMeaningTest, IntervalsAskOnlyWhatLiesInThem) {
  const Case cases[] = {
      // Behind an effect at 0, the goal does not see the initial value.
      {"fluent boolean p; action a() { duration == 1.125; [start] p := true; };"
       "[start] p := false; (start, end] p;",
       true},
      {"fluent boolean p; action a() { duration == 1.125; [start] p := true; };"
       "[start] p := false; [start, end] p;",
       false},
      {"fluent boolean p; action a() { duration := 4; [end] p := true; };"
       "[start] p := false; (4, 6] p;",
       true},
      {"fluent boolean p; action a() { duration := 4; [end] p := true; };"
       "[start] p := false; [4, 6] p;",
       false},
      // An action without length has no inside.
      {"fluent boolean p; fluent boolean q; action a() { duration <= 0; (start, end) q;"
       "[start] p := true; }; [start] p := false; [start] q := false; [end] p;",
       true},
      {"fluent boolean p; fluent boolean q; action a() { duration := 1; (start, end) q;"
       "[start] p := true; }; [start] p := false; [start] q := false; [end] p;",
       false},
      // A number in an action counts from its start.
      {"fluent boolean p; fluent boolean q; action a() { duration := 2; [start] q;"
       "[1] p := true; (1, end] p; }; [start] q := false; [5] q := true; [start] p := false;"
       "[end] p;",
       true},
  };
  expect_all_judged(cases);
}

TEST_F(PlanMeaningTest, DurationsAreJudgedAtTheStart) {
  const Case cases[] = {
      {"fluent boolean p; action a() { duration := -3; [start] p := true; }; [start] p := false;"
       "[end] p;",
       false},
      {"fluent boolean p; fluent float n; action a() { duration >= n; duration <= n + 1;"
       "[start] n := 9; [end] p := true; }; [start] n := 3; [start] p := false; [5] p;",
       true},
      {"fluent boolean p; fluent float n; action a() { duration <= n; [start] n := 9;"
       "[end] p := true; }; [start] n := -1; [start] p := false; [end] p;",
       false},
      {"constant float c(boolean b); c(true) := -2; c(false) := 3; fluent boolean p;"
       "action a(boolean b) { duration := c(b); [end] p := b; }; [start] p := false; [end] p;",
       false},
  };
  expect_all_judged(cases);
}

TEST_F(PlanMeaningTest, IntegersAreDividedByCuttingOff) {
  const char* problem =
      "fluent boolean p; action a() { duration := 5 / 2; [end] p := true; };"
      "[start] p := false; [end] p;";
  EXPECT_NE(text_of(problem).find("a() [2]"), std::string::npos) << text_of(problem);
  const Case cases[] = {
      {"fluent integer n; action a() { duration := 1; [end] n := n / 2; };"
       "[start] n := 7; [end] n == 1;",
       true},
      {"fluent integer n; action a() { duration := 1; [end] n := n / 2; };"
       "[start] n := -7; [end] n == -3;",
       true},
      {"fluent integer n; action a() { duration := 1; [end] n := n / -2; };"
       "[start] n := 7; [end] n == -3;",
       true},
      {"fluent integer n; action a() { duration := 1; [end] n := n / 2; };"
       "[start] n := 7; [end] n == 4;",
       false},
      {"fluent float n; action a() { duration := 1; [end] n := n / 2; };"
       "[start] n := 5; [end] n == 2.5;",
       true},
      {"constant float speed; speed := 2; fluent boolean p; action a() { duration := 5 / speed;"
       "[end] p := true; }; [start] p := false; [2.7] p;",
       true},
      {"constant float speed; speed := 2; fluent boolean p; action a() { duration := 5 / speed;"
       "[end] p := true; }; [start] p := false; [2.4] p;",
       false},
      // Divisors of a few values; zero divides nothing.
      {"fluent integer [0, 3] d; fluent integer n; action a() { duration := 1;"
       "[start] n := 7 / d; }; [start] n := 0; [start] d := 2; [end] n == 3;",
       true},
      {"fluent integer [0, 3] d; fluent integer n; action a() { duration := 1;"
       "[start] n := 7 / d; }; [start] n := 5; [start] d := 0; [end] not (n == 5);",
       false},
      {"constant integer c(boolean b); c(true) := 3; c(false) := 0; fluent integer n;"
       "action a(boolean b) { duration := 1; [start] n := 7 / c(b); }; [start] n := 0;"
       "[end] n == 2;",
       true},
  };
  expect_all_judged(cases);
  EXPECT_EQ(failure("fluent integer d; fluent integer n; action a() { duration := 1;"
                    "[start] n := 7 / d; }; [start] n := 0; [start] d := 2; [end] n == 3;"),
            "InternalError: Non-linear division found, the divisor has no small set of values: "
            "(7 / d)");
}

TEST_F(PlanMeaningTest, NothingIsReadBeforeItHasAValue) {
  const Case cases[] = {
      // Nothing gives q a value; an action does; a goal's other half decides.
      {"fluent boolean p; fluent boolean q; action a() { duration := 1; [start] q;"
       "[end] p := true; }; [start] p := false; [end] p;",
       false},
      {"fluent boolean p; fluent boolean q; action a() { duration := 1; [start] not q;"
       "[end] p := true; }; [start] p := false; [end] p;",
       false},
      {"fluent boolean p; fluent boolean q; action a() { duration := 1; [start] q;"
       "[end] p := true; }; action s() { duration := 1; [end] q := true; };"
       "[start] p := false; [end] p;",
       true},
      {"fluent boolean p; fluent boolean q; action s() { duration := 1; [end] q := false; };"
       "[start] p := true; [end] p or q;",
       true},
      {"fluent boolean p; fluent integer n; action s() { duration := 1; [start] n := n + 1; };"
       "[start] p := true; [end] n > 0;",
       false},
      // Arguments that depend on the state.
      {"type P; instance P a, b; fluent P at; fluent boolean ok(P x); fluent boolean done;"
       "action go() { duration := 1; [start] at := b; };"
       "action work() { duration := 1; [start] ok(at); [end] done := true; };"
       "action mend() { duration := 1; [start] at == b; [end] ok(at) := true; };"
       "[start] at := a; [start] done := false; [end] done;",
       true},
      // Entries of a constant.
      {"type P; instance P dock, hall; constant integer dist(P a, P b); dist(dock, hall) := 3;"
       "fluent P at; fluent boolean polished;"
       "action go(P a, P b) { duration := dist(a, b); [start] at == a; [start] at := b;"
       "[end] polished := true; }; [start] at := dock; [start] polished := false;"
       "[end] polished; [end] at == dock;",
       false},
      {"constant integer c(integer [0, 2] i); c(1) := 3; fluent integer n;"
       "action a(integer [0, 2] i) { duration := c(i); [end] n := i; }; [start] n := 0;"
       "[end] n == 1;",
       true},
      {"constant integer c(integer [0, 2] i); c(1) := 3; fluent integer n;"
       "action a(integer [0, 2] i) { duration := c(i); [end] n := i; }; [start] n := 0;"
       "[end] n == 2;",
       false},
      // Arguments outside of their types.
      {"fluent boolean f(integer [0, 2] i); fluent integer n; action up() { duration := 1;"
       "[start] n := n + 1; [end] f(n + 1) := true; }; [start] n := 1; [start] f(0) := false;"
       "[start] f(1) := false; [start] f(2) := false; [end] n == 3;",
       false},
  };
  expect_all_judged(cases);
}

TEST_F(PlanMeaningTest, OneEffectAtATimeOnWhatArgumentsMean) {
  const char* world =
      "type P; instance P a, b; type R; instance R r, s; fluent P pos(R x);"
      "fluent integer [0, 9] taken(P p); fluent boolean done(R x);"
      "[start] taken(a) := 0; [start] taken(b) := 0; [start] done(r) := false;"
      "[start] done(s) := false; [start] pos(r) := a;"
      "action twice() { duration := 1; [start] taken(pos(r)) := 1; [start] taken(pos(s)) := 2;"
      "[end] done(r) := true; }; [end] done(r);";
  const std::string same = std::string(world) + "[start] pos(s) := a;";
  const std::string other = std::string(world) + "[start] pos(s) := b;";
  const Case cases[] = {{same.c_str(), false}, {other.c_str(), true}};
  expect_all_judged(cases);
}

TEST_F(PlanMeaningTest, LabelsOrderTheMomentsThatAreChosen) {
  const std::string world =
      "fluent boolean p; fluent boolean q; action a() { duration := 1; [end] p := true; };"
      "action b() { duration := 1; [start] not p; [end] q := true; [end] p := false; };"
      "[start] p := false; [start] q := false;"
      "[start, end] contains one: p; [start, end] contains two: (q and not p);";
  const std::string forth = world + "start(one) < start(two);";
  const std::string back = world + "start(two) < start(one);";
  const std::string both = forth + "start(two) < start(one);";
  const Case cases[] = {
      {world.c_str(), true}, {forth.c_str(), true}, {back.c_str(), true}, {both.c_str(), false}};
  expect_all_judged(cases);
}

TEST_F(PlanMeaningTest, RefusedPlansAreLeftForLongerOnes) {
  read(
      "fluent boolean p; action a() { duration := 1; [end] p := true; };"
      "[start] p := false; [end] p;");
  SmtPlanner planner(env_, problem_);
  std::size_t num_asked = 0;
  planner.set_plan_test([&](const std::shared_ptr<Plan>&) { return ++num_asked == 3; });
  EXPECT_NE(planner.solve(), nullptr);
  EXPECT_EQ(planner.num_refused_plans(), 2u);
}

TEST_F(PlanMeaningTest, WithoutActionsThereIsAProof) {
  const std::pair<const char*, NoPlan::Certainty> cases[] = {
      {"fluent boolean p; [start] p := false; [2] p := true; [5, 6] not p;",
       NoPlan::Certainty::PROVEN},
      // More effects than the horizon has steps.
      {"fluent boolean p; [start] p := false; [1] p := true; [2] p := false; [3] p := true;"
       "[4] p := false; [5] p := true; [6] p := false; [8] p;",
       NoPlan::Certainty::BOUNDED},
      {"fluent boolean p; action a() { duration := 1; }; [start] p := false; [end] p;",
       NoPlan::Certainty::BOUNDED},
  };
  for (const auto& [text, certainty] : cases) {
    read(text);
    SmtPlanner planner(env_, problem_);
    EXPECT_EQ(planner.solve(), nullptr) << text;
    EXPECT_EQ(planner.no_plan().certainty, certainty) << text;
  }
}

class MovingTargetsTest : public PlanMeaningTest {
 protected:
  void SetUp() override {
    PlanMeaningTest::SetUp();
    env_.configuration().set_value("pddl", true);
  }
};

TEST_F(MovingTargetsTest, StepsKeepApartWhatOneOfThemWrites) {
  const std::string world =
      "fluent boolean p; fluent boolean q; fluent boolean r; [start] p := false; [start] q := "
      "false;"
      "[start] r := true; action a() { duration := 3; [end] p := true; };";
  // The second action ends when the first one does, or it starts in the very window left.
  const std::string touching = world +
                               "action b() { duration := 3; [end] not p; [end] q := true; };"
                               "[3, 10] r; [3.001] p; [3.005] q;";
  const std::string apart = world +
                            "action b() { duration := 3; [end] r; [end] q := true; };"
                            "[3.001] p; [3.005] q;";
  const Case cases[] = {{touching.c_str(), false}, {apart.c_str(), true}};
  expect_all_judged(cases);
}

}  // namespace
}  // namespace kelvo::smt
