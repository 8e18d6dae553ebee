#include "transformers/temporal_uncertainty_compiler.h"

#include "tests/unit/transformers/transformer_fixture.h"

namespace kelvo {
namespace {

using model::Expression;

class TemporalUncertaintyCompilerTest : public TransformerFixture {
 protected:
  std::size_t count_of_goals(const std::string& text) {
    return TemporalUncertaintyCompiler(parse(text)).output_problem()->expressions().size();
  }
};

TEST_F(TemporalUncertaintyCompilerTest, EndEffectsGetAShadowFromTheEarliestEndOn) {
  TemporalUncertaintyCompiler compiler(
      parse("fluent boolean p; fluent boolean q; action go() { duration :in [2, 5];"
            "[end] p := true; [start] q := true; }; [start] p := false; [end] p;"));
  const auto& output = compiler.output_problem();
  EXPECT_EQ(names(output->fluents()), (Lines{"p", "p_sigma", "q"}));
  EXPECT_EQ(statements(output, "go"),
            (Lines{"[end] (p := true)", "[start] (q := true)", "(duration := 5)",
                   "[(start + 2)] (p_sigma := true)", "((start + 2), end] (p_sigma == true)"}));
  EXPECT_EQ(texts(output->expressions()), (Lines{"[start] (p := false)", "[end] p",
                                                 "[start] (p_sigma := false)", "[end] p_sigma"}));
}

TEST_F(TemporalUncertaintyCompilerTest, EqualBoundsAreNoUncertainty) {
  TemporalUncertaintyCompiler compiler(
      parse("fluent boolean p; action go() { duration :in [3, 3]; [end] p := true; };"));
  EXPECT_EQ(names(compiler.output_problem()->fluents()), (Lines{"p"}));
  EXPECT_EQ(statements(compiler.output_problem(), "go"),
            (Lines{"[end] (p := true)", "(duration := 3)"}));
}

TEST_F(TemporalUncertaintyCompilerTest, ConditionsHoldForEveryMixOfFluentsAndShadows) {
  TemporalUncertaintyCompiler compiler(
      parse("fluent boolean p; fluent boolean q(boolean b); fluent boolean p_sigma;"
            "action go(boolean b) { duration :in [2, 5]; [end] p := true; [end] q(b) := true; };"
            "[end] p and q(true);"));
  const auto& output = compiler.output_problem();
  EXPECT_EQ(names(output->fluents()), (Lines{"p", "p_sigma", "p_sigma1", "q", "q_sigma"}));
  const Lines goals = texts(output->expressions());
  EXPECT_EQ(goals, (Lines{"[end] (p and q(true))", "[end] (p_sigma1 and q(true))",
                          "[end] (p and q_sigma(true))", "[end] (p_sigma1 and q_sigma(true))"}));
}

TEST_F(TemporalUncertaintyCompilerTest, RefusesWhatItCannotShadow) {
  const std::string uncertain =
      "fluent boolean p; fluent boolean q;"
      "action go() { duration :in [2, 5]; [end] p := true; };";
  expect_internal_error(
      [&] {
        TemporalUncertaintyCompiler(parse(uncertain + "action copy() { [start] q := p; };"))
            .output_problem();
      },
      "Found an assignment that reads uncertain fluents in action 'copy', which would give "
      "contradicting effects: [start] (q := p)");
  std::string many;
  std::string all = "[end] true";
  std::string printed = "[end] (true";
  for (int i = 0; i < 17; ++i) {
    const std::string p = "p" + std::to_string(i);
    many += "fluent boolean " + p + "; action " + p + "_on() { duration :in [2, 5]; [end] " + p +
            " := true; };";
    all += " and " + p;
    printed += i < 16 ? " and (" + p : " and " + p + std::string(17, ')');
    if (i == 9) {
      EXPECT_EQ(count_of_goals(many + all + ";"), 1024u);
    }
  }
  expect_internal_error(
      [&] { TemporalUncertaintyCompiler(parse(many + all + ";")).output_problem(); },
      "Found too many uncertain fluents in one expression of the problem: " + printed);
  // The sides are replaced together: no contradiction.
  EXPECT_EQ(statements(TemporalUncertaintyCompiler(
                           parse(uncertain + "action flip() { [start] p := not p; };"))
                           .output_problem(),
                       "flip")
                .size(),
            2u);
}

TEST_F(TemporalUncertaintyCompilerTest, PlansGoForwardAndBack) {
  const auto input = parse(
      "fluent boolean p; action go() { duration :in [2, 5]; [end] p := true; };"
      "action stop() { duration := 1; [start] p := false; };");
  TemporalUncertaintyCompiler compiler(input);
  const auto& output = compiler.output_problem();
  const auto forward = compiler.map_forward(parse_plan(input, "0: go() [5]\n6: stop() [1]\n"));
  EXPECT_EQ(forward->plan().begin()->second.front()->action(), output->actions().at("go"));
  EXPECT_EQ(text(*compiler.map_back(std::shared_ptr<Plan>(forward))), "0: go()\n6: stop() [1]\n");

  const Expression p = ef().make_fluent_reference(output->fluents().at("p"));
  const Expression shadow = ef().make_fluent_reference(output->fluents().at("p_sigma"));
  const Expression about_p = ef().make_equals(p, ef().make_true());
  const Expression about_shadow = ef().make_equals(shadow, ef().make_true());
  auto plan = std::make_shared<POTPlan>(env);
  plan->add_step(rational(0), output->actions().at("stop"), {},
                 ef().make_and(about_shadow, about_p));
  const auto back =
      std::dynamic_pointer_cast<POTPlan>(compiler.map_back(std::shared_ptr<Plan>(plan)));
  const auto& step = **back->steps().begin();
  EXPECT_EQ(text(step.post_condition()), "((p == true))");
  EXPECT_TRUE(step.has_duration());
  expect_internal_error([&] { compiler.map_back(nullptr, input->actions().at("go"), {}); },
                        "Found an action that is unknown to the temporal uncertainty compiler!");
  expect_internal_error([&] { compiler.map_forward(forward); },
                        "Found an action that is unknown to the compiler!");
}

}  // namespace
}  // namespace kelvo
