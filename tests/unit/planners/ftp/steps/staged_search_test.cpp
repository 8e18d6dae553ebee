#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "model/action.h"
#include "planners/ftp/ftp_planner.h"
#include "planners/ftp/relaxation/hff.h"
#include "planners/ftp/relaxation/landmarks.h"
#include "planners/ftp/steps/elimination.h"
#include "planners/ftp/steps/staged_search.h"
#include "planners/ftp/steps/successors.h"
#include "planners/ftp/task/step_task.h"
#include "plans/time_triggered_plan.h"
#include "shell/numbers.h"
#include "tests/unit/planners/ftp/steps/guided_fixture.h"

namespace kelvo::ftp {
namespace {

using Kind = GuidedMove::Kind;

TEST_F(GuidedSearchTest, EventsOfOneInstantAreOneStep) {
  load(R"(
    fluent boolean p; fluent boolean q; fluent boolean r;
    action both_ends() { duration := 4; [start] p; [start] q := true; (start, end] q; [end] p := true;
                         [start + 4] r := true; };
    action inside() { duration := 4; [start + 1] p; [start + 1] q := true; (start + 1, end - 1) q;
                      [end - 1] r := true; };
    action at_start() { duration := 4; [start] p := true; };
    [start] p := true; [start] q := false; [start] r := false;
    [end] p and q and r;
  )");
  EXPECT_EQ(offsets_of("both_ends"), (std::vector<double>{0, 4}));
  EXPECT_EQ(offsets_of("inside"), (std::vector<double>{0, 1, 3}));
  EXPECT_EQ(offsets_of("at_start"), (std::vector<double>{0}));
  // The left-open condition is open behind the step of its left end, and not tested in it.
  const GuidedList& list = task_->list(list_of("both_ends"));
  EXPECT_EQ(task_->step(list.first_step).opened.size(), 1U);
  EXPECT_EQ(list.open_at[1].conditions.size(), 1U);
  EXPECT_EQ(list.open_at[2].conditions.size(), 0U);
}

TEST_F(GuidedSearchTest, OnlyActionsWithoutTemporaryLiteralsAreCompressed) {
  load(R"(
    fluent boolean need; fluent boolean lock; fluent boolean done; fluent boolean other;
    fluent integer[0, 9] n;
    action envelope() { duration := 5; [start] need := true; [end] need := false; };
    action locked() { duration := 2; [start] lock; [start] lock := false; [all] need;
                      [end] lock := true; [end] done := true; };
    action counts() { duration := 2; [start] n := n - 1; [end] n := n + 1; [end] other := true; };
    action asks_late() { duration := 2; [end] other; [end] done := true; };
    [start] need := false; [start] lock := true; [start] done := false; [start] other := false;
    [start] n := 3; [end] done and other;
  )");
  struct Case {
    const char* action;
    bool may_compress;
  };
  for (const Case& expected : {Case{"envelope", false}, Case{"locked", true}, Case{"counts", true},
                               Case{"asks_late", true}}) {
    const GuidedList& list = task_->list(list_of(expected.action));
    EXPECT_EQ(list.may_compress, expected.may_compress) << expected.action;
  }
}

TEST_F(GuidedSearchTest, WhatCannotBeReachedOrDoesNotHelpIsLeftOut) {
  load(R"(
    fluent boolean p; fluent boolean q; fluent boolean r; fluent boolean never;
    action helps() { duration := 1; [start] p; [end] q := true; };
    action blocked() { duration := 1; [start] never; [end] q := true; };
    action aimless() { duration := 1; [end] r := true; };
    action twice() { duration := 3; [start + 3] q := true; [end] q := false; };
    action early() { duration := 3; [end - 5] p; [end] q := true; };
    [start] p := true; [start] q := false; [start] r := false; [start] never := false; [end] q;
  )");
  for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < task_->lists().size(); ++id) {
    const GuidedList& list = task_->list(id);
    EXPECT_EQ(list.is_useful, list.action->name().starts_with("helps")) << list.action->name();
  }
}

/// Problems with what makes time hard, and the least makespans of their plans.
std::vector<std::pair<std::string, rational>> timed_problems() {
  return {
      {MATCH_CELLAR, 5},
      // Only what interferes is ordered.
      {R"(fluent boolean p; fluent boolean q;
          action a() { duration := 3; [end] p := true; };
          action b() { duration := 5; [end] q := true; };
          [start] p := false; [start] q := false; [end] p and q;)",
       5},
      // A reader behind a writer, and a writer behind that reader.
      {R"(fluent boolean p; fluent boolean q; fluent boolean r;
          action a() { duration := 1; [end] p := true; };
          action b() { duration := 1; [start] p; [end] q := true; };
          action c() { duration := 1; [start] q; [start] p := false; [end] r := true; };
          [start] p := false; [start] q := false; [start] r := false; [end] r and not p;)",
       rational(302, 100)},
      // A window of the problem that is just long enough.
      {R"(fluent boolean open; fluent boolean sent;
          action send() { duration := 2; [all] open; [end] sent := true; };
          [start] open := false; [start] sent := false;
          [5] open := true; [7.5] open := false; [end] sent;)",
       rational(701, 100)},
      // Two slots of one condition keep their order: the second lamp burns before the first goes
      // out.
      {R"(fluent boolean one; fluent boolean two; fluent boolean done; fluent boolean swapped;
          action work() { duration := 10; [start, end] one or two; [end] done := true; };
          action light_two() { duration := 4; [end] two := true; };
          action dim_one() { duration := 1; [end] one := false; [end] swapped := true; };
          [start] one := true; [start] two := false; [start] done := false;
          [start] swapped := false; [end] done and swapped;)",
       rational(0)},
      // A free duration that has to reach over another action.
      {R"(fluent boolean lit; fluent boolean p; fluent boolean past;
          action hold() { duration >= 2 and duration < 9; [start] lit := true; [end] lit := false;
                          [end] past := true; };
          action use() { duration := 4; [start, end) lit; [end] p := true; };
          [start] lit := false; [start] p := false; [start] past := false;
          [end] p and past and not lit;)",
       rational(401, 100)},
      // A reader up to the instant at which what it reads is taken away.
      {R"(fluent boolean p; fluent boolean q; fluent boolean open;
          action z() { duration := 2; [end] p := true; };
          action b() { duration := 3; [start] p; [all] open; [end] q := true; };
          [start] p := false; [start] q := false; [start] open := true;
          [5.01] open := false; [end] q;)",
       rational(501, 100)},
      // What is true from an instant on is enough for a condition that is open on the left.
      {R"(fluent boolean p; fluent boolean q;
          action f() { duration := 2; [start] not p; [start] p := true; [end] p := false; };
          action g() { duration := 2; (start, end] p; [end] q := true; };
          [start] p := false; [start] q := false; [end] q;)",
       2},
      // Numbers with bounds, a fluent of a user type, effects between start and end.
      {R"(type place; instance place home, yard, shop;
          fluent place at; fluent integer[0, 4] load; fluent boolean sold;
          action go(place from, place to) { duration := 2; [start] at == from; [end - 0.5] at := to; };
          action take() { duration := 1; [all] at == yard; [start + 0.5] load := load + 2; };
          action sell() { duration := 1; [all] at == shop; [start] load >= 4; [end] load := load - 4;
                          [end] sold := true; };
          [start] at := home; [start] load := 0; [start] sold := false; [end] sold and load == 0;)",
       rational(0)},
      // A goal window, open and closed, and one that reaches to the end.
      {R"(fluent boolean p; fluent boolean q; fluent boolean calm;
          action a() { duration := 1; [start] not calm; [end] p := true; };
          action rest() { duration := 1; [end] calm := true; };
          action wake() { duration := 1; [end] calm := false; };
          [start] p := false; [start] q := false; [start] calm := false;
          [start + 4, start + 6] calm; (start + 8, end] not calm; [end] p;)",
       rational(0)},
      // The goal needs what the problem does late: the plan waits for it.
      {R"(fluent boolean p; fluent boolean q;
          action a() { duration := 2; [end] q := true; };
          [start] p := false; [start] q := false; [20] p := true; [end] p and q;)",
       rational(1901, 100)},
      // An effect that is no constant, and a fluent whose argument depends on the state.
      {R"(type bit; instance bit x, y; fluent bit which; fluent boolean raised(bit b);
          fluent boolean copy;
          action flip() { duration := 1; [end] raised(which) := not copy; };
          action choose() { duration := 1; [start] which == x; [end] which := y; };
          [start] which := x; [start] raised(x) := false; [start] raised(y) := false;
          [start] copy := false; [end] raised(x) and raised(y);)",
       rational(0)},
  };
}

