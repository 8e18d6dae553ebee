#include "validation/strict_judge.h"

#include <sstream>
#include <string>
#include <vector>

#include "plans/plan_reader.h"
#include "shell/errors.h"
#include "tests/unit/validation/validation_fixture.h"

namespace kelvo {
namespace {

constexpr const char* kDoesNotHold = "the condition does not hold";
constexpr const char* kDuration = "the duration is not allowed";

/// A plan, and what is wrong with it: "" if nothing is.
struct Case {
  std::string problem;
  std::string plan;
  std::string rule;
};

class StrictJudgeTest : public ValidationFixture {
 protected:
  std::string rule_of(const std::string& anml, const std::string& plan,
                      const StrictOptions& options = {}) {
    reset();
    const model::ProblemInstance problem = read(anml);
    std::istringstream source(plan);
    const PlanText text = PlanReader(env(), problem).read(source);
    const StrictVerdict verdict = StrictJudge(env(), problem, options).judge(*text.plan);
    return verdict.is_valid() ? "" : verdict.fault->rule;
  }

  void expect(const std::vector<Case>& cases) {
    for (const Case& c : cases)
      EXPECT_EQ(rule_of(c.problem, c.plan), c.rule) << c.problem << c.plan;
  }
};

// p is true from the start; `off` makes it false at its end, `on` true.
const std::string kSwitch =
    "fluent boolean p; [start] p := true;"
    "action off() { duration := 1; [end] p := false; };"
    "action on() { duration := 1; [end] p := true; };";

TEST_F(StrictJudgeTest, PointsAskWhatEarlierEffectsHaveLeft) {
  expect({
      {kSwitch + "[5] p;", "4: off() [1]", ""},  // at 5 the effect of 5 is not seen
      {kSwitch + "[5] p;", "3.9: off() [1]", kDoesNotHold},
      {kSwitch + "[5] not p;", "3.9: off() [1]", ""},
      // The end of the plan is one time unit behind all of it.
      {kSwitch + "[end] not p;", "4: off() [1]", ""},
      {kSwitch + "goal not p;", "4: off() [1]", ""},
      {kSwitch + "[end - 1] p;", "4: off() [1]", ""},
      {kSwitch + "[end - 0.5] p;", "4: off() [1]", kDoesNotHold},
      {kSwitch + "[start] not p;", "", kDoesNotHold},
      {kSwitch + "[end - 3] p;", "", "the condition is about a time before 0"},
  });
}

TEST_F(StrictJudgeTest, WindowsAskAllTheirTimes) {
  // `off` ends at 5, `on` at 7: p is false in (5, 7].
  const std::string plan = "4: off() [1]\n6: on() [1]";
  expect({
      {kSwitch + "[0, 5] p;", plan, ""},
      {kSwitch + "[0, 5.1] p;", plan, kDoesNotHold},
      {kSwitch + "[0, 5.1) p;", plan, kDoesNotHold},
      {kSwitch + "(5, 7] not p;", plan, ""},
      {kSwitch + "[5, 7] not p;", plan, kDoesNotHold},
      {kSwitch + "(5, 6) p;", plan, kDoesNotHold},  // nothing happens inside: the last stretch
      {kSwitch + "(7, 9) p;", plan, ""},
      {kSwitch + "[7, 9) p;", plan, kDoesNotHold},
      {kSwitch + "(5, 7.1) not p;", plan, kDoesNotHold},
      // A single moment, and windows without any.
      {kSwitch + "[7, 7] not p;", plan, ""},
      {kSwitch + "[7, 7] p;", plan, kDoesNotHold},
      {kSwitch + "(7, 7] p;", plan, ""},
      {kSwitch + "[7, 7) p;", plan, ""},
      {kSwitch + "[7, 6] p;", plan, ""},
      {kSwitch + "[end - 20, end] p;", "", "the condition is about times before 0"},
  });
}

TEST_F(StrictJudgeTest, WindowsBehindTheEndAreJudgedOnWhatFollows) {
  expect({
      {kSwitch + "[20] p := false; [0, 20] p;", "", ""},
      {kSwitch + "[20] p := false; [0, 21] p;", "", kDoesNotHold},
      {kSwitch + "[20] p := false; [0, 20] contains not p;", "",
       "the condition is met at no time of its window"},
      {kSwitch + "[20] p := false; [0, 21] contains not p;", "", ""},
      // What comes behind the end does not count for goals at the end.
      {kSwitch + "[20] p := false; [end] p;", "", ""},
      {kSwitch + "[1] p := false; [end] p;", "", ""},  // the end is 1
      {kSwitch + "[1] p := false; [end] p;", "0: on() [1]",
       "there are two effects on p at one time"},
      {kSwitch + "[1.5] p := false; [end] p;", "0: on() [1]", kDoesNotHold},
  });
}

TEST_F(StrictJudgeTest, ContainsAsksForSomeTime) {
  const std::string plan = "4: off() [1]\n6: on() [1]";  // p is false in (5, 7]
  const char* never = "the condition is met at no time of its window";
  expect({
      {kSwitch + "[5, 6] contains not p;", plan, ""},
      {kSwitch + "[5.5, 6] contains not p;", plan, ""},  // nothing happens in it
      {kSwitch + "[0, 5] contains not p;", plan, never},
      {kSwitch + "(7, 9] contains not p;", plan, never},
      {kSwitch + "[7, 9] contains not p;", plan, ""},
      {kSwitch + "[7, 7] contains not p;", plan, ""},
      {kSwitch + "(7, 7] contains not p;", plan,
       "its window is empty, so that the condition is met at no time of it"},
      {kSwitch + "[0, 9] contains [2] not p;", plan, never},
      {kSwitch + "[0, 9] contains [1.9] not p;", plan, ""},
      {kSwitch + "[end - 50, end] contains p;", "", ""},
      // In an action, too.
      {kSwitch + "action see() { duration := 4; [all] contains not p; };", plan + "\n2: see() [4]",
       ""},
      {kSwitch + "action see() { duration := 4; [all] contains not p; };", plan + "\n1: see() [4]",
       never},
  });
}

TEST_F(StrictJudgeTest, LabelsAreOrderedByTimesThatExist) {
  const std::string plan = "4: off() [1]\n6: on() [1]";  // p is false in (5, 7]
  const char* unordered =
      "no times at which the labelled conditions are met suit what is asked of them";
  const std::string order = " start(a) < start(b);";
  expect({
      {kSwitch + "[0, 9] contains a: p; [0, 9] contains b: not p;" + order, plan, ""},
      {kSwitch + "[6, 9] contains a: p; [6, 9] contains b: not p;" + order, plan, unordered},
      {kSwitch + "[6, 7] contains a: not p; [7, 7] contains b: not p;" + order, plan, ""},
      {kSwitch + "[7, 7] contains a: not p; [6, 7] contains b: not p;" + order, plan, unordered},
      // As many as one likes fit behind each other where a condition holds for a while.
      {kSwitch + "(5, 7] contains a: not p; (5, 7] contains b: not p; (5, 7] contains c: not p;" +
           order + " start(b) < start(c);",
       plan, ""},
      {kSwitch + "[0, 9] contains a: p; [0, 9] contains b: p;" + order + " start(b) < start(a);",
       plan, unordered},
  });
}

TEST_F(StrictJudgeTest, WindowsMayBeginAndEndWithALabel) {
  const std::string plan = "4: off() [1]\n6: on() [1]";  // p is false in (5, 7]
  const char* unsuitable =
      "no times at which the labelled conditions are met suit what is asked of them";
  const std::string label = "[0, 9] contains a: not p;";
  expect({
      {kSwitch + label + "[start(a), 6] not p;", plan, ""},
      {kSwitch + label + "[start(a), 8] not p;", plan, unsuitable},
      {kSwitch + label + "[start(a), 7.5] p;", plan, unsuitable},
      {kSwitch + label + "(start(a), 9] p;", plan, ""},  // a at 7
      {kSwitch + label + "[start(a), 9] p;", plan, unsuitable},
      {kSwitch + label + "[0, start(a)] p;", plan, unsuitable},  // a is behind 5
      {kSwitch + label + "[0, start(a)) p;", plan, unsuitable},
      {kSwitch + label + "(5, start(a)] not p;", plan, ""},
      {kSwitch + label + "(5, start(a)] p;", plan, unsuitable},
      {kSwitch + label + "[start(a), 5] not p;", plan, ""},  // behind its end: nothing is asked
      {kSwitch + label + "[start(a)] not p;", plan, ""},
      {kSwitch + label + "[start(a)] p;", plan, unsuitable},
      {kSwitch + label + "[0, 9] contains b: p; start(a) < start(b); [start(b), 9] p;", plan, ""},
  });
}

TEST_F(StrictJudgeTest, EffectsOfOneTimeExcludeEachOther) {
  const std::string at =
      "type R; instance R r, s; fluent R pos(R x); fluent boolean taken(R x);"
      "[start] pos(r) := r; [start] pos(s) := r; [start] taken(r) := false;"
      "[start] taken(s) := false;"
      "action move(R x, R y) { duration := 1; [end] pos(x) := y; };"
      "action take(R x) { duration := 1; [start] taken(pos(x)) := true; };"
      "action twice(R x, R y) { duration := 1; [end] taken(x) := true; [end] taken(y) := true; };";
  const char* double_on_r = "there are two effects on taken(r) at one time";
  expect({
      {kSwitch, "4: on() [1]\n4: off() [1]", "there are two effects on p at one time"},
      {kSwitch + "action too() { duration := 1; [end] p := true; };", "4: on() [1]\n4: too() [1]",
       "there are two effects on p at one time"},
      {kSwitch, "4: on() [1]\n4.001: off() [1]", ""},
      {at, "0: take(r) [1]\n0: take(s) [1]", double_on_r},
      {at, "0: move(s, s) [1]\n2: take(r) [1]\n2: take(s) [1]", ""},
      {at, "0: twice(r, s) [1]", ""},
      {at, "0: twice(r, r) [1]", double_on_r},
  });
}

TEST_F(StrictJudgeTest, RightSidesReadTheStateBeforeTheirTime) {
  const std::string swap =
      "fluent integer a; fluent integer b; [start] a := 1; [start] b := 2;"
      "action swap() { duration := 1; [end] a := b; [end] b := a; };";
  expect({
      {swap + "[end] a == 2 and b == 1;", "0: swap() [1]", ""},
      {swap + "[end] a == 1 and b == 2;", "0: swap() [1]\n2: swap() [1]", ""},
      {swap + "[end] a == 2 and b == 2;", "0: swap() [1]", kDoesNotHold},
  });
}

TEST_F(StrictJudgeTest, BoundsAndTypesHoldAtEveryTime) {
  const std::string counter =
      "type R; type Q < R; instance R r; instance Q q; fluent integer[0, 2] n; fluent boolean "
      "f(integer[0, 2] i);"
      "[start] n := 0; [start] f(0) := true;"
      "action up() { duration := 1; [end] n := n + 1; };"
      "action mark(integer[0, 5] i) { duration := 1; [end] f(i) := true; };"
      "action look(integer[0, 5] i) { duration := 1; [start] f(i); };"
      "action name(R x) { duration := 1; };";
  expect({
      {counter, "0: up() [1]\n2: up() [1]", ""},
      {counter, "0: up() [1]\n2: up() [1]\n4: up() [1]",
       "the effect gives n a wrong value: the value 3 is not one of integer [0, 2]"},
      {counter, "0: mark(2) [1]", ""},
      {counter, "0: mark(3) [1]",
       "the effect has no target: an argument of f is wrong: the value 3 is not one of "
       "integer [0, 2]"},
      {counter, "0: look(3) [1]",
       "the condition has no value: an argument of f is wrong: the value 3 is not one of "
       "integer [0, 2]"},
      {counter, "0: look(1) [1]", "the condition has no value: fluent f(1) has no value"},
      {counter, "0: mark(6) [1]", "argument 1 is wrong: the value 6 is not one of integer [0, 5]"},
      {counter, "0: mark(1/2) [1]",
       "argument 1 is wrong: the value 1/2 is not one of integer [0, 5]"},
      {counter, "0: name(r) [1]", ""},
      {counter, "0: name(q) [1]", "argument 1 is wrong: q is no value of type R"},
      {counter, "0: name(3) [1]", "argument 1 is wrong: 3 is no value of type R"},
      {counter, "-1: up() [1]", "the step starts before time 0"},
      {counter, "0: up() [-1]", "the duration of the step is negative"},
      {"fluent boolean p; action early() { duration := 1; [start - 2] p := true; };",
       "1: early() [1]", "the effect comes before time 0"},
  });
}

TEST_F(StrictJudgeTest, NumbersKeepTheTypeOfWhatHoldsThem) {
  const std::string numbers =
      "constant float speed; speed := 2; constant integer whole; whole := 2;"
      "fluent float x; fluent integer n; [start] x := 5; [start] n := 0 - 5;";
  expect({
      {numbers + "[end] x / 2 == 2.5;", "", ""},
      {numbers + "[end] 5 / speed == 2.5;", "", ""},
      {numbers + "[end] 5 / whole == 2;", "", ""},
      {numbers + "[end] n / 2 == 0 - 2;", "", ""},
      {numbers + "[end] n / 2 == 0 - 3;", "", kDoesNotHold},
      {numbers + "[end] n / 2.0 == 0 - 2.5;", "", ""},
      {numbers + "action half() { duration := 5 / speed; [end] x := x / 2; }; [end] x == 1.25;",
       "0: half() [2.5]\n3: half() [5/2]", ""},
      {numbers + "action half() { duration := 5 / whole; };", "0: half() [2.5]", kDuration},
      {numbers + "[end] x / (n + 5) == 1;", "",
       "the condition has no value: there is a division by zero"},
  });
}

TEST_F(StrictJudgeTest, DurationsAreJudgedAtTheStart) {
  const std::string timed =
      "fluent integer n; [start] n := 2; constant integer c(integer[0, 1] i); c(0) := 3;"
      "action inc() { duration := 1; [end] n := n + 1; };"
      "action work() { duration := n; };"
      "action table(integer[0, 1] i) { duration := c(i); };"
      "action range() { duration >= 2 and duration <= 5; };"
      "action any() { };"
      "action given() { duration :in [2, 4]; };";
  expect({
      {timed, "0: inc() [1]\n1: work() [2]", ""},  // starts at the time of the effect
      {timed, "0: inc() [1]\n1: work() [3]", kDuration},
      {timed, "0: inc() [1]\n1.5: work() [3]", ""},
      {timed, "0: table(0) [3]", ""},
      {timed, "0: table(1) [3]", "the condition has no value: constant c(1) has no value"},
      {timed, "0: range() [2]\n0: range() [5]\n0: range() [7/3]", ""},
      {timed, "0: range() [1.999]", kDuration},
      {timed, "0: range() [5.001]", kDuration},
      {timed, "0: any() [17.5]\n0: any()", ""},
      {timed, "0: given() [2]\n0: given() [4]", ""},
      {timed, "0: given() [4.5]", kDuration},
      {timed, "0: inc()", kDuration},  // a step without a duration lasts 0
  });
}

TEST_F(StrictJudgeTest, PlansHoldForEachDurationThatTheEnvironmentMayChoose) {
  const std::string uncertain =
      "fluent boolean p; fluent boolean q; [start] p := false; [start] q := false;"
      "action given() { duration :in [2, 4]; [end] p := true; };"
      "action use() { duration := 1; [start] p; [end] q := true; };"
      "action before() { duration := 1; [start] not p; [end] q := true; };"
      "[end] q;";
  expect({
      {uncertain, "0: given()\n4.1: use() [1]", ""},
      {uncertain, "0: given()\n3: use() [1]", kDoesNotHold},
      {uncertain, "0: given() [2]\n3: use() [1]", ""},  // judged for this one
      {uncertain, "0: given()\n2: before() [1]", ""},
      {uncertain, "0: given()\n2.1: before() [1]", kDoesNotHold},
  });
}

TEST_F(StrictJudgeTest, PlainNumbersCountFromTheStartOfTheAction) {
  const std::string inner =
      "fluent boolean p; [start] p := false; action a() { duration := 5; [2] p := true; };";
  expect({
      {inner + "[12] not p;", "10: a() [5]", ""},
      {inner + "(12, 13] p;", "10: a() [5]", ""},
  });
}

TEST_F(StrictJudgeTest, ValuesThatAreNotGivenCountOnlyWhereTheyDecide) {
  const std::string partial =
      "fluent boolean p; fluent boolean q; fluent integer n; [start] p := true;";
  expect({
      {partial + "[end] p or q;", "", ""},
      {partial + "[end] q or p;", "", ""},
      {partial + "[end] not p implies q;", "", ""},
      {partial + "[end] not (not p and q);", "", ""},
      {partial + "[end] p and q;", "", "the condition has no value: fluent q has no value"},
      {partial + "[end] n == n;", "", "the condition has no value: fluent n has no value"},
      {partial + "[start] p; [0, 1] contains n > 0;", "",
       "the condition is met at no time of its window"},
  });
}

TEST_F(StrictJudgeTest, FirstValuesMayReadEachOther) {
  expect({
      {"fluent boolean p; fluent boolean r; [start] p := r; [start] r := false; [end] not p;", "",
       ""},
      {"fluent integer a; fluent integer b; fluent integer c; [start] a := b + c; [start] b := c * "
       "2;"
       "[start] c := 3; [end] a == 9;",
       "", ""},
      {"type T; instance T x, y; fluent T at; fluent boolean full(T t); [start] full(at) := true;"
       "[start] full(y) := false; [start] at := x; [end] full(x) and not full(y);",
       "", ""},
  });
}

TEST_F(StrictJudgeTest, FaultsOfTheProblemAreErrorsByName) {
  const std::pair<std::string, std::string> cases[] = {
      {"fluent boolean p; fluent boolean q; [start] p := q;", "reads fluent q, which has no value"},
      {"fluent boolean p; fluent boolean q; [start] p := q; [start] q := not p;",
       "whose value depends on it"},
      {"fluent boolean p; [start] p := not p;", "whose value depends on it"},
      {"fluent boolean p; [start] p := true; [0] p := false;", "fluent p has another one"},
      {"fluent integer[0, 5] n; fluent integer m; [start] m := 9; [start] n := m;",
       "the value 9 is not one of integer [0, 5]"},
  };
  for (const auto& [problem, message] : cases) {
    try {
      rule_of(problem, "");
      ADD_FAILURE() << problem;
    } catch (const InvalidParameterError& error) {
      EXPECT_NE(error.message().find(message), std::string::npos) << error.message();
    }
  }
}

TEST_F(StrictJudgeTest, MembersBelongToTheObjectThatActs) {
  const std::string lifts =
      "type Place; instance Place hall, roof;"
      "type Lift with { constant float speed; fluent Place at; fluent boolean seen(Place p);"
      "action move(Place a, Place b) { duration := 10 / speed; [start] a != b and at == a;"
      "[end] at := b; [end] seen(b) := true; };"
      "action meet(Lift other) { duration := 1; [start] other.at == at; }; };"
      "instance Lift slow, fast; slow.speed := 1; fast.speed := 2.5;"
      "[start] slow.at := hall; [start] fast.at := roof;";
  expect({
      {lifts + "[end] fast.at == hall; [end] fast.seen(hall);", "0: fast.move(roof, hall) [4]", ""},
      {lifts, "0: slow.move(hall, roof) [10]\n11: fast.meet(slow) [1]", ""},
      {lifts, "0: fast.meet(slow) [1]", kDoesNotHold},
      {lifts, "0: slow.move(hall, roof) [4]", kDuration},
      {lifts, "0: slow.move(roof, hall) [10]", kDoesNotHold},
      {lifts, "0: move(hall, roof) [10]",
       "the action belongs to an object, which the step does not name"},
      {lifts, "0: hall.move(hall, roof) [10]",
       "the action belongs to objects of type Lift, and hall is of type Place"},
  });
}

TEST_F(StrictJudgeTest, SetsAreValues) {
  const std::string sets =
      "type Item; instance Item pen, cup; fluent set(Item) bag; [start] bag := {pen};"
      "action put(Item i) { duration := 1; [end] bag := bag union {i}; };"
      "action drop(Item i) { duration := 1; [start] i in bag; [end] bag := bag \\ {i}; };";
  expect({
      {sets + "[end] bag == {cup, pen} and {pen} subset bag;", "0: put(cup) [1]", ""},
      {sets + "[end] bag == { };", "0: drop(pen) [1]", ""},
      {sets, "0: drop(cup) [1]", kDoesNotHold},
      {sets + "[end] (bag intersection {cup}) == { };", "0: put(cup) [1]", kDoesNotHold},
  });
}

TEST_F(StrictJudgeTest, InterferingStepsKeepTheirDistance) {
  StrictOptions options;
  options.no_moving_targets = true;
  options.epsilon = rational(1) / 100;
  const std::string steps =
      "fluent boolean p; fluent boolean idle; fluent integer n; [start] p := true;"
      "[start] idle := true; [start] n := 1;"
      "action write() { duration := 5; [start] p := true; };"
      "action read() { duration := 5; [start] p; };"
      "action hidden() { duration := 5; [start] true or p; };"
      "action all_along() { duration := 5; (start, end) p; };"
      "action last() { duration := n; };"
      "action inc() { duration := 5; [start] n := n + 2; };"
      "action dec() { duration := 5; [start] n := n - 1; };"
      "action twice() { duration := 5; [start] n := 2 * n; };";
  const std::string on_p = "two steps touch p less than 1/100 apart, and one of them writes it";
  const std::string on_n = "two steps touch n less than 1/100 apart, and one of them writes it";
  const std::tuple<std::string, std::string> cases[] = {
      {"0: read() [5]\n0: read() [5]", ""},
      {"0: read() [5]\n0: write() [5]", on_p},  // though the value stays
      {"0: write() [5]\n0: hidden() [5]", on_p},
      {"0: write() [5]\n0.009: read() [5]", on_p},
      {"0: write() [5]\n0.01: read() [5]", ""},
      {"0: read() [5]\n0.005: read() [5]\n0.012: write() [5]", on_p},
      {"0: all_along() [5]\n1: write() [5]", ""},
      {"0: inc() [5]\n0: inc() [5]\n0.001: dec() [5]\n9: last() [4]", ""},
      {"0: inc() [5]\n0: last() [1]", on_n},
      {"0: inc() [5]\n0: twice() [5]", on_n},
      {"0: twice() [5]\n0: twice() [5]", on_n},
  };
  for (const auto& [plan, rule] : cases) EXPECT_EQ(rule_of(steps, plan, options), rule) << plan;
  EXPECT_EQ(rule_of(steps, "0: read() [5]\n0: write() [5]"), "");
}

}  // namespace
}  // namespace kelvo
