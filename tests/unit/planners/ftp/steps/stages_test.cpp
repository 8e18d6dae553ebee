#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "planners/ftp/ftp_planner.h"
#include "planners/ftp/task/coincidence.h"
#include "tests/unit/planners/ftp/steps/guided_fixture.h"

namespace kelvo::ftp {
namespace {

using Certainty = NoPlan::Certainty;

/// What single stages, and all of them, make of small problems.
class StagesTest : public GuidedSearchTest {
 protected:
  GuidedSearch::Outcome run_stage(std::size_t stage, std::size_t max_built) {
    GuidedOptions options;
    if (stage == 1) {
      options.compression = Compression::SHORTCUT;
      options.duplicates = Duplicates::EXACT;
    }
    HFF heuristic(*task_, options.heuristic);
    const GuidedLandmarks landmarks(*task_);
    ObjectSymmetry symmetry(*task_);
    GuidedSearch search(*task_, heuristic, landmarks, symmetry, options);
    const GuidedSearch::Outcome outcome = search.run(max_built);
    num_expanded_ = search.statistics().num_expanded;
    return outcome;
  }

  std::size_t num_expanded_ = 0;
};

// An action has to begin before another one takes away what it needs, and to end behind that.
const std::string SPANNING = R"(
  fluent boolean p; fluent boolean q; fluent boolean done;
  action a() { duration := 3; [start] q; [end] p := true; };
  action d() { duration := 1; [end] q := false; [end] p := false; [end] done := true; };
  [start] p := false; [start] q := true; [start] done := false; [end] p and done;
)";

// Each of two actions makes true what the other needs from its first instant on.
const std::string MUTUAL = R"(
  fluent boolean p; fluent boolean q; fluent boolean r;
  action a() { duration := 2; [start] p := true; (start, end] q; [end] p := false; [end] r := true; };
  action b() { duration := 2; [start] q := true; (start, end] p; [end] q := false; };
  [start] p := false; [start] q := false; [start] r := false; [end] r;
)";

const std::string LAMPS = R"(
  type lamp; instance lamp l1, l2;
  fluent boolean fuse; fluent boolean lit(lamp l);
  action on(lamp l) { duration := 1; [start] fuse; [start] fuse := false; [end] lit(l) := true; };
  action off(lamp l) { duration := 1; [start] lit(l); [start] lit(l) := false; [end] fuse := true; };
  [start] fuse := true; [start] lit(l1) := false; [start] lit(l2) := false;
  [end] lit(l1) and lit(l2);
)";

// A lamp that may be lit again and again, and a window that is too short for what needs it.
const std::string WINDOW = R"(
  fluent boolean lit; fluent boolean open; fluent boolean sent;
  action flash() { duration := 1; [start] not lit; [start] lit := true; [end] lit := false; };
  action send() { duration := 2; [start] lit; [all] open; [end] sent := true; };
  [start] lit := false; [start] open := false; [start] sent := false;
  [5] open := true; [7] open := false; [end] sent;
)";

TEST_F(StagesTest, EachStageAloneFindsOrRefutes) {
  constexpr std::size_t FEW = 2000;
  using Outcome = GuidedSearch::Outcome;
  struct Case {
    const char* name;
    const std::string& text;
    Outcome first;
    std::size_t first_expanded;  // at most
    Outcome second;
    std::size_t second_expanded;
  };
  for (const Case& one : {
           Case{"cellar", MATCH_CELLAR, Outcome::FOUND, 12, Outcome::FOUND, 12},
           Case{"spanning", SPANNING, Outcome::EXHAUSTED, 6, Outcome::FOUND, 6},
           Case{"mutual", MUTUAL, Outcome::EXHAUSTED, 1, Outcome::EXHAUSTED, 1},
           Case{"lamps", LAMPS, Outcome::EXHAUSTED, 3, Outcome::EXHAUSTED, 7},
           Case{"window", WINDOW, Outcome::EXHAUSTED, 9, Outcome::EXHAUSTED, 300},
       }) {
    load(one.text);
    EXPECT_EQ(run_stage(0, FEW), one.first) << one.name;
    EXPECT_LE(num_expanded_, one.first_expanded) << one.name;
    EXPECT_EQ(run_stage(1, FEW), one.second) << one.name;
    EXPECT_LE(num_expanded_, one.second_expanded) << one.name;
  }
}

TEST_F(StagesTest, TheEndOfACompleteStageIsAnAnswer) {
  struct Case {
    const char* name;
    std::string text;
    bool is_refuted;
    Certainty certainty;
  };
  for (const auto& [name, text, is_refuted, certainty] : {
           Case{"no time is involved", LAMPS, true, Certainty::PROVEN},
           Case{"cut off by times", WINDOW, true, Certainty::BOUNDED},
           Case{"out of reach", "fluent boolean p; [start] p := false; [end] p;", true,
                Certainty::PROVEN},
           Case{"wrong at the start", "fluent boolean p; [start] p := false; [start] p;", true,
                Certainty::PROVEN},
           Case{"several have to meet", MUTUAL, false, Certainty::UNDECIDED},
           Case{"an action is left out",
                R"(fluent boolean p; action a() { duration := 1; [start] not p; [end] p := true; };
                   action b() { duration := 1; [end - 2] not p; [end] p := false; };
                   [start] p := false; (start, end) not p; [end] p;)",
                false, Certainty::UNDECIDED},
       }) {
    load(text);
    GuidedPlanner planner(*compiled_, GuidedOptions(), 0);
    EXPECT_EQ(planner.find_plan(), nullptr) << name;
    EXPECT_TRUE(planner.is_over()) << name;
    EXPECT_EQ(planner.has_refuted(), is_refuted) << name;
    EXPECT_EQ(planner.no_plan().certainty, certainty) << name;
  }
}