TEST_F(GuidedSearchTest, EveryWayOfSearchingFindsValidPlans) {
  GuidedOptions full;
  GuidedOptions safe;
  safe.compression = Compression::SHORTCUT;
  safe.duplicates = Duplicates::EXACT;
  GuidedOptions plain;
  plain.compression = Compression::NONE;
  plain.preferred_operators = false;
  plain.landmarks = false;
  plain.heuristic = {/*numeric_supporters=*/false, /*counts_relaxed_plan=*/false};
  for (const auto& [text, least] : timed_problems()) {
    for (const GuidedOptions& options : {full, safe, plain}) {
      const Found found = solve(text, options);
      EXPECT_TRUE(found.has_plan) << text;
      EXPECT_TRUE(found.is_valid) << text;
      EXPECT_GE(found.makespan, least) << text;
    }
  }
}

TEST_F(GuidedSearchTest, ImprovementReachesTheLeastMakespan) {
  for (const auto& [text, least] : timed_problems()) {
    const Found first = solve(text, GuidedOptions());
    const Found improved = solve(text, GuidedOptions(), 2000);
    EXPECT_TRUE(improved.is_valid) << text;
    EXPECT_LE(improved.makespan, first.makespan) << text;
    if (least > 0) {
      EXPECT_EQ(improved.makespan, least) << text;
    }
  }
}

