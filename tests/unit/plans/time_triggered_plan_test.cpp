#include "plans/time_triggered_plan.h"

#include <tuple>

#include "plans/pot_plan.h"
#include "tests/unit/plans/plan_fixture.h"

namespace kelvo {
namespace {

class TimeTriggeredPlanTest : public PlanFixture {
 protected:
  void add(TimeTriggeredPlan& plan, const rational& start, const model::Action& action,
           std::vector<model::Expression> parameters, const std::optional<rational>& duration,
           const model::Instance& object = nullptr) {
    plan.add_step(std::make_shared<TimeTriggeredStep>(start, action, std::move(parameters),
                                                      duration, nullptr, object));
  }
};

TEST_F(TimeTriggeredPlanTest, PrintsByTimeAndThenInOrderOfInsertion) {
  TimeTriggeredPlan plan(env);
  EXPECT_EQ(text(plan), "");
  add(plan, rational(25, 2), wait, {}, rational(1));
  add(plan, rational(5, 2), drive, {ref(box)}, rational(10), truck);
  add(plan, 0, load, {ref(truck), ref(box)}, rational(5, 2));
  add(plan, rational(5, 2), wait, {}, std::nullopt);
  EXPECT_EQ(text(plan),
            "0: load(truck1, box2) [5/2]\n"
            "2.5: truck1.drive(box2) [10]\n"
            "2.5: wait()\n"
            "12.5: wait() [1]\n");
  EXPECT_EQ(plan.size(), 4U);
  EXPECT_EQ(plan.kind(), "Time-Triggered Plan");
}

TEST_F(TimeTriggeredPlanTest, RoundingOfTimesIsToldOnce) {
  TimeTriggeredPlan exact_plan(env);
  add(exact_plan, rational(5, 4), wait, {}, rational(1, 3));
  TimeTriggeredPlan rounded_plan(env);
  add(rounded_plan, rational(1, 3), wait, {}, rational(1, 3));
  add(rounded_plan, rational(1, 200), wait, {}, rational(1));
  add(rounded_plan, 1234567, wait, {}, rational(1));
  {
    const CapturedLog log(LogLevel::WARN);
    EXPECT_EQ(text(exact_plan), "1.25: wait() [1/3]\n");
    EXPECT_EQ(log.text(), "");
  }
  {
    const CapturedLog log(LogLevel::WARN);
    EXPECT_EQ(text(rounded_plan),
              "0.01: wait() [1]\n"
              "0.33: wait() [1/3]\n"
              "1.23457e+06: wait() [1]\n");
    const std::size_t at = log.text().find("--rational-precision");
    ASSERT_NE(at, std::string::npos) << log.text();
    EXPECT_EQ(log.text().find("--rational-precision", at + 1), std::string::npos) << log.text();
  }
  env.configuration().set_value("rational-precision", true);
  const CapturedLog log(LogLevel::WARN);
  EXPECT_EQ(text(rounded_plan),
            "1/200: wait() [1]\n"
            "1/3: wait() [1/3]\n"
            "1234567: wait() [1]\n");
  EXPECT_EQ(log.text(), "");
}

// What is printed without loss, and what a reader of the rounded text sees: "" for nothing at all.
TEST_F(TimeTriggeredPlanTest, TimesAreExactOrReadAsTheyAreRounded) {
  const std::tuple<rational, const char*, const char*> cases[] = {
      {0, "0: wait()\n", "0: wait()\n"},
      {rational(5, 4), "1.25: wait()\n", "1.25: wait()\n"},
      {rational(1, 3), "1/3: wait()\n", "0.33: wait()\n"},
      {rational(1, 12), "1/12: wait()\n", "0.08: wait()\n"},
      {rational(1, 200), "0.005: wait()\n", "0.01: wait()\n"},
      {rational(7, 32), "0.21875: wait()\n", "0.22: wait()\n"},
      {rational(1234564, 100), "12345.64: wait()\n", "12345.6: wait()\n"},
      {rational(12345601, 10), "1234560.1: wait()\n", ""},
      {rational(-1, 20), "-0.05: wait()\n", "-0.05: wait()\n"},
  };
  for (const auto& [time, exact, rounded] : cases) {
    TimeTriggeredPlan plan(env);
    add(plan, time, wait, {}, std::nullopt);
    std::ostringstream printed;
    plan.print_exactly(printed);
    EXPECT_EQ(printed.str(), exact);
    EXPECT_EQ(plan.is_changed_by_rounding(), std::string(exact) != rounded) << exact;
    std::ostringstream read;
    const std::shared_ptr<TimeTriggeredPlan> as_read = plan.rounded();
    if (as_read != nullptr) as_read->print_exactly(read);
    EXPECT_EQ(read.str(), rounded);
  }
}

TEST_F(TimeTriggeredPlanTest, SharesTheStepsOfAnotherTimeTriggeredPlan) {
  const auto plan = std::make_shared<TimeTriggeredPlan>(env);
  add(*plan, 3, wait, {}, std::nullopt);
  const TimeTriggeredPlan copy(plan);
  EXPECT_EQ(copy.plan(), plan->plan());
}

TEST_F(TimeTriggeredPlanTest, SchedulesAPartialOrderPlan) {
  const auto pot = std::make_shared<POTPlan>(env);
  const auto q = pot->add_step(0, wait, {}, rational(5));
  const auto s = pot->add_step(0, load, {ref(truck), ref(box)}, std::nullopt, nullptr, nullptr);
  const auto delayed = pot->add_step(3, drive, {ref(box)}, rational(1), ref(box), truck);
  const auto last = pot->add_step(0, wait, {}, rational(1));
  pot->add_precedence(s, q);
  pot->add_precedence(delayed, q);
  pot->add_precedence(last, delayed);
  pot->add_precedence(last, s);
  const TimeTriggeredPlan plan(pot);
  ASSERT_EQ(plan.size(), 4U);
  EXPECT_EQ(plan.plan().at(0)[0]->action(), wait);
  const auto& loaded = plan.plan().at(rational(501, 100))[0];
  EXPECT_EQ(loaded->action(), load);
  EXPECT_EQ(loaded->actual_parameters(), s->actual_parameters());
  EXPECT_TRUE(loaded->has_duration());
  EXPECT_EQ(loaded->duration(), 0);
  const auto& drove = plan.plan().at(rational(801, 100))[0];
  EXPECT_EQ(drove->object(), truck);
  EXPECT_EQ(drove->post_condition(), ref(box));
  EXPECT_EQ(plan.plan().at(rational(902, 100))[0]->duration(), 1);

  env.configuration().set_value("plan-epsilon", "1/2");
  EXPECT_EQ(TimeTriggeredPlan(pot).plan().rbegin()->first, 10);
}

TEST_F(TimeTriggeredPlanTest, EqualTimesKeepTheOrderOfTheStepNumbers) {
  const auto pot = std::make_shared<POTPlan>(env);
  std::vector<std::shared_ptr<POTStep>> steps;
  for (int i = 0; i < 30; ++i) steps.push_back(pot->add_step(0, wait, {}, rational(i)));
  const TimeTriggeredPlan plan(pot);
  for (int i = 0; i < 30; ++i) EXPECT_EQ(plan.plan().at(0)[std::size_t(i)]->duration(), i);
}

TEST_F(TimeTriggeredPlanTest, RefusesCyclesAndUnknownKinds) {
  const auto pot = std::make_shared<POTPlan>(env);
  const auto a = pot->add_step(0, wait, {}, rational(1));
  const auto b = pot->add_step(0, wait, {}, rational(1));
  pot->add_precedence(a, b);
  pot->add_precedence(b, a);
  expect_error<TemporalNetworkIsUnsat>([&] { TimeTriggeredPlan{pot}; }, "TemporalNetworkIsUnsat: ");
  expect_error<InternalError>(
      [&] { TimeTriggeredPlan{std::shared_ptr<Plan>()}; },
      "InternalError: No known conversion to TimeTriggeredPlan from the specified plan");
}

}  // namespace
}  // namespace kelvo
