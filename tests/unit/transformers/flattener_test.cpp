#include "transformers/flattener.h"

#include "tests/unit/transformers/transformer_fixture.h"
#include "transformers/grounder.h"

namespace kelvo {
namespace {

using model::Expression;

class FlattenerTest : public TransformerFixture {
 protected:
  const std::string robots =
      "type Place;"
      "type Robot with {"
      "  type Arm with { fluent boolean holds; };"
      "  fluent Place pos; fluent integer load(Place p); constant integer speed;"
      "  action move(Place to) { duration := speed; [start] load(to) < 3; [end] pos := to; };"
      "};"
      "instance Place p1, p2; instance Robot r1, r2;"
      "r1.speed := 4; r2.speed := 7;"
      "[start] r1.pos := p1; [start] r2.pos := p2; [start] r1.load(p2) := 0;"
      "fluent boolean done(Robot r);"
      "action check(Robot r, boolean b) { [start] r.pos == p2; [end] done(r) := b; };"
      "[end] done(r1);";
};

TEST_F(FlattenerTest, MembersGetTheirObjectAsFirstParameter) {
  Flattener flattener(parse(robots));
  const auto& output = flattener.output_problem();
  EXPECT_TRUE(output->is_flat());
  EXPECT_EQ(names(output->user_types()), (Lines{"_Place", "_Robot", "_Robot_Arm"}));
  EXPECT_EQ(names(output->fluents()),
            (Lines{"_Robot_Arm_holds", "_Robot_load", "_Robot_pos", "done"}));
  EXPECT_EQ(names(output->actions()), (Lines{"_Robot_move", "check"}));
  std::ostringstream move;
  move << *output->actions().at("_Robot_move");
  EXPECT_EQ(move.str(),
            "action _Robot_move(_Robot object, _Place to) {\n"
            "(duration := _Robot_speed(object));\n"
            "[start] (_Robot_load(object, to) < 3);\n"
            "[end] (_Robot_pos(object) := to);\n};");
  EXPECT_EQ(statements(output, "check"),
            (Lines{"[start] (_Robot_pos(r) == p2)", "[end] (done(r) := b)"}));
  EXPECT_EQ(texts(output->expressions()),
            (Lines{"[start] (_Robot_pos(r1) := p1)", "[start] (_Robot_pos(r2) := p2)",
                   "[start] (_Robot_load(r1, p2) := 0)", "[end] done(r1)"}));
  const auto speed = output->constants().at("_Robot_speed")->value();
  EXPECT_EQ(speed->assignment({instance(output, "r2")}), ef().make_integer_constant(7));
  EXPECT_EQ(speed->assignments().size(), 2u);
}

// User types are shared by name for a whole run, and this one outlives its problem by the set type.
TEST_F(FlattenerTest, AStructuredTypeMayBeReadAgainAfterItsProblemIsGone) {
  const std::string text =
      "type Base; type Robot < Base with {"
      "  fluent boolean busy; fluent set(Robot) friends; constant integer speed;"
      "  action go(Robot o) { duration := speed; [start] not busy; [end] busy := gate;"
      "                       [end] r1.busy := true; };"
      "}; fluent boolean gate; instance Robot r1; r1.speed := 2; [end] r1.busy;";
  const auto flattened = [this](const std::string& source) {
    std::ostringstream printed;
    Flattener flattener(parse(source));
    printed << flattener.output_problem();
    return printed.str();
  };
  const std::string first = flattened(text);
  EXPECT_EQ(flattened(text), first);
  // Nothing of the earlier declaration is left.
  const std::string other =
      "type Robot with { fluent integer busy; action stop() { [start] busy > 1; }; };"
      "instance Robot r2; [end] r2.busy == 0;";
  const std::string second = flattened(other);
  EXPECT_EQ(second.find("go"), std::string::npos) << second;
  EXPECT_NE(second.find("fluent integer _Robot_busy(_Robot object)"), std::string::npos) << second;
}

TEST_F(FlattenerTest, AFlatProblemKeepsItsNames) {
  Flattener flattener(
      parse("type T; instance T t1; fluent T f(T t); constant T c(T t); c(*) := t1;"
            "action a(T t, integer n) { [end] f(t) := c(t); };"));
  const auto& output = flattener.output_problem();
  EXPECT_EQ(output->instances().at("t1")->type()->name(), "_T");
  EXPECT_EQ(output->fluents().at("f")->parameters()[0]->type()->reference_name(), "_T");
  EXPECT_EQ(statements(output, "a"), (Lines{"[end] (f(t) := c(t))"}));
  EXPECT_EQ(output->constants().at("c")->value()->default_value(), instance(output, "t1"));
}

TEST_F(FlattenerTest, PlansGoForwardAndBack) {
  const auto input = parse(robots);
  Flattener flattener(input);
  const auto& output = flattener.output_problem();
  const std::string plan_text = "0: r1.move(p2) [4]\n5: check(r1, true) [1]\n";
  const auto forward = flattener.map_forward(parse_plan(input, plan_text));
  EXPECT_EQ(text(*forward), "0: _Robot_move(r1, p2) [4]\n5: check(r1, true) [1]\n");
  const auto& step = *forward->plan().begin()->second.front();
  EXPECT_EQ(step.actual_parameters()[0], instance(output, "r1"));  // the new instance

  const auto back = std::dynamic_pointer_cast<TimeTriggeredPlan>(
      flattener.map_back(std::shared_ptr<Plan>(forward)));
  EXPECT_EQ(text(*back), plan_text);
  const auto& first = *back->plan().begin()->second.front();
  EXPECT_EQ(first.object(), input->instances().at("r1"));
  EXPECT_EQ(first.actual_parameters()[0], instance(input, "p2"));
  EXPECT_EQ(back->plan().rbegin()->second.front()->action(), input->actions().at("check"));
  expect_internal_error([&] { flattener.map_forward(forward); },
                        "Found an action that is unknown to the flattener!");
}

TEST_F(FlattenerTest, StepsMapOneByOne) {
  const auto input = parse(robots);
  Flattener flattener(input);
  const auto& output = flattener.output_problem();
  const auto& move = input->user_types().at("Robot")->actions().at("move");
  const auto forward =
      flattener.map_forward(input->instances().at("r2"), move, {instance(input, "p1")});
  ASSERT_EQ(forward.size(), 1u);
  EXPECT_EQ(std::get<1>(forward[0]), output->actions().at("_Robot_move"));
  EXPECT_EQ(std::get<2>(forward[0]),
            (std::vector<Expression>{instance(output, "r2"), instance(output, "p1")}));
  expect_internal_error([&] { flattener.map_forward(nullptr, input->actions().at("check"), {}); },
                        "Found an action that is unknown to the flattener!");
  expect_internal_error(
      [&] {
        flattener.map_back(nullptr, output->actions().at("_Robot_move"),
                           {ef().make_true(), ef().make_true()});
      },
      "Invalid object parameter for action _Robot_move");
}

TEST_F(FlattenerTest, PostConditionsAreScopedAgain) {
  const auto input = parse(robots);
  Flattener flattener(input);
  const auto& output = flattener.output_problem();
  const Expression r1 = instance(output, "r1");
  const Expression p2 = instance(output, "p2");
  const auto apply = [&](const std::string& fluent, const std::vector<Expression>& arguments) {
    return ef().make_functional_apply(ef().make_fluent_reference(output->fluents().at(fluent)),
                                      arguments);
  };
  const Expression pos = ef().make_equals(apply("_Robot_pos", {r1}), p2);
  const Expression load =
      ef().make_equals(apply("_Robot_load", {r1, p2}), ef().make_integer_constant(3));
  const Expression done = ef().make_equals(apply("done", {r1}), ef().make_true());
  auto plan = std::make_shared<POTPlan>(env);
  plan->add_step(rational(0), output->actions().at("_Robot_move"), {r1, p2}, rational(4),
                 ef().make_and({pos, load, done}));
  const auto back =
      std::dynamic_pointer_cast<POTPlan>(flattener.map_back(std::shared_ptr<Plan>(plan)));
  const auto& step = **back->steps().begin();
  EXPECT_EQ(text(step.post_condition()),
            "((r1.pos == p2) and (r1.load(p2) == 3) and (done(r1) == true))");
  EXPECT_EQ(step.object(), input->instances().at("r1"));
}

TEST_F(FlattenerTest, ChainsWithTheGrounder) {
  const auto input = parse(robots);
  Flattener flattener(input);
  Grounder grounder(flattener.output_problem());
  const auto& actions = grounder.output_problem()->actions();
  EXPECT_EQ(actions.size(), 8u);
  auto plan = std::make_shared<TimeTriggeredPlan>(env);
  plan->add_step(std::make_shared<TimeTriggeredStep>(rational(0), actions.at("_Robot_move_2"),
                                                     std::vector<Expression>{}, rational(4)));
  const auto back = flattener.map_back(grounder.map_back(std::shared_ptr<Plan>(plan)));
  EXPECT_EQ(text(*back), "0: r1.move(p2) [4]\n");
}

TEST_F(FlattenerTest, RunsTwiceToTheSameText) {
  const auto input = parse(robots);
  std::ostringstream first;
  std::ostringstream second;
  first << Flattener(input).output_problem();
  second << Flattener(input).output_problem();
  EXPECT_EQ(first.str(), second.str());
}

}  // namespace
}  // namespace kelvo