TEST_F(GuidedSearchTest, UnsolvableProblemsAreLeftToTheStandardSearch) {
  const std::string problems[] = {
      // The window is too short by what keeps steps apart.
      R"(fluent boolean open; fluent boolean sent;
         action send() { duration := 2; [all] open; [end] sent := true; };
         [start] open := false; [start] sent := false;
         [5] open := true; [7] open := false; [end] sent;)",
      // Out of bounds.
      R"(fluent integer[0, 2] n; action up() { duration := 1; [end] n := n + 2; };
         [start] n := 1; [end] n >= 2;)",
  };
  for (const std::string& text : problems) {
    EXPECT_FALSE(solve(text, GuidedOptions()).has_plan) << text;
    env_.configuration().set_value("ftp-search", "guided");
    EXPECT_EQ(FtpPlanner(env_, parse(text)).solve(), nullptr) << text;
  }
}

TEST_F(GuidedSearchTest, TheStandardSearchTakesWhatTheGuidedOneCannotTreat) {
  const std::string text = R"(
      fluent boolean p; action a() { duration := 1; [end] p := true; };
      [start] p := false; [end - 0.5] p;)";
  EXPECT_FALSE(solve(text, GuidedOptions()).has_plan);
  env_.configuration().set_value("ftp-search", "guided");
  EXPECT_NE(FtpPlanner(env_, parse(text)).solve(), nullptr);
}

TEST_F(GuidedSearchTest, TheEstimateIsTheSizeOfARelaxedPlan) {
  load(R"(
    fluent boolean p; fluent boolean q; fluent integer[0, 20] n;
    action makes_p() { duration := 1; [end] p := true; };
    action makes_q() { duration := 1; [start] p; [end] q := true; };
    action counts() { duration := 1; [start] p; [end] n := n + 3; };
    [start] p := false; [start] q := false; [start] n := 1; [end] q and n >= 10;
  )");
  HFF heuristic(*task_, HFF::Options());
  GuidedSuccessors successors(*task_, Compression::NONE);
  GuidedState state;
  ASSERT_TRUE(successors.make_initial_state(state));
  // Two steps of each action, and the number is counted up three times.
  EXPECT_EQ(heuristic.evaluate(state), 8);
  const std::uint32_t makes_p = list_of("makes_p");
  const auto is_preferred = [&](std::uint32_t list) {
    std::vector<std::uint32_t> steps;
    heuristic.collect_preferred(steps);
    const std::uint32_t first = task_->list(list).first_step;
    return std::find(steps.begin(), steps.end(), first) != steps.end();
  };
  EXPECT_TRUE(is_preferred(makes_p));
  EXPECT_FALSE(is_preferred(list_of("makes_q")));  // of the relaxed plan, but later
  ASSERT_TRUE(successors.apply(state, {makes_p, Kind::OPEN}));
  EXPECT_EQ(heuristic.evaluate(state), 7);
  EXPECT_FALSE(is_preferred(makes_p));
  ASSERT_TRUE(successors.apply(state, {makes_p, Kind::STEP}));
  EXPECT_EQ(heuristic.evaluate(state), 6);
  // An action that is open has to come to its end, whether it helps or not.
  ASSERT_TRUE(successors.apply(state, {makes_p, Kind::OPEN}));
  EXPECT_EQ(heuristic.evaluate(state), 7);
}

