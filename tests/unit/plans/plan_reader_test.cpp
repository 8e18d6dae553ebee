#include "plans/plan_reader.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

#include "shell/errors.h"
#include "tests/unit/plans/plan_fixture.h"

namespace kelvo {
namespace {

class PlanReaderTest : public PlanFixture {
 protected:
  // The plan as it is printed, with the line of each step in front.
  std::string read(const std::string& text) {
    std::istringstream source(text);
    const PlanText plan = PlanReader(env, problem).read(source);
    std::ostringstream result;
    for (const auto& [time, steps] : plan.plan->plan()) {
      for (const auto& step : steps) {
        result << plan.lines.at(step.get()) << "| ";
        TimeTriggeredPlan one(env);
        one.add_step(step);
        one.print_exactly(result);
      }
    }
    return result.str();
  }
};

TEST_F(PlanReaderTest, ReadsBothFormsWithAndWithoutDurations) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      {";; A plan has been found:\n\n", ""},
      {"1: wait() [2.50]", "1| 1: wait() [5/2]\n"},
      {"1: wait()", "1| 1: wait()\n"},
      {"; first\n1/3: wait ( ) ; then", "2| 1/3: wait()\n"},
      {"0.005 : truck1.drive( box2 )[1/3]\r\n", "1| 0.005: truck1.drive(box2) [1/3]\n"},
      {"1: set(-3, -1/2, true) [1]", "1| 1: set(-3, -1/2, true) [1]\n"},
      {"12345.64: wait()", "1| 12345.64: wait()\n"},
      {"0.000: (wait)  [5.000]\n0.010: (wait)\n", "1| 0: wait() [5]\n2| 0.01: wait()\n"},
      {"2: (LOAD Truck1 box2) [1]", "1| 2: load(truck1, box2) [1]\n"},
      {"2:(load truck1   true1)[1];(c)", "1| 2: load(truck1, true1) [1]\n"},
  };
  for (const auto& [source, expected] : cases) EXPECT_EQ(read(source), expected) << source;
}

TEST_F(PlanReaderTest, HyphensOfPddlAreUnderscores) {
  model::ModelFactory& mf = env.model_factory();
  const model::UserType type = mf.make_user_type("Place");
  const model::Instance place = mf.make_instance("north_Gate", type);
  const model::Instance other = mf.make_instance("north_gate", type);
  const model::Action go = mf.make_action("go_to", {}, {mf.make_parameter("p", type)}, {});
  problem = mf.make_problem_instance({{"go_to", go}}, {}, {},
                                     {{"north_Gate", place}, {"north_gate", other}},
                                     {{"Place", type}}, {});
  EXPECT_EQ(read("1: (GO-TO north-Gate)"), "1| 1: go_to(north_Gate)\n");
  EXPECT_EQ(read("1: (go-to north-gate)"), "1| 1: go_to(north_gate)\n");
  // Neither of two names that differ in case only.
  EXPECT_THROW(read("1: (go-to NORTH-GATE)"), ParserError);
  EXPECT_THROW(read("1: go-to(north_gate)"), ParserError);
}

TEST_F(PlanReaderTest, NamesTheLineThatIsWrong) {
  const std::pair<const char*, const char*> cases[] = {
      {"\nwait()", "ParserError: This is no step of a plan: wait() at line 2"},
      {"1: wait", "ParserError: This is no step of a plan: 1: wait at line 1"},
      {"1: wait() 2]", "ParserError: This is no step of a plan: 1: wait() 2] at line 1"},
      {"1: ()", "ParserError: This is no step of a plan: 1: () at line 1"},
      {"1e3: wait()", "ParserError: Not a time: '1e3' at line 1"},
      {"1/0: wait()", "ParserError: Not a time: '1/0' at line 1"},
      {"1: wait() [x]", "ParserError: Not a duration: 'x' at line 1"},
      {"1: WAIT()", "ParserError: Action not found: 'WAIT' at line 1"},
      {"1: (run)", "ParserError: Action not found: 'run' at line 1"},
      {"1: wait(box2)", "ParserError: Wrong number of parameters at line 1"},
      {"1: load(truck1, )", "ParserError: Object not found: '' at line 1"},
      {"1: boat.drive(box2)", "ParserError: Object not found: 'boat' at line 1"},
  };
  for (const auto& [source, message] : cases) {
    expect_error<ParserError>([&, text = source] { read(text); }, message);
  }
}

}  // namespace
}  // namespace kelvo
