#include "planners/ftp/relaxation/temporally_aware_relaxer.h"

#include <sstream>

#include "model/action.h"
#include "planners/ftp/relaxation/relaxed_task.h"
#include "planners/heuristics/literal_queue.h"
#include "shell/errors.h"
#include "tests/unit/planners/planner_fixture.h"

namespace kelvo::ftp {
namespace {

const std::string GATE = R"(
  fluent boolean p;
  fluent boolean q;
  action pass() {
    duration := 6;
    [start] p;
    (start + 1, end] not q;
    [start + 3] p := false;
    [end] q := true;
  };
  [start] p := true;
  [start] q := false;
  [8] p := true;
  [end] q;
)";

class TemporallyAwareRelaxerTest : public PlannerTest {};

TEST_F(TemporallyAwareRelaxerTest, AnActionBecomesOneStepForItsOpeningAndEachEvent) {
  const model::ProblemInstance problem = compiled_problem(GATE);
  TemporallyAwareRelaxer relaxer(problem, rational(1, 100));
  const model::ProblemInstance& relaxed = relaxer.output_problem();
  const model::Action original = problem->actions().begin()->second;
  ASSERT_EQ(relaxer.phase_markers().at(original).size(), 5u);

  // Opening, left end of the condition, effect, right end, effect.
  const std::vector<std::vector<std::string>> expected = {
      {"[start] (_f_1_# and p)"},
      {"[start] (_f_2_# and (not q))"},
      {"[start] _f_3_#", "[end] (p := false)"},
      {"[start] (_f_4_# and (not q))"},
      {"[start] _f_5_#", "[end] (q := true)"},
  };
  const std::vector<model::Action>& phases = relaxer.relaxed_actions(original);
  ASSERT_EQ(phases.size(), expected.size());
  for (std::size_t i = 0; i < phases.size(); ++i) {
    std::ostringstream text;
    text << *phases[i];
    for (std::string part : expected[i]) {
      if (const auto at = part.find('#'); at != std::string::npos) {
        part.replace(at, 1, original->name());
      }
      EXPECT_NE(text.str().find(part), std::string::npos) << part << "\n" << text.str();
    }
    // The next marker becomes true, all others false.
    const std::string next = "_f_" + std::to_string((i + 1) % 5 + 1) + "_" + original->name();
    EXPECT_NE(text.str().find("(" + next + " := true)"), std::string::npos) << text.str();
    EXPECT_EQ(std::get<1>(relaxer.map_back(nullptr, phases[i], {})), original);
  }
  // The timed literal is an action, and its statement is gone.
  EXPECT_TRUE(relaxed->has_action("_action_til_0"));
  EXPECT_EQ(relaxed->actions().size(), 6u);
  EXPECT_THROW(relaxer.map_back(nullptr, original, {}), InternalError);
}

TEST_F(TemporallyAwareRelaxerTest, GoalsAreThoseAtTheEndAndIdleActions) {
  const auto task = make_task(GATE);
  RelaxedTask relaxed(*task);
  ASSERT_EQ(relaxed.goal_dnf().size(), 1u);
  EXPECT_EQ(relaxed.goal_dnf().front().size(), 6u);  // q, and five markers
  EXPECT_EQ(relaxed.goals().size(), 6u);
}

TEST(LiteralQueueTest, TheLeastCostComesFirstAlsoBeyondTheBuckets) {
  LiteralQueue queue;
  const double costs[] = {7, 0, 1e9, 4096, 7, 4095, 1e300};
  for (std::uint32_t i = 0; i < std::size(costs); ++i) queue.push(costs[i], i);
  double last = -1;
  for (std::size_t i = 0; i < std::size(costs); ++i) {
    const auto [cost, literal] = queue.pop();
    EXPECT_EQ(cost, costs[literal]);
    EXPECT_GE(cost, last);
    last = cost;
  }
  EXPECT_TRUE(queue.empty());
  queue.push(1e9, 3);
  queue.clear();
  queue.push(2, 5);
  EXPECT_EQ(queue.pop(), std::make_pair(2.0, std::uint32_t{5}));
}

}  // namespace
}  // namespace kelvo::ftp