// A comparison of an instance is one literal for each that is asked for: the way through three
// rooms is three moves, where a comparison without a gain would be one guess.
TEST_F(GuidedSearchTest, ValuesOfInstancesAreLiterals) {
  load(R"(
    type Room; instance Room a, b, c, d;
    fluent Room at; fluent Room seen; fluent boolean p;
    action to_b() { duration := 1; [start] at == a; [end] at := b; };
    action to_c() { duration := 1; [start] at == b; [end] at := c; };
    action to_d() { duration := 1; [start] not (at == a); [start] at == c and p; [end] at := d; };
    action look() { duration := 1; [end] seen := at; };
    [start] at := a; [start] seen := a; [start] p := true;
    [end] at == d; [end] not (seen == a);
  )");
  HFF heuristic(*task_, HFF::Options());
  const GuidedLandmarks landmarks(*task_);
  EXPECT_EQ(landmarks.size(), 5U);  // three rooms, not a, and something else seen
  GuidedSuccessors successors(*task_, Compression::FULL);
  GuidedState state;
  ASSERT_TRUE(successors.make_initial_state(state));
  EXPECT_EQ(heuristic.evaluate(state), 8);  // two steps of each action
  std::vector<GuidedMove> moves;
  for (const char* action : {"to_b", "to_c", "to_d"}) {
    // What can't be is no move: nothing but this and the look.
    successors.collect_moves(state, moves);
    EXPECT_EQ(moves.size(), 2U) << action;
    ASSERT_TRUE(successors.apply(state, {list_of(action), Kind::OPEN_ALL})) << action;
  }
  EXPECT_EQ(heuristic.evaluate(state), 2);
}

// Of two ways of equal length the one that is through first counts.
TEST_F(GuidedSearchTest, OfEquallyCheapSupportersTheEarliestCounts) {
  for (const bool slow_is_first : {false, true}) {
    const std::string slow = "action slow() { duration := 9; [end] p := true; };";
    const std::string fast = "action fast() { duration := 2; [end] p := true; };";
    load("fluent boolean p; fluent boolean q;" + (slow_is_first ? slow + fast : fast + slow) +
         R"(action wait() { duration := 1; [start] p; [end] q := true; };
            [start] p := false; [start] q := false; [end] q;)");
    HFF heuristic(*task_, HFF::Options());
    GuidedSuccessors successors(*task_, Compression::NONE);
    GuidedState state;
    ASSERT_TRUE(successors.make_initial_state(state));
    EXPECT_EQ(heuristic.evaluate(state), 4);
    EXPECT_EQ(heuristic.end_of_relaxed_plan(), 3);
    std::vector<std::uint32_t> preferred;
    heuristic.collect_preferred(preferred);
    EXPECT_EQ(preferred, std::vector<std::uint32_t>{task_->list(list_of("fast")).first_step});
  }
}

