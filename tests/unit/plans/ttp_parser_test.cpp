#include "plans/ttp_parser.h"

#include "tests/unit/plans/plan_fixture.h"

namespace kelvo {
namespace {

class TTPParserTest : public PlanFixture {
 protected:
  std::shared_ptr<TimeTriggeredPlan> parse(const std::string& source) {
    std::istringstream stream(source);
    return TTPParser(env, problem).parse(stream);
  }
};

TEST_F(TTPParserTest, SkipsCommentsAndBlankLines) {
  for (const char* source :
       {"", "\n\n", ";; A plan has been found:\n", "  \t; 3: nothing()\r\n \r\n"}) {
    EXPECT_EQ(parse(source)->size(), 0U) << source;
  }
}

TEST_F(TTPParserTest, ReadsStepsInFileOrderWithinOneTime) {
  const auto plan = parse(
      ";; A plan has been found:\n"
      "0.5: wait() [1/3]\r\n"
      " 1/2 :truck1.drive (box2)  [ 10 ] \n"
      "007: load(truck1,  box2)[0]\n");
  ASSERT_EQ(plan->size(), 3U);
  ASSERT_EQ(plan->plan().size(), 2U);
  const auto& first = plan->plan().at(rational(1, 2));
  ASSERT_EQ(first.size(), 2U);
  EXPECT_EQ(first[0]->action(), wait);
  EXPECT_EQ(first[0]->object(), nullptr);
  EXPECT_EQ(first[0]->duration(), rational(1, 3));
  EXPECT_EQ(first[1]->action(), drive);
  EXPECT_EQ(first[1]->object(), truck);
  EXPECT_EQ(first[1]->duration(), 10);
  const auto& last = plan->plan().at(7);
  EXPECT_EQ(last[0]->action(), load);
  EXPECT_EQ(last[0]->actual_parameters(), (std::vector<model::Expression>{ref(truck), ref(box)}));
  EXPECT_TRUE(last[0]->has_duration());
  EXPECT_EQ(last[0]->post_condition(), nullptr);
}

// The object and the action are resolved independently.
TEST_F(TTPParserTest, AnActionOfATypeIsFoundWithoutObject) {
  const auto plan = parse("1: drive(box2) [1]\n2: box2.wait() [1]\n");
  EXPECT_EQ(plan->plan().at(1)[0]->action(), drive);
  EXPECT_EQ(plan->plan().at(1)[0]->object(), nullptr);
  EXPECT_EQ(plan->plan().at(2)[0]->object(), box);
}

TEST_F(TTPParserTest, NumbersTakeTheTypeOfTheirParameter) {
  using Values = std::vector<model::Expression>;
  const auto values_of = [&](const std::string& list) {
    return parse("1: set(" + list + ") [1]")->plan().at(1)[0]->actual_parameters();
  };
  const model::Expression four = ef().make_integer_constant(4);
  const model::Expression yes = ef().make_boolean_constant(true);
  const model::Expression no = ef().make_boolean_constant(false);
  EXPECT_EQ(values_of("4, 4, true"), (Values{four, ef().make_rational_constant(4), yes}));
  EXPECT_EQ(values_of("8/2,0.25, false"),
            (Values{four, ef().make_rational_constant(rational(1, 4)), no}));
  EXPECT_EQ(values_of("1.5, 5.0, true"), (Values{ef().make_rational_constant(rational(3, 2)),
                                                 ef().make_rational_constant(5), yes}));
}

TEST_F(TTPParserTest, TheFirstBadLineIsAnError) {
  const std::pair<const char*, const char*> cases[] = {
      {"3: wait()", "at line 1"},
      {"\n; x\n3: wait() []", "at line 3"},
      {"1e3: wait() [1]", "at line 1"},
      {"-1: wait() [1]", "at line 1"},
      {"1.: wait() [1]", "at line 1"},
      {"1: wait( ) [1]", "at line 1"},
      {"1: load( truck1, box2) [1]", "at line 1"},
      {"1: load(truck1 ,box2) [1]", "at line 1"},
      {"1: wait() [1] now", "at line 1"},
      {"1: wait() [1]\r\r", nullptr},
      {"5/0: wait() [1]", "at line 1"},
      {"1: wait() [1/00]", "at line 1"},
      {"1: van.wait() [1]", "Object not found at line 1"},
      {"1: van.fly() [1]", "Object not found at line 1"},
      {"1: fly() [1]", "Action not found at line 1"},
      {"1: load(truck1, van) [1]", "Parameter not correct: van at line 1"},
      {"1: load(truck1, box2.x) [1]", "Action parameters not correct at line 1"},
      {"1: load(truck1, true1) [1]", "Action parameters not correct at line 1"},
      {"1: set(1, 5/0, true) [1]", "Action parameters not correct at line 1"},
      {"1: wait() [1]\n1: load(truck1) [1]", "Wrong number of parameters at line 2"},
      {"1: wait(1) [1]", "Wrong number of parameters at line 1"},
  };
  for (const auto& [source, expected] : cases) {
    if (expected == nullptr) {
      EXPECT_EQ(parse(source)->size(), 1U) << source;
    } else {
      SCOPED_TRACE(source);
      expect_error<ParserError>([&, text = source] { parse(text); },
                                std::string("ParserError: ") + expected);
    }
  }
}

// Such a step is printed without a duration.
TEST_F(TTPParserTest, AMissingDurationOfAnUncertainActionIsExplained) {
  const model::Expression anchor = ef().make_duration_anchor();
  const model::Expression low = ef().make_rational_constant(2);
  const model::Expression high = ef().make_rational_constant(5);
  const model::Expression interval = ef().make_closed_interval(low, high);
  const model::Action bake =
      env.model_factory().make_action("bake", {}, {}, {ef().make_in_assign(anchor, interval)});
  problem = env.model_factory().make_problem_instance({{"bake", bake}, {"wait", wait}}, {}, {}, {},
                                                      {}, {});
  EXPECT_EQ(parse("0: bake() [3]")->size(), 1U);
  const std::pair<const char*, const char*> cases[] = {
      {"0: wait()", "ParserError: at line 1"},
      {"0: burn()", "ParserError: at line 1"},
      {"0: bake() []", "ParserError: at line 1"},
      {"\n0: bake()",
       "ParserError: at line 2\nThe duration of action 'bake' is chosen by the environment: to "
       "judge the plan for one duration, write it behind the step, such as [5]"},
  };
  for (const auto& [source, expected] : cases) {
    expect_error<ParserError>([&, text = source] { parse(text); }, expected);
  }
}

TEST_F(TTPParserTest, APlanPrintedExactlyReadsBack) {
  env.configuration().set_value("rational-precision", true);
  const std::string source =
      "0: load(truck1, box2) [5/2]\n"
      "1/3: truck1.drive(box2) [10]\n"
      "1/3: set(4, 1/2, false) [1/7]\n"
      "1234567: wait() [0]\n";
  EXPECT_EQ(text(*parse(source)), source);
}

}  // namespace
}  // namespace kelvo
