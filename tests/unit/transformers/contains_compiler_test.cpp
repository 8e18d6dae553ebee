#include "transformers/contains_compiler.h"

#include "tests/unit/transformers/transformer_fixture.h"

namespace kelvo {
namespace {

using model::Expression;

class ContainsCompilerTest : public TransformerFixture {};

TEST_F(ContainsCompilerTest, AGoalBecomesAHelperActionInAWindow) {
  ContainsCompiler compiler(
      parse("fluent boolean p; fluent boolean q; [start, end] contains p; [3, 10] contains q;"));
  const auto& output = compiler.output_problem();
  EXPECT_EQ(names(output->fluents()), (Lines{"__contains_active_0", "__contains_active_1",
                                             "__contains_goal_0", "__contains_goal_1", "p", "q"}));
  EXPECT_EQ(statements(output, "__contains_action_0"),
            (Lines{"[start] (__contains_active_0 and (not __contains_goal_0) and p)",
                   "[start] (__contains_goal_0 := true)", "(duration := 1)"}));
  const Lines statements_of_problem = texts(output->expressions());
  EXPECT_EQ(statements_of_problem,
            (Lines{"[start] (__contains_active_0 := true)", "[end] (__contains_active_0 := false)",
                   "[start] (__contains_goal_0 := false)", "[end] __contains_goal_0",
                   "[3] (__contains_active_1 := true)", "[10] (__contains_active_1 := false)",
                   "[start] (__contains_active_1 := false)", "[start] (__contains_goal_1 := false)",
                   "[end] __contains_goal_1"}));
}

TEST_F(ContainsCompilerTest, LabelsOrderGoalsAndBoundConditions) {
  ContainsCompiler compiler(
      parse("fluent boolean p; fluent boolean q; [all] contains a: p; [all] contains b: q;"
            "start(a) < start(b); [start(a), start(b)] p; [start(a), end] q;"));
  const auto& output = compiler.output_problem();
  const Lines helper = statements(output, "__contains_action_1");
  EXPECT_EQ(std::count(helper.begin(), helper.end(),
                       "[start] (__contains_active_1 and (not __contains_goal_1) and q and "
                       "__contains_goal_0)"),
            1);
  const Lines all = texts(output->expressions());
  for (const char* expected : {"[all] ((not __contains_goal_0) or __contains_goal_1 or p)",
                               "[all] ((not __contains_goal_0) or q)"}) {
    EXPECT_EQ(std::count(all.begin(), all.end(), expected), 1) << expected;
  }
  ASSERT_EQ(output->labels_orderings().size(), 1u);
  EXPECT_EQ(text(output->labels_orderings().begin()->first), "__contains_goal_0");
  EXPECT_EQ(text(output->labels_orderings().begin()->second), "__contains_goal_1");
}

TEST_F(ContainsCompilerTest, HelpersDisappearFromPlans) {
  const auto input = parse("fluent boolean p; action go() { }; [all] contains p;");
  ContainsCompiler compiler(input);
  const auto& output = compiler.output_problem();
  auto plan = std::make_shared<POTPlan>(env);
  const auto first = plan->add_step(rational(0), output->actions().at("go"), {}, rational(1));
  const auto helper =
      plan->add_step(rational(0), output->actions().at("__contains_action_0"), {}, rational(1));
  const auto last = plan->add_step(rational(0), output->actions().at("go"), {}, rational(2));
  plan->add_precedence(helper, first);
  plan->add_precedence(last, helper);
  plan->add_precedence(last, first);
  EXPECT_EQ(text(*compiler.map_back(std::shared_ptr<Plan>(plan))),
            "Steps to execute:\n 1) go() with duration 1\n 2) go() with duration 2\n"
            "Subject to:\n 2 > 1\n");
  expect_internal_error([&] { compiler.map_back(std::shared_ptr<Plan>()); },
                        "Unknown plan kind to be converted by the transformer");
  expect_internal_error([&] { compiler.map_forward(nullptr, input->actions().at("go"), {}); },
                        "Not implemented yet!");
}

}  // namespace
}  // namespace kelvo