TEST_F(StagesTest, AStageTellsWhichPlanIsItsOwn) {
  for (const auto& [text, stage] : {std::pair(MATCH_CELLAR, 0U), std::pair(SPANNING, 2U)}) {
    load(text);
    GuidedPlanner planner(*compiled_, GuidedOptions(), 0);
    ASSERT_NE(planner.find_plan(), nullptr) << text;
    EXPECT_EQ(planner.stage_of_plan(), stage) << text;
  }
  env_.configuration().set_value("ftp-search", "guided");
  EXPECT_NE(FtpPlanner(env_, parse(MUTUAL)).solve(), nullptr);
}

TEST_F(StagesTest, ASearchGoesOnWhereItStopped) {
  for (const std::string& text : {MATCH_CELLAR, SPANNING, WINDOW}) {
    load(text);
    for (const Duplicates duplicates : {Duplicates::BY_VALUES, Duplicates::EXACT}) {
      GuidedOptions options;
      options.compression = Compression::SHORTCUT;
      options.duplicates = duplicates;
      HFF heuristic(*task_, options.heuristic);
      const GuidedLandmarks landmarks(*task_);
      ObjectSymmetry symmetry(*task_);
      GuidedSearch whole(*task_, heuristic, landmarks, symmetry, options);
      const GuidedSearch::Outcome outcome = whole.run();
      GuidedSearch sliced(*task_, heuristic, landmarks, symmetry, options);
      GuidedSearch disturbing(*task_, heuristic, landmarks, symmetry, options);
      GuidedSearch::Outcome last = GuidedSearch::Outcome::STOPPED;
      while (last == GuidedSearch::Outcome::STOPPED) {
        last = sliced.run(1);
        disturbing.run(3);  // the heuristic is shared
      }
      EXPECT_EQ(last, outcome);
      EXPECT_EQ(sliced.plan().size(), whole.plan().size());
      EXPECT_EQ(sliced.statistics().num_expanded, whole.statistics().num_expanded);
      EXPECT_EQ(sliced.statistics().num_built, whole.statistics().num_built);
    }
  }
}

TEST_F(StagesTest, ARefusedPlanIsNotTheEnd) {
  load(R"(
    fluent boolean p;
    action quick() { duration := 1; [end] p := true; };
    action slow() { duration := 5; [end] p := true; };
    [start] p := false; [end] p;
  )");
  std::vector<std::string> tested;
  const auto test = [&](const std::shared_ptr<TimeTriggeredPlan>& plan) {
    tested.push_back(plan->plan().begin()->second.front()->action()->name());
    return tested.back().starts_with("slow");
  };
  GuidedPlanner planner(*compiled_, GuidedOptions(), 100, test);
  const std::shared_ptr<TimeTriggeredPlan> plan = planner.find_plan();
  ASSERT_NE(plan, nullptr);
  EXPECT_GT(tested.size(), 1U);  // the quick one was found before, or to shorten the slow one
  EXPECT_TRUE(plan->plan().begin()->second.front()->action()->name().starts_with("slow"));
  // All plans refused: nothing is proven.
  GuidedPlanner strict(*compiled_, GuidedOptions(), 0, [](const auto&) { return false; });
  EXPECT_EQ(strict.find_plan(), nullptr);
  EXPECT_TRUE(strict.is_over());
  EXPECT_FALSE(strict.has_refuted());
}

TEST_F(StagesTest, MemoryIsBounded) {
  load(R"(
    fluent integer n; fluent boolean p;
    action up() { duration := 1; [end] n := n + 2; };
    action done() { duration := 1; [start] n == 7; [end] p := true; };
    [start] n := 0; [start] p := false; [end] p;
  )");
  GuidedOptions options;
  options.max_memory = std::size_t{1} << 20;
  GuidedPlanner planner(*compiled_, options, 0);
  EXPECT_EQ(planner.find_plan(), nullptr);
  EXPECT_TRUE(planner.is_out_of_memory());
  EXPECT_FALSE(planner.has_refuted());
}

TEST_F(StagesTest, CirclesOfNeedsAtOneInstant) {
  const std::string declarations = R"(
    fluent boolean p; fluent boolean q; fluent boolean r;
    [start] p := true; [start] q := true; [start] r := false; [end] r;
  )";
  struct Case {
    const char* actions;
    bool may_need;
  };
  for (const auto& [actions, may_need] : {
           // Each tests what the other takes away.
           Case{R"(action a() { duration := 1; [start] p; [start] q := false; [end] r := true; };
                   action b() { duration := 1; [start] q; [start] p := false; };)",
                true},
           // What is set to the value that is asked does not matter.
           Case{R"(action a() { duration := 1; [start] p; [start] q := true; [end] r := true; };
                   action b() { duration := 1; [start] q; [start] p := true; };)",
                false},
           // Two effects on one fluent never meet.
           Case{R"(action a() { duration := 1; [start] p; [start] p := false; [end] r := true; };
                   action b() { duration := 1; [start] p; [start] p := false; };)",
                false},
           // A chain is no circle.
           Case{R"(action a() { duration := 1; [start] p; [end] r := true; };
                   action b() { duration := 1; [start] q; [start] p := false; };
                   action c() { duration := 1; [start] q := false; };)",
                false},
           // Over three.
           Case{R"(action a() { duration := 1; [start] p; [start] r := true; };
                   action b() { duration := 1; [start] q; [start] p := false; };
                   action c() { duration := 1; [start] not r; [start] q := false; };)",
                true},
       }) {
    load(declarations + actions);
    EXPECT_EQ(may_need_coincidence(*task_), may_need) << actions;
  }
}

}  // namespace
}  // namespace kelvo::ftp
