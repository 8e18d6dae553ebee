#include "smt/smt_planner.h"

#include <gtest/gtest.h>

#include <sstream>

#include "parsers/anml/anml_parser.h"
#include "plans/time_triggered_plan.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "validation/tt_validator.h"

namespace kelvo::smt {
namespace {

class SmtPlannerTest : public testing::Test {
 protected:
  std::shared_ptr<Plan> solve(const std::string& text, long max_horizon = 10) {
    env_.configuration().set_value("smt-max-horizon", max_horizon);
    env_.configuration().set_value("rational-precision", true);
    std::istringstream source(text);
    problem_ = AnmlParser(env_).parse(source);
    return SmtPlanner(env_, problem_).solve();
  }
  /// Solves, and has the validator judge the plan.
  testing::AssertionResult has_valid_plan(const std::string& text) {
    const std::shared_ptr<Plan> plan = solve(text);
    if (plan == nullptr) return testing::AssertionFailure() << "no plan";
    const auto steps = std::make_shared<TimeTriggeredPlan>(plan);
    if (TTValidator(env_, problem_).validate(steps)) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "invalid plan\n" << *plan;
  }
  std::string text_of(const std::shared_ptr<Plan>& plan) {
    std::ostringstream text;
    text << *plan;
    return text.str();
  }

  Environment env_;
  model::ProblemInstance problem_;
};

TEST_F(SmtPlannerTest, ALimitOfTheSolverLeavesTheProblemUndecided) {
  std::istringstream source(
      "fluent boolean p; action a() { duration := 1; [end] p := true; };"
      "[start] p := false; [end] p;");
  problem_ = AnmlParser(env_).parse(source);
  SmtPlanner planner(env_, problem_, SolverLimits{1});
  EXPECT_EQ(planner.solve(), nullptr);
  EXPECT_EQ(planner.no_plan().certainty, NoPlan::Certainty::UNDECIDED);
  EXPECT_EQ(planner.no_plan().reason,
            "the solver gave up at 2 steps: the limit on memory is reached");
  EXPECT_GT(SolverLimits::of_machine().memory, 0U);
  EXPECT_NE(SmtPlanner(env_, problem_).solve(), nullptr);
}

TEST_F(SmtPlannerTest, PlansAreValid) {
  const char* problems[] = {
      // A goal that holds from the beginning.
      "fluent boolean p; [start] p := true; [end] p;",
      // Required concurrency: the light is on only while the match burns.
      "fluent boolean light; fluent boolean mended;"
      "action burn() { duration := 8; [start] light := true; [end] light := false; };"
      "action mend() { duration := 5; [start, end] light; [end] mended := true; };"
      "[start] light := false; [start] mended := false; [end] mended;",
      // A timed effect opens a window for an action of free duration.
      "fluent boolean open; fluent boolean done;"
      "action visit() { duration >= 2; duration <= 6; (start, end) open; [end] done := true; };"
      "[start] open := false; [start + 10] open := true; [start + 14] open := false;"
      "[start] done := false; [end] done;",
      // Numeric fluents with bounds and an integer parameter.
      "fluent integer [0, 10] level;"
      "action fill(integer [1, 4] n) { duration := n; [end] level := level + n; };"
      "[start] level := 0; [end] level == 7;",
      // Fluents and constants of user types, with arguments that are no constants.
      "type Place; instance Place a, b, c; fluent Place at; constant Place next(Place p);"
      "constant float far(Place p); next(a) := b; next(b) := c; next(c) := a;"
      "far(a) := 1.5; far(b) := 2; far(c) := 0.5; fluent boolean seen(Place p);"
      "action go() { duration := 2; [start] seen(at) := true; [end] at := next(at); };"
      "[start] at := a; [start] seen(a) := false; [start] seen(b) := false; [start] seen(c) := "
      "false;"
      "[end] at == c; [end] seen(a) and seen(b);",
      // Some moment of the window, and a goal over a window.
      "fluent boolean lamp;"
      "action on() { duration := 1; [start] not lamp; [end] lamp := true; };"
      "action off() { duration := 1; [start] lamp; [end] lamp := false; };"
      "[start] lamp := false; [start + 4, start + 6] contains lamp; [start + 9, start + 12] lamp;",
  };
  for (const char* problem : problems) EXPECT_TRUE(has_valid_plan(problem)) << problem;
}

TEST_F(SmtPlannerTest, TheHorizonStaysBelowItsLimit) {
  const char* one_step =
      "fluent boolean p; action a() { duration := 1; [end] p := true; };"
      "[start] p := false; [end] p;";
  // The goal is read before the last step: start, end and the last step behind them.
  EXPECT_EQ(solve(one_step, 2), nullptr);
  EXPECT_EQ(solve(one_step, 3), nullptr);
  EXPECT_NE(solve(one_step, 6), nullptr);
  EXPECT_EQ(solve("fluent boolean p; [start] p := false; [end] p;"), nullptr);
}

TEST_F(SmtPlannerTest, TwoEffectsOnOneFluentExcludeEachOther) {
  EXPECT_EQ(solve("fluent boolean p; [start] p := false; [8] p;"
                  "[start + 5] p := true; [start + (2 + 3)] p := true;"),
            nullptr);
  EXPECT_NE(solve("fluent boolean p; [start] p := false; [8] p;"
                  "[start + 5] p := true; [start + (2 + 4)] p := true;"),
            nullptr);
}

TEST_F(SmtPlannerTest, OptimisationIsRefusedBeforeTheSearch) {
  env_.configuration().set_value("smt-optimization-rounds", 1L);
  EXPECT_THROW(solve("fluent boolean p; [start] p := false; [end] p;", 4), InternalError);
}

}  // namespace
}  // namespace kelvo::smt
