#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "planners/ftp/ftp_planner.h"
#include "tests/unit/planners/planner_fixture.h"
#include "validation/strict_judge.h"

namespace kelvo::ftp {
namespace {

/// Small problems about single instants: whether each search finds a plan, and that the strict
/// judge has nothing to say against it.
class StrictPlansTest : public PlannerTest {
 protected:
  bool finds_plan(const std::string& text, const std::string& search) {
    env_.configuration().set_value("ftp-search", search);
    const model::ProblemInstance problem = parse(text);
    const StrictJudge judge(env_, problem);
    FtpPlanner planner(env_, problem);
    planner.set_plan_test([&](const std::shared_ptr<Plan>& plan) {
      return judge.judge(TimeTriggeredPlan(plan)).is_valid();
    });
    const bool has_plan = planner.solve() != nullptr;
    EXPECT_EQ(planner.num_refused_plans(), 0U) << search << ": " << text;
    certainty_ = planner.no_plan().certainty;
    return has_plan;
  }

  NoPlan::Certainty certainty_ = NoPlan::Certainty::UNDECIDED;
};

TEST_F(StrictPlansTest, LeftOpenGoalsAskWhatTheirFirstInstantLeaves) {
  const std::string hold = R"(
    fluent boolean p; fluent boolean q; [start] p := false; [start] q := false;
    action two() { duration := 2; [start] p := true; [end] p := false; };
    action five() { duration := 5; [start] p := true; [end] p := false; };
    action stays() { duration := 5; [start] p := true; [end] q := true; };
  )";
  const std::string world = "fluent boolean p; [start] p := false; [4] p := true; [6] p := false; ";
  struct Case {
    std::string text;
    bool has_plan;
  };
  for (const auto& [text, has_plan] : {
           Case{hold + "(4, 6] p; (6, end] not p;", true},
           Case{hold + "[4, 6] p; [start, 4] not p;", false},
           Case{hold + "(start, 5] p; [7] not p;", true},
           Case{hold + "[start, 5] p;", false},
           Case{hold + "(start, end] p; [end] q;", true},
           Case{hold + "(4, end] p; [4] not p; [end] q;", true},
           Case{hold + "(4, 4] p; [3, 5] not p;", true},
           Case{world + "(4, 6] p;", true},
           Case{world + "[4, 6] p;", false},
           Case{world + "(3, 6] p;", false},
           Case{world + "(4, 6.5] p;", false},
       }) {
    EXPECT_EQ(finds_plan(text, "guided"), has_plan) << text;
    if (has_plan) {  // else the standard search has no end
      EXPECT_TRUE(finds_plan(text, "standard")) << text;
    }
  }
}

TEST_F(StrictPlansTest, GoalsSeeWhatTheProblemDidBeforeTheEnd) {
  const std::string idle = R"(
    fluent boolean b; fluent boolean x; [start] b := false; [start] x := false;
    action idle() { duration := 2; [end] x := true; };
  )";
  const std::string blocked = R"(
    fluent boolean b; fluent boolean x; [start] b := false; [start] x := true;
    fluent boolean y; [start] y := false;
    action early() { duration := 2; [start] x; [end] y := true; };
  )";
  const std::string counts = R"(
    fluent integer[0, 4] n; fluent boolean q; [start] n := 1; [start] q := false;
    action up() { duration := 3; [end - 2] n < 4; [end - 2] n := n + 1; };
  )";
  struct Case {
    std::string text;
    bool has_plan;
  };
  for (const auto& [text, has_plan] : {
           // The empty plan ends at 1.
           Case{"fluent boolean b; [start] b := false; [9] b := true; [end] b;", false},
           Case{"fluent boolean b; [start] b := false; [0.5] b := true; [end] b;", true},
           Case{"fluent boolean b; [start] b := false; [1] b := true; [end] b;", false},
           Case{"fluent boolean b; [start] b := true; [1] b := false; [end] b;", true},
           Case{"fluent boolean b; [start] b := true; [0.99] b := false; [end] b;", false},
           // An action that is no use otherwise makes the end.
           Case{idle + "[9] b := true; [10] b := false; [end] b;", true},
           Case{idle + "[9] b := true; [9.001] b := false; [end] b;", true},
           Case{idle + "[2] b := true; [2.1] b := false; [end] b;", false},
           // It can't wait for so long.
           Case{blocked + "[0.1] x := false; [4] b := true; [end] b;", false},
           Case{blocked + "[0.1] x := false; [3.05] b := true; [end] b;", true},
           // What the problem does behind the end is not seen, but its windows hold.
           Case{idle + "[20] x := false; [end] x and not b;", true},
           Case{idle + "[8] b := true; [20] b := false; [25, 30] not b; [end] b;", true},
           Case{idle + "[0.1] b := true; [0.3, 0.4] not b; [end] b;", false},
           // And values stay in their bounds for ever.
           Case{counts + "[0.2] n := n - 1; [0.3] n := n - 4; [end] not q;", false},
           Case{counts + "[0.2] n := n - 1; [end] not q;", true},
           Case{counts + "[7] q := true; [3.5] n := 4; [end] n >= 2;", true},
       }) {
    EXPECT_EQ(finds_plan(text, "guided"), has_plan) << text;
    const bool is_too_short = text.find("[9.001]") != std::string::npos;
    if (has_plan && !is_too_short) {  // the standard search has no end without a plan
      EXPECT_TRUE(finds_plan(text, "standard")) << text;
    }
  }
}

