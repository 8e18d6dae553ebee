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

}  // namespace
}  // namespace kelvo::ftp
