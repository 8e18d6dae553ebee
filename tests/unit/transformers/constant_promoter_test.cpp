#include "transformers/constant_promoter.h"

#include "tests/unit/transformers/transformer_fixture.h"
#include "transformers/flattener.h"
#include "transformers/grounder.h"

namespace kelvo {
namespace {

using model::Expression;

class ConstantPromoterTest : public TransformerFixture {};

TEST_F(ConstantPromoterTest, FluentsThatNothingWritesBecomeConstants) {
  const auto input = parse(
      "type V; type T < V; instance T t1, t2; fluent boolean link(T a, T b); fluent integer late;"
      "fluent T at; fluent integer unset; constant integer c; c := 2;"
      "[start] link(t1, t2) := true; [start + 0] link(t2, t1) := 1 > 2;"
      "[start] late := 0; [10] late := 1; [start] at := t1; [end] at == t2;"
      "action go(T a, T b) { duration := c; [start] link(a, b); [end] at := b; };");
  ConstantPromoter promoter(input);
  const auto& output = promoter.output_problem();
  EXPECT_EQ(names(output->fluents()), (Lines{"_cp_at", "_cp_late", "_cp_unset"}));
  EXPECT_EQ(names(output->constants()), (Lines{"_cp_c", "_cp_link"}));
  EXPECT_EQ(statements(output, "go"),
            (Lines{"(duration := _cp_c)", "[start] _cp_link(a, b)", "[end] (_cp_at := b)"}));
  EXPECT_EQ(texts(output->expressions()),
            (Lines{"[start] (_cp_late := 0)", "[10] (_cp_late := 1)", "[start] (_cp_at := _cp_t1)",
                   "[end] (_cp_at == _cp_t2)"}));
  const auto link = output->constants().at("_cp_link")->value();
  const Expression t1 = instance(output, "_cp_t1");
  const Expression t2 = instance(output, "_cp_t2");
  EXPECT_EQ(link->assignment({t1, t2}), ef().make_true());
  EXPECT_EQ(link->assignment({t2, t1}), ef().make_false());
  EXPECT_EQ(link->assignment({t1, t1}), nullptr);
  std::ostringstream type;
  type << *output->user_types().at("_cp_T");
  EXPECT_EQ(type.str(), "type _cp_T < _cp_V;");
  // Grounding prunes what the promoted fluent rules out.
  EXPECT_EQ(names(Grounder(output).output_problem()->actions()), (Lines{"go_0"}));
}

TEST_F(ConstantPromoterTest, NothingToPromoteGivesTheInputItself) {
  const auto input =
      parse("fluent boolean p; [start] p := false; action a() { [end] p := true; };");
  ConstantPromoter promoter(input);
  EXPECT_EQ(promoter.output_problem(), input);
  const std::shared_ptr<Plan> plan = parse_plan(input, "0: a() [1]");
  EXPECT_EQ(promoter.map_back(plan), plan);
  const auto forward = promoter.map_forward(nullptr, input->actions().at("a"), {});
  EXPECT_EQ(std::get<1>(forward.at(0)), input->actions().at("a"));
}

TEST_F(ConstantPromoterTest, AnInitialValueThatIsNoneKeepsTheFluent) {
  const auto input = parse(
      "fluent integer x; fluent integer y; fluent integer z; [start] x := y; [start] y := 1;"
      "[start] z := 1; [start] z := 2; action a() { [start] x > 0; };");
  ConstantPromoter promoter(input);
  EXPECT_EQ(names(promoter.output_problem()->constants()), (Lines{"_cp_y"}));
}

TEST_F(ConstantPromoterTest, MembersOfTypesAndPlansComeBack) {
  const auto input = parse(
      "type R with { fluent integer size; fluent boolean done;"
      "  action act(R other) { duration := size; [start] other.size > 3; [end] done := true; }; };"
      "instance R r1, r2; [start] r1.size := 3; [start] r2.size := 5; [start] r1.done := false;");
  ConstantPromoter promoter(input);
  const auto& output = promoter.output_problem();
  Flattener flattener(output);
  Grounder grounder(flattener.output_problem());
  EXPECT_EQ(statements(grounder.output_problem(), "__cp_R_act_0"),
            (Lines{"(duration := 3)", "[end] (__cp_R__cp_done(_cp_r1) := true)"}));
  const auto& act = output->user_types().at("_cp_R")->actions().at("act");
  auto plan = std::make_shared<TimeTriggeredPlan>(env);
  const Expression nothing = ef().make_and(std::vector<Expression>{});
  plan->add_step(std::make_shared<TimeTriggeredStep>(
      rational(0), act, std::vector<Expression>{instance(output, "_cp_r2")}, rational(3), nothing,
      output->instances().at("_cp_r1")));
  const auto back =
      std::dynamic_pointer_cast<TimeTriggeredPlan>(promoter.map_back(std::shared_ptr<Plan>(plan)));
  EXPECT_EQ(text(*back), "0: r1.act(r2) [3]\n");
  const auto& step = *back->plan().begin()->second.front();
  EXPECT_EQ(text(step.post_condition()), "((r1.size == 3) and (r2.size == 5))");
  const auto forward = promoter.map_forward(step.object(), step.action(), step.actual_parameters());
  EXPECT_EQ(std::get<0>(forward.at(0)), output->instances().at("_cp_r1"));
  EXPECT_EQ(std::get<1>(forward.at(0)), act);
}

}  // namespace
}  // namespace kelvo
