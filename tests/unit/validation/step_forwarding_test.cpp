#include "validation/step_forwarding.h"

#include "model/action.h"
#include "tests/unit/validation/validation_fixture.h"
#include "transformers/grounder.h"

namespace kelvo {
namespace {

TEST_F(ValidationFixture, StepsBecomeThoseOfTheGroundProblem) {
  const model::ProblemInstance problem = read(
      "fluent integer[0, 9] x; [start] x := 0;"
      "action put(integer[0, 3] k) { duration := 1; [end] x := k; };"
      "goal x == 3;");
  Grounder grounder(problem);
  const model::ProblemInstance ground = grounder.output_problem();
  const auto plan = forward_steps(grounder, *read_plan(problem, "1: put(3) [1]\n1: put(0) [1]\n"));
  ASSERT_NE(plan, nullptr);
  const auto& steps = plan->plan().at(1);
  ASSERT_EQ(steps.size(), 2U);
  for (const auto& step : steps) {
    EXPECT_TRUE(step->actual_parameters().empty());
    EXPECT_EQ(ground->actions().at(step->action()->name()), step->action());
    EXPECT_EQ(step->duration(), 1);
  }
  EXPECT_NE(steps[0]->action(), steps[1]->action());
}

}  // namespace
}  // namespace kelvo
