#include "validation/tt_validator.h"

#include "shell/errors.h"
#include "shell/warnings.h"
#include "tests/unit/validation/validation_fixture.h"

namespace kelvo {
namespace {

class TTValidatorTest : public ValidationFixture {
 protected:
  struct Case {
    const char* plan;
    /// What the log must say; null for a valid plan.
    const char* reason;
  };

  bool validate(const std::string& anml, const std::string& plan) {
    reset();
    log.str("");
    const model::ProblemInstance problem = read(anml);
    return TTValidator(env(), problem).validate(read_plan(problem, plan));
  }

  void expect_verdicts(const std::string& anml, const std::vector<Case>& cases) {
    for (const auto& [plan, reason] : cases) {
      EXPECT_EQ(validate(anml, plan), reason == nullptr) << plan << "\n" << log.str();
      if (reason != nullptr) {
        EXPECT_NE(log.str().find(reason), std::string::npos) << plan << "\n" << log.str();
      }
    }
  }

  template <typename Error>
  void expect_error(const std::string& anml, const std::string& plan, const std::string& text) {
    try {
      validate(anml, plan);
      ADD_FAILURE() << "nothing was raised instead of: " << text;
    } catch (const Error& error) {
      EXPECT_EQ(error.message(), text);
    }
  }
};

TEST_F(TTValidatorTest, TheGoalStandsBehindThePlan) {
  expect_verdicts("fluent boolean p; [start] p := true; goal p;", {{"", nullptr}});
  expect_verdicts("fluent boolean p; [start] p := false; goal p;",
                  {{"", "Condition p is violated!"}});
  const char* late =
      "fluent boolean p; [start] p := false;"
      "action a() { duration := 2; [end] p := true; };"
      "goal [end] p;";
  expect_verdicts(late, {{"7: a() [2]", nullptr}, {"", "Condition p is violated!"}});
  EXPECT_TRUE(validate(late, "7: a() [2]"));
  EXPECT_NE(log.str().find("Simulation Time: 10"), std::string::npos) << log.str();
  EXPECT_NE(log.str().find("Assigning p := true"), std::string::npos) << log.str();
}

TEST_F(TTValidatorTest, AGoalThatOnlyALateEffectReachesIsWarnedOf) {
  const char* dawn =
      "fluent boolean light; fluent boolean up; [start] light := false; [start] up := false;"
      "[6] light := true;"
      "action get_up() { duration := 2; [end] up := true; }; [end] light; [end] up;";
  const auto warnings_after = [&](const std::string& plan, bool is_valid) {
    EXPECT_EQ(validate(dawn, plan), is_valid) << plan;
    return env().warning_manager().warnings();
  };
  EXPECT_EQ(warnings_after("5: get_up() [3]", false).size(), 0u) << "for another reason";
  EXPECT_EQ(warnings_after("3: get_up() [2]", false),
            std::vector<std::string>{
                "The effect on light at time 6 comes behind the plan, whose end counts as time 6: "
                "goals at the end are judged without it"});
  EXPECT_EQ(warnings_after("4: get_up() [2]", true).size(), 0u);
}

TEST_F(TTValidatorTest, APlainNumberInAnActionIsATimeOfThePlan) {
  const char* anml =
      "fluent boolean p; fluent boolean q; [start] p := false; [start] q := false; [4] q := true;"
      "action a() { duration := 3; [5] q; [start + 1] q; [end] p := true; }; [end] p;";
  EXPECT_TRUE(validate(anml, "4: a() [3]\n9: a() [3]"));
  EXPECT_EQ(env().warning_manager().warnings(),
            std::vector<std::string>{
                "The time 5 in action 'a' counts from the start of the plan, for the planners from "
                "that of the action: write start + 5"});
}

TEST_F(TTValidatorTest, DurationsAreCheckedWhenTheActionStarts) {
  expect_verdicts(
      "fluent integer n; [start] n := 0;"
      "action a(integer[1, 9] k) { duration >= k; duration <= 5; [end] n := n + k; };"
      "goal n == 5;",
      {{"0: a(5) [5]", nullptr},
       {"0: a(2) [2]\n2: a(3) [3]", nullptr},
       {"0: a(2) [2]\n2: a(2) [2]", "Condition (n == 5) is violated!"},
       {"0: a(5) [4]", "is violated!"},
       {"0: a(5) [6]", "is violated!"}});
}

TEST_F(TTValidatorTest, EffectsShowWhenTheClockMovesOn) {
  const char* anml =
      "fluent boolean p; fluent boolean q; [start] p := false; [start] q := false;"
      "action a() { duration := 1; [start] p := true; [end] p := false; };"
      "action at_start() { duration := 1; [start] p; [end] q := true; };"
      "action over() { duration := 2; (start, end] p; [end] q := true; };"
      "goal q;";
  expect_verdicts(anml, {{"0: a() [1]\n0: at_start() [1]", "Condition p is violated!"},
                         {"0: a() [1]\n1: at_start() [1]", nullptr},
                         {"0: a() [1]\n1.5: at_start() [1]", "Condition p is violated!"},
                         // At 1 the state before 1 counts; at 2.5 there is no check.
                         {"0: a() [1]\n0.5: over() [2]", nullptr},
                         {"0: a() [1]\n0.5: over() [2]\n1.5: a() [1]",
                          "Duartive Condition p is violated at time 5/2"},
                         {"2: over() [2]\n1: a() [1]", nullptr}});
}

TEST_F(TTValidatorTest, AWindowIsNotCheckedAtItsUpperEnd) {
  const char* anml =
      "fluent boolean p; fluent boolean q; fluent boolean r;"
      "[start] p := true; [start] q := false; [start] r := false;"
      "action hold() { duration := 4; [start, end] p; [end] p := false; [end] q := true; };"
      "action breaks() { duration := 3; [end] p := false; };"
      "action nop() { duration := 0.5; [start] r; };"
      "goal q;";
  expect_verdicts(anml, {{"0: hold() [4]", nullptr},
                         {"0: hold() [4]\n0: breaks() [3]", nullptr},
                         {"0: hold() [4]\n1: breaks() [3]", "Double effect on p at the same time!"},
                         {"0: breaks() [3]\n0: hold() [4]\n3.25: nop() [1/2]",
                          "Duartive Condition p is violated at time 4"}});
}

TEST_F(TTValidatorTest, TheUncheckedLastStretchIsWarnedOf) {
  const char* anml =
      "fluent boolean p; fluent integer[0, 5] n; fluent boolean q;"
      "[start] p := true; [start] q := false; [start] n := 3;"
      "action hold() { duration := 4; [start, end] p; [end] q := true; };"
      "action breaks() { duration := 3; [end] p := false; };"
      "action grow() { duration := 1; [end] n := n + 3; };"
      "goal q;";
  const auto warnings_of = [&](const std::string& plan) {
    EXPECT_TRUE(validate(anml, plan));
    std::vector<std::string> result = env().warning_manager().warnings();
    std::erase_if(result, [](const std::string& w) { return w.find("at time") == w.npos; });
    return result;
  };
  EXPECT_TRUE(warnings_of("0: hold() [4]\n").empty());
  EXPECT_EQ(warnings_of("0: hold() [4]\n0: breaks() [3]\n0.5: grow() [1]\n"),
            (std::vector<std::string>{
                "The value 6 of n at time 3/2 is outside the bounds of its type integer [0, 5]",
                "The condition p does not hold up to the end of its interval at time 4"}));
}

TEST_F(TTValidatorTest, TwoEffectsOnOneFluentMayNotMeet) {
  const char* anml =
      "fluent boolean p(integer[0, 3] i); fluent integer[0, 3] k;"
      "[start] p(0) := false; [start] p(1) := false; [start] p(2) := false; [start] p(3) := false;"
      "[start] k := 1;"
      "action by_constant() { duration := 1; [end] p(1) := true; };"
      "action by_fluent() { duration := 1; [end] p(k) := true; };"
      "action by_quotient(integer[0, 3] n) { duration := 1; [end] p(n / 1) := true; };"
      "goal p(1);";
  expect_verdicts(anml, {{"0: by_constant() [1]\n0: by_constant() [1]", "Double effect on p(1)"},
                         {"0: by_constant() [1]\n0: by_fluent() [1]", "Double effect on p(1)"},
                         {"0: by_quotient(1) [1]\n0: by_fluent() [1]", "Double effect on p(1)"},
                         {"0: by_quotient(2) [1]\n0: by_fluent() [1]", nullptr},
                         {"0: by_constant() [1]\n0.001: by_fluent() [1]", nullptr}});
}

TEST_F(TTValidatorTest, ProblemsHaveTimedEffectsAndWindows) {
  const char* anml =
      "fluent boolean lamp; fluent boolean done; [start] lamp := false; [start] done := false;"
      "[start + 5] lamp := true; [20] lamp := false;"
      "action work() { duration := 3; [start, end] lamp; [end] done := true; };"
      "goal [10, 15] not done; goal done;";
  expect_verdicts(anml, {{"6: work() [3]", "Duartive Condition (not done) is violated at time 15"},
                         {"4: work() [3]", "Duartive Condition lamp is violated at time 7"},
                         {"5: work() [3]", "Duartive Condition lamp is violated at time 8"},
                         {"16: work() [3]", nullptr},
                         {"18: work() [3]\n19: work() [3]", "violated at time 22"}});
}

TEST_F(TTValidatorTest, ContainsAsksForOneMoment) {
  const char* anml =
      "fluent boolean p; [start] p := false;"
      "action up() { duration := 1; [end] p := true; };"
      "action down() { duration := 1; [end] p := false; };"
      "goal [5, 10] contains p;";
  expect_verdicts(
      anml, {{"3: up() [1]\n20: down() [1]", nullptr},
             {"6: up() [1]\n7: down() [1]\n20: down() [1]", nullptr},
             {"1: up() [1]\n2: down() [1]\n20: down() [1]", "Contains condition p is violated!"},
             // The window outlasts the plan and is not judged.
             {"1: up() [1]", nullptr}});
  expect_error<InternalError>("fluent boolean p; [start] p := false; goal [5, 10] contains [2] p;",
                              "", "InternalError: Unsupported contains with duration");
}

TEST_F(TTValidatorTest, IntermediateTimesOfActionsAreBound) {
  const char* anml =
      "fluent boolean p; fluent integer n; [start] p := false; [start] n := 0;"
      "action a() { duration >= 3; [start + 1] p := true; [start + 1, end - 1) p;"
      "  (start + 1, end - 1) p; [end] n := 1; };"
      "goal n == 1;";
  expect_verdicts(anml, {{"0: a() [3]", "Duartive Condition p is violated at time 2"}});
  const char* half_open =
      "fluent boolean p; fluent integer n; [start] p := false; [start] n := 0;"
      "action a() { duration >= 3; [start + 1] p := true; (start + 1, end - 1] p; [end - 1] n := "
      "1; };"
      "goal n == 1;";
  expect_verdicts(half_open, {{"0: a() [3]", nullptr}});
}

TEST_F(TTValidatorTest, StructuredProblemsAreFlattened) {
  const char* anml =
      "type Robot with { fluent boolean busy; action work(integer[0, 3] k) {"
      "  duration := 2; [start] not busy; [start] busy := true; [end] busy := false;"
      "  [end] total := total + k; }; };"
      "instance Robot r1, r2; fluent integer total; [start] total := 0;"
      "[start] r1.busy := false; [start] r2.busy := false;"
      "action noop(Robot r) { duration := 1; [start] not r.busy; };"
      "goal total == 4;";
  expect_verdicts(anml,
                  {{"0: r1.work(1) [2]\n0.5: r2.work(3) [2]", nullptr},
                   {"0: r1.work(1) [2]\n0.5: r1.work(3) [2]", "is violated!"},
                   {"0: r1.work(1) [2]\n0.5: r2.work(3) [2]\n1: noop(r1) [1]", "is violated!"},
                   {"0: r1.work(1) [2]\n0.5: r2.work(3) [2]\n3: noop(r1) [1]", nullptr}});
}

TEST_F(TTValidatorTest, WhatStaysOpenIsAnError) {
  expect_error<InvalidParameterError>(
      "fluent boolean p; goal p;", "",
      "InvalidParameterError: Unable to simplify to a constant! p -> p");
  expect_error<InvalidParameterError>(
      "fluent boolean p; fluent integer x; [start] p := false;"
      "action a() { duration := 1; [end] p := x > 3; }; goal p;",
      "0: a() [1]", "InvalidParameterError: Unable to simplify to a constant! (x > 3) -> (x > 3)");
  // An operand without value does no harm where the others decide.
  EXPECT_TRUE(validate("fluent boolean p; fluent boolean q; [start] p := true; goal p or q;", ""));
}

TEST_F(TTValidatorTest, UncertainDurationsAreTheLongest) {
  expect_verdicts(
      "fluent boolean baked; fluent boolean hot; [start] baked := false; [start] hot := false;"
      "action heat() { duration := 10; [end] hot := true; };"
      "action bake() { duration :in [30, 40]; [start, end] hot; [end] baked := true; };"
      "goal [end] baked;",
      {{"0: heat() [10]\n10.5: bake() [40]", nullptr},
       {"0: heat() [10]\n10.5: bake() [35]", "is violated!"},
       {"0: heat() [10]\n9: bake() [40]", "Duartive Condition"}});
}

TEST_F(TTValidatorTest, SetsAndParametersAreCompiledAway) {
  expect_verdicts(
      "type Parcel; instance Parcel p1, p2, p3; fluent set(Parcel) bag; fluent boolean weighed;"
      "constant boolean light(Parcel p); light(p1) := true; light(p2) := true; light(p3) := false;"
      "[start] bag := { }; [start] weighed := false;"
      "action pick(Parcel p) {"
      "  duration := 2; [start] not p in bag; [start] light(p); [end] bag := bag union {p}; };"
      "action weigh() { duration := 1; [start] bag == {p1, p2}; [end] weighed := true; };"
      "goal [end] weighed;",
      {{"0: pick(p1) [2]\n3: pick(p2) [2]\n6: weigh() [1]", nullptr},
       {"0: pick(p1) [2]\n6: weigh() [1]", "is violated!"},
       {"0: pick(p1) [2]\n3: pick(p1) [2]", "is violated!"},
       {"0: pick(p3) [2]", "The step of action pick at time 0 can never be executed!"}});
}

}  // namespace
}  // namespace kelvo
