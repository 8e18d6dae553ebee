#include "plans/pot_plan.h"

#include "plans/time_triggered_plan.h"
#include "shell/warnings.h"
#include "tests/unit/plans/plan_fixture.h"

namespace kelvo {
namespace {

using POTPlanTest = PlanFixture;

TEST_F(POTPlanTest, PrintsStepsAndPrecedencesByNumber) {
  POTPlan plan(env);
  EXPECT_EQ(text(plan), "Steps to execute:\nSubject to:\n");
  const auto first = plan.add_step(0, load, {ref(truck), ref(box)}, rational(5, 2));
  const auto second =
      plan.add_step(rational(1, 3), drive, {ref(box)}, rational(10), nullptr, truck);
  const auto third = plan.add_step(0, wait, {});
  plan.add_precedence(third, second);
  plan.add_precedence(third, first);
  plan.add_precedence(third, first);
  plan.add_precedence(second, first);
  EXPECT_EQ(text(plan),
            "Steps to execute:\n"
            " 1) load(truck1, box2) with duration 5/2\n"
            " 2) truck1.drive(box2) with delay 1/3 with duration 10\n"
            " 3) wait()\n"
            "Subject to:\n"
            " 2 > 1\n"
            " 3 > 1, 2\n");
  EXPECT_EQ(plan.size(), 3U);
  EXPECT_EQ(plan.kind(), "Partial-Order Temporal Plan");
  EXPECT_EQ(plan.precedences(third), (POTPlan::StepSet{first, second}));
  EXPECT_TRUE(plan.precedences(first).empty());
}

TEST_F(POTPlanTest, RefusesStepsOfOtherPlans) {
  POTPlan plan(env);
  POTPlan other(env);
  const auto mine = plan.add_step(0, wait, {});
  const auto foreign = other.add_step(0, wait, {});  // has the same number
  const char* text =
      "InternalError: Trying to set the precedence of a node that does not belong to this POTPlan";
  expect_error<InternalError>([&] { plan.add_precedence(mine, foreign); }, text);
  expect_error<InternalError>([&] { plan.add_precedence(foreign, mine); }, text);
  expect_error<InternalError>([&] { plan.add_precedence(mine, nullptr); }, text);
  expect_error<InternalError>(
      [&] { plan.precedences(foreign); },
      "InternalError: Trying to access precedences of a non-existing step!");
}

TEST_F(POTPlanTest, SchedulingStepsOfUncertainLengthIsWarnedAbout) {
  const model::Expression anchor = ef().make_duration_anchor();
  const model::Expression low = ef().make_rational_constant(2);
  const model::Expression high = ef().make_rational_constant(5);
  const model::Expression interval = ef().make_closed_interval(low, high);
  const model::Action bake =
      env.model_factory().make_action("bake", {}, {}, {ef().make_in_assign(anchor, interval)});
  const auto plan = std::make_shared<POTPlan>(env);
  plan->add_step(0, wait, {});
  plan->add_step(0, bake, {}, rational(3));
  TimeTriggeredPlan{std::static_pointer_cast<Plan>(plan)};
  EXPECT_TRUE(env.warning_manager().warnings().empty());
  plan->add_step(0, bake, {});
  plan->add_step(1, bake, {});
  TimeTriggeredPlan{std::static_pointer_cast<Plan>(plan)};
  EXPECT_EQ(env.warning_manager().warnings(),
            std::vector<std::string>{"The schedule gives no time to action 'bake', whose duration "
                                     "the environment chooses: steps that wait for it may come too "
                                     "early"});
}

TEST_F(POTPlanTest, CopiesAnotherPartialOrderPlan) {
  const auto plan = std::make_shared<POTPlan>(env);
  const auto a = plan->add_step(1, wait, {});
  const auto b = plan->add_step(0, drive, {ref(box)}, rational(2), ref(box), truck);
  plan->add_precedence(b, a);
  const POTPlan copy(plan);
  EXPECT_EQ(text(copy),
            "Steps to execute:\n"
            " 1) wait() with delay 1 with duration 0\n"
            " 2) truck1.drive(box2) with duration 2\n"
            "Subject to:\n"
            " 2 > 1\n");
  EXPECT_EQ((*copy.steps().rbegin())->post_condition(), ref(box));
  EXPECT_EQ(copy.steps().count(a), 1U);
  EXPECT_NE(*copy.steps().begin(), a);
}

TEST_F(POTPlanTest, TimesSurviveTheWayThereAndBack) {
  const auto plan = std::make_shared<TimeTriggeredPlan>(env);
  plan->add_step(
      std::make_shared<TimeTriggeredStep>(rational(7, 3), wait, TimeTriggeredStep::Parameters()));
  plan->add_step(std::make_shared<TimeTriggeredStep>(0, drive, std::vector{ref(box)}, rational(4),
                                                     nullptr, truck));
  const auto pot = std::make_shared<POTPlan>(plan);
  EXPECT_EQ(text(*pot),
            "Steps to execute:\n"
            " 1) truck1.drive(box2) with duration 4\n"
            " 2) wait() with delay 7/3 with duration 0\n"
            "Subject to:\n");
  env.configuration().set_value("rational-precision", true);
  EXPECT_EQ(text(TimeTriggeredPlan(pot)), "0: truck1.drive(box2) [4]\n7/3: wait() [0]\n");
  expect_error<InternalError>(
      [] { POTPlan{std::shared_ptr<Plan>()}; },
      "InternalError: No known conversion to POTPlan from the specified plan");
}

}  // namespace
}  // namespace kelvo