TEST_F(GuidedSearchTest, WhatNobodyWritesAnyMoreIsOutOfReach) {
  const std::string declarations = R"(
    fluent boolean lamp; fluent boolean open; fluent boolean key; fluent integer n; fluent integer m;
    action light() { duration := 1; [end] lamp := true; [end] m := m + 1; };
    action unlock() { duration := 1; [start] key; [end] open := true; [end] n := n + 1; };
    [start] lamp := false; [start] open := false; [start] key := false;
    [start] n := 0; [start] m := 0;
  )";
  struct Case {
    const char* goals;
    bool is_reached;
  };
  for (const auto& [goals, is_reached] : {
           Case{"[end] open and lamp;", false},
           Case{"[end] lamp and (not open);", true},
           Case{"[end] lamp; [end] n > 0;", false},
           Case{"[end] lamp; [end] m > 3;", true},
           Case{"[end] lamp; [7] n := 2; [end] n > 0;", true},
           Case{"[7] key := true; [end] open and lamp;", true},
       }) {
    load(declarations + goals);
    HFF heuristic(*task_, HFF::Options());
    GuidedSuccessors successors(*task_, Compression::NONE);
    GuidedState state;
    ASSERT_TRUE(successors.make_initial_state(state));
    EXPECT_EQ(heuristic.evaluate(state) != Heuristic::DEAD_END, is_reached) << goals;
  }
  // What the problem has done does not come again.
  load(declarations + "[7] n := 2; [9] n := 0; [end] n > 1;");
  HFF heuristic(*task_, HFF::Options());
  GuidedSuccessors successors(*task_, Compression::NONE);
  GuidedState state;
  ASSERT_TRUE(successors.make_initial_state(state));
  for (int i = 0; i < 2; ++i) {
    EXPECT_NE(heuristic.evaluate(state), Heuristic::DEAD_END) << i;
    ASSERT_TRUE(successors.apply(state, {GuidedTask::PROBLEM, Kind::STEP}));
  }
  EXPECT_EQ(heuristic.evaluate(state), Heuristic::DEAD_END);
}

TEST_F(GuidedSearchTest, LandmarksAreCountedUntilTheyAreReachedForGood) {
  load(R"(
    fluent boolean a; fluent boolean b; fluent boolean c; fluent boolean d;
    action first() { duration := 1; [end] a := true; };
    action second() { duration := 1; [start] a; [start] a := false; [end] b := true; };
    action third() { duration := 1; [start] b; [end] c := true; };
    action other() { duration := 1; [start] b; [end] d := true; };
    action again() { duration := 1; [start] d; [end] c := true; };
    [start] a := false; [start] b := false; [start] c := false; [start] d := false; [end] c and a;
  )");
  const GuidedLandmarks landmarks(*task_);
  EXPECT_EQ(landmarks.size(), 3U);  // a, b and c, but not d
  GuidedSuccessors successors(*task_, Compression::NONE);
  GuidedState state;
  ASSERT_TRUE(successors.make_initial_state(state));
  const auto missing_after = [&](const std::string& action) {
    EXPECT_TRUE(successors.apply(state, {list_of(action), Kind::OPEN_ALL}));
    landmarks.note(state);
    return landmarks.count_missing(state);
  };
  landmarks.note(state);
  EXPECT_EQ(landmarks.count_missing(state), 3);
  EXPECT_EQ(missing_after("first"), 2);
  EXPECT_EQ(missing_after("second"), 2);  // b is reached, a is needed again
  EXPECT_EQ(missing_after("third"), 1);
  EXPECT_EQ(missing_after("first"), 0);
}

TEST_F(GuidedSearchTest, EliminationKeepsWhatThePlanNeeds) {
  load(R"(
    fluent boolean p; fluent boolean q; fluent boolean r;
    action a() { duration := 1; [end] p := true; };
    action b() { duration := 2; [start] p; [end] q := true; };
    action c() { duration := 9; [start] p; [end] r := true; };
    action d() { duration := 9; [start] r; [end] q := true; };
    [start] p := false; [start] q := false; [start] r := false; [end] q;
  )");
  GuidedSuccessors successors(*task_, Compression::NONE);
  std::vector<GuidedMove> moves;
  for (const char* action : {"a", "a", "c", "d", "b"}) {
    moves.push_back({list_of(action), Kind::OPEN_ALL});
  }
  const std::optional<double> makespan = eliminate_actions(successors, moves);
  ASSERT_TRUE(makespan.has_value());
  EXPECT_NEAR(*makespan, 3.01, 1e-9);
  ASSERT_EQ(moves.size(), 2U);
  EXPECT_EQ(moves[0].list, list_of("a"));
  EXPECT_EQ(moves[1].list, list_of("b"));
  // Nothing is taken from what is no plan.
  std::vector<GuidedMove> wrong = {{list_of("b"), Kind::OPEN_ALL}};
  EXPECT_FALSE(eliminate_actions(successors, wrong).has_value());
}

}  // namespace
}  // namespace kelvo::ftp