// The end of the plan is one time unit behind its last end or effect, no earlier and no later.
TEST_F(StrictPlansTest, TheEndIsExact) {
  const std::string p = "fluent boolean p; fluent boolean q; [start] q := false; ";
  const std::string off = p + "[start] p := false; ";
  const std::string four = off + "action a() { duration := 4; [end] p := true; }; ";
  const std::string idle = off + "action a() { duration := 3; [start] q := false; }; ";
  const std::string waits = off + "action a() { duration := 3; }; ";
  const std::string flash =
      off + "action a() { duration := 1; [start] p := true; [end] p := false; };";
  using Certainty = NoPlan::Certainty;
  struct Case {
    std::string text;
    std::optional<Certainty> none;  // nothing: there is a plan
  };
  for (const auto& [text, none] : {
           // It takes a second execution, for an effect at the end does not see itself.
           Case{four + "[end - 1] p;", {}},
           Case{four + "[end - 0.5] p;", {}},
           // Without an action the end is at 1, and the world goes on behind it.
           Case{off + "[10] p := true; [end] not p;", {}},
           Case{p + "[start] p := true; [2] p := false; [end] p;", {}},
           Case{off + "[4] p := true; [end] p;", Certainty::BOUNDED},
           Case{off + "[2, end] p;", {}},
           Case{off + "[0.5, end] p;", Certainty::BOUNDED},
           Case{p + "[start] p := true; [end - 5] p;", Certainty::BOUNDED},
           Case{p + "[start] p := true; [end - 1] p;", {}},
           // Actions that are no use otherwise are put off as far as needed.
           Case{idle + "[8] p := true; [end] p;", {}},
           Case{idle + "[8] p := true; [11] p := false; [end - 1, end] p;", {}},
           Case{waits + "[8] p := true; [9] p := false; [end] p;", {}},
           Case{waits + "[2] p := true; [3] p := false; [end] p;", Certainty::BOUNDED},
           Case{flash + "[end - 1] p;", {}},
           // The end follows an effect behind the end of its action, too.
           Case{off + "action a() { duration := 2; [start + 5] p := true; }; [end] p; [6] p;", {}},
           // Nothing bounds a search that ends without having looked at a time.
           Case{off + "action a() { duration := 3; [start] q; [end] p := true; }; [end] p;",
                Certainty::PROVEN},
           Case{off + "[start] p;", Certainty::PROVEN},
       }) {
    EXPECT_EQ(finds_plan(text, "standard"), !none) << text;
    if (none) {
      EXPECT_EQ(certainty_, *none) << text;
    }
  }
}

}  // namespace
}  // namespace kelvo::ftp
