#include "transformers/grounder.h"

#include "tests/unit/transformers/transformer_fixture.h"

namespace kelvo {
namespace {

using model::Expression;

class GrounderTest : public TransformerFixture {
 protected:
  const std::string locations =
      "type Location; instance Location l1, l2, l3;"
      "constant boolean link(Location a, Location b);"
      "link(l1, l2) := true; link(l2, l3) := true; link(*) := false;"
      "fluent Location at;";
};

TEST_F(GrounderTest, NumbersTheSurvivorsAndKeepsWhatCannotBeDecided) {
  Grounder grounder(parse(
      locations +
      "action move(Location a, Location b) { duration := 5; [start] link(a, b); [start] at == a;"
      "  [end] at := b; };"));
  const auto& output = grounder.output_problem();
  EXPECT_EQ(names(output->actions()), (Lines{"move_0", "move_1"}));
  EXPECT_EQ(statements(output, "move_0"),
            (Lines{"(duration := 5)", "[start] (at == l1)", "[end] (at := l2)"}));
  EXPECT_EQ(statements(output, "move_1"),
            (Lines{"(duration := 5)", "[start] (at == l2)", "[end] (at := l3)"}));
  EXPECT_EQ(&grounder.output_problem(), &output);
}

TEST_F(GrounderTest, WithoutPruningFalseConditionsStay) {
  Grounder grounder(
      parse(locations + "action move(Location a, Location b) { [start] link(a, b); };"),
      /*ground_all=*/false, /*prune_actions=*/false);
  const auto& output = grounder.output_problem();
  ASSERT_EQ(output->actions().size(), 9u);
  EXPECT_EQ(statements(output, "move_0"), (Lines{"[start] false"}));
  EXPECT_EQ(statements(output, "move_3"), (Lines{}));  // l1, l2: true conditions go
}

TEST_F(GrounderTest, ACombinationWithAnUndefinedConstantIsAlwaysGivenUp) {
  const std::string problem =
      "type T; instance T t1, t2, t3; constant integer c(T t); c(t2) := 4; fluent integer f;"
      "constant boolean ok(T t); ok(t2) := true; ok(t3) := false;";
  const std::pair<std::string, Lines> cases[] = {
      {"action a(T t) { duration := c(t); };", {"a_0"}},
      {"action a(T t) { [start + c(t)] f := 1; };", {"a_0"}},
      {"action a(T t) { [start] ok(t) or f > 0; };", {"a_0", "a_1"}},
      {"action a(T t) { [start] not ok(t); };", {"a_0", "a_1"}},
      // The constant is folded away before it is looked for.
      {"action a(T t) { [start] t == t1 or c(t) > 3; };", {"a_0", "a_1"}},
  };
  for (const auto& [action, expected] : cases) {
    Grounder grounder(parse(problem + action), /*ground_all=*/false, /*prune_actions=*/false);
    EXPECT_EQ(names(grounder.output_problem()->actions()), expected) << action;
  }
}

TEST_F(GrounderTest, DomainsAreInTheToldOrder) {
  Grounder grounder(
      parse("type T; type S < T; instance T t1; instance S s1; fluent boolean f(boolean b);"
            "fluent integer n; action a(boolean b, integer[2, 3] i, T t) "
            "{ [start] f(b); [end] n := i; };"));
  const auto& output = grounder.output_problem();
  EXPECT_EQ(names(output->actions()), (Lines{"a_0", "a_1", "a_2", "a_3"}));
  EXPECT_EQ(statements(output, "a_0"), (Lines{"[start] f(true)", "[end] (n := 2)"}));
  EXPECT_EQ(statements(output, "a_1"), (Lines{"[end] (n := 2)", "[start] f(false)"}));
  EXPECT_EQ(statements(output, "a_2"), (Lines{"[start] f(true)", "[end] (n := 3)"}));
}

TEST_F(GrounderTest, NoInstanceMeansNoAction) {
  Grounder grounder(parse("type T; action a(T t) { duration := 1; }; action b() { };"));
  EXPECT_EQ(names(grounder.output_problem()->actions()), (Lines{"b"}));
}

TEST_F(GrounderTest, TakenNamesAreSkipped) {
  Grounder grounder(parse("type T; instance T t1, t2; fluent boolean a_0; action a(T t) { };"));
  EXPECT_EQ(names(grounder.output_problem()->actions()), (Lines{"a_1", "a_2"}));
}

// Such a value is no condition that fails.
TEST_F(GrounderTest, ValuesThatFoldToFalseAreKept) {
  Grounder grounder(
      parse("type T; instance T t1; constant boolean c(T t); c(t1) := true; fluent boolean p;"
            "fluent boolean q; action a(T t) { [start] p == c(t); [start] p := not c(t);"
            "[end] q := c(t) and not c(t); }; action b(T t) { [start] not c(t); };"));
  const auto& output = grounder.output_problem();
  EXPECT_EQ(names(output->actions()), (Lines{"a_0"}));
  const Lines lines = statements(output, "a_0");
  for (const char* expected : {"[start] (p := false)", "[end] (q := false)"}) {
    EXPECT_EQ(std::count(lines.begin(), lines.end(), expected), 1) << expected;
  }
}

TEST_F(GrounderTest, AgreesWithThePlainProduct) {
  // Conditions of several shapes over overlapping parameters, against their meaning.
  Grounder grounder(
      parse("constant boolean c(integer[0, 4] a, integer[0, 4] b);"
            "c(0, 1) := true; c(1, 3) := true; c(4, 4) := true; c(2, 0) := true; c(*) := false;"
            "fluent integer n;"
            "action a(integer[0, 4] x, integer[0, 4] y, integer[0, 4] z) {"
            "  [start] c(x, z) and not c(y, z); [start] x + y > 2 or n == 1; [start] z != y;"
            "  [end] n := x + 10 * y + 100 * z; };"));
  const auto in_c = [](int a, int b) {
    return (a == 0 && b == 1) || (a == 1 && b == 3) || (a == 4 && b == 4) || (a == 2 && b == 0);
  };
  std::size_t number = 0;
  for (int z = 0; z < 5; ++z) {
    for (int y = 0; y < 5; ++y) {
      for (int x = 0; x < 5; ++x) {
        if (!in_c(x, z) || in_c(y, z) || z == y) continue;
        const Lines lines = statements(grounder.output_problem(), "a_" + std::to_string(number++));
        const std::string effect = "[end] (n := " + std::to_string(x + 10 * y + 100 * z) + ")";
        EXPECT_EQ(std::count(lines.begin(), lines.end(), effect), 1) << x << y << z;
        EXPECT_EQ(lines.size(), x + y > 2 ? 1u : 2u);
      }
    }
  }
  EXPECT_EQ(grounder.output_problem()->actions().size(), number);
}

TEST_F(GrounderTest, MapsStepsBothWays) {
  const auto input = parse(
      "type T; instance T t1, t2; fluent float x;"
      "action a(T t, float d) { [end] x := d; }; action b(T s, T t) { };");
  Grounder grounder(input);
  const auto& output = grounder.output_problem();
  const Expression three = ef().make_rational_constant(3);
  const auto [object, action, parameters] =
      grounder.map_back(nullptr, output->actions().at("a_1"), {three});
  EXPECT_EQ(action, input->actions().at("a"));
  EXPECT_EQ(parameters, (std::vector<Expression>{instance(input, "t2"), three}));

  const std::vector<Expression> actual{instance(input, "t2"), instance(input, "t1")};
  const auto forward = grounder.map_forward(nullptr, input->actions().at("b"), actual);
  ASSERT_EQ(forward.size(), 1u);
  EXPECT_EQ(std::get<1>(forward[0])->name(), "b_1");
  EXPECT_EQ(std::get<2>(grounder.map_back(nullptr, std::get<1>(forward[0]), {})), actual);

  expect_internal_error(
      [&] { grounder.map_forward(nullptr, input->actions().at("a"), {instance(input, "t1")}); },
      "Grounder map forward works only with action with only finite parameters!");
  expect_internal_error([&] { grounder.map_back(nullptr, output->actions().at("a_1"), {}); },
                        "Missing parameters initialization in grounder map-back!");
  expect_internal_error([&] { grounder.map_back(nullptr, input->actions().at("a"), {}); },
                        "Found an action that is unknown to the transformer!");
}

TEST_F(GrounderTest, FullGroundingNamesFluentsAndConstantsByValue) {
  const auto input = parse(
      "type T; instance T t1, t2; fluent integer f(T t); fluent float g(float x, T t);"
      "constant T next(T t); next(t1) := t2; next(t2) := t1;"
      "[start] f(t1) := 0; [start] f(next(t1)) := 1;"
      "action a(T t) { [start] f(next(t)) > 0; [end] g(1.5, t) := 2; };");
  Grounder grounder(input, /*ground_all=*/true);
  const auto& output = grounder.output_problem();
  EXPECT_EQ(names(output->fluents()), (Lines{"f_0", "f_1", "g_0", "g_1"}));
  EXPECT_EQ(names(output->constants()), (Lines{"next_0", "next_1"}));
  EXPECT_EQ(statements(output, "a_0"), (Lines{"[start] (f_1 > 0)", "[end] (g_0(3/2) := 2)"}));
  EXPECT_EQ(texts(output->expressions()), (Lines{"[start] (f_0 := 0)", "[start] (f_1 := 1)"}));

  const Expression f1 = ef().make_fluent_reference(output->fluents().at("f_1"));
  const Expression g1 = ef().make_fluent_reference(output->fluents().at("g_1"));
  const Expression half = ef().make_rational_constant(rational(1, 2));
  const Expression g1_half = ef().make_functional_apply(g1, {half});
  const Expression f1_value = ef().make_equals(f1, ef().make_integer_constant(3));
  const Expression g1_value = ef().make_equals(g1_half, half);
  auto plan = std::make_shared<TimeTriggeredPlan>(env);
  plan->add_step(std::make_shared<TimeTriggeredStep>(rational(1), output->actions().at("a_1"),
                                                     std::vector<Expression>{}, rational(2),
                                                     ef().make_and(f1_value, g1_value)));
  const auto back =
      std::dynamic_pointer_cast<TimeTriggeredPlan>(grounder.map_back(std::shared_ptr<Plan>(plan)));
  EXPECT_EQ(text(*back), "1: a(t2) [2]\n");
  EXPECT_EQ(text(back->plan().begin()->second.front()->post_condition()),
            "((f(t2) == 3) and (g(1/2, t2) == 1/2))");
}

TEST_F(GrounderTest, RefusesWhatItCannotGround) {
  expect_internal_error(
      [&] { Grounder(parse("type T with { fluent boolean f; };")).output_problem(); },
      "The grounding phase can be only applied to flattened models!");
  expect_internal_error(
      [&] { Grounder(parse("constant integer c(float x); c(*) := 1;"), true).output_problem(); },
      "Ground all not supported for Constant with infinite formal parameters!");
  expect_internal_error(
      [&] {
        Grounder(parse("type T; instance T t1, t2; constant integer c(T t); c(t1) := 1;"), true)
            .output_problem();
      },
      "Constants values are not fully defined!");
  EXPECT_THROW(Grounder(parse("type T; instance T t1; fluent T x; fluent boolean f(T t); [start] "
                              "f(x);"),
                        true)
                   .output_problem(),
               GroundingFailedError);
  Grounder grounder(parse("action a() { };"));
  grounder.output_problem();
  expect_internal_error([&] { grounder.map_back(std::shared_ptr<Plan>()); },
                        "Unknown plan kind to be converted by grounder");
}

TEST_F(GrounderTest, PartialOrderPlansKeepStepsAndPrecedences) {
  const auto input = parse("type T; instance T t1, t2; action a(T t) { };");
  Grounder grounder(input);
  const auto& actions = grounder.output_problem()->actions();
  auto plan = std::make_shared<POTPlan>(env);
  const auto first = plan->add_step(rational(0), actions.at("a_1"), {}, rational(2));
  const auto second = plan->add_step(rational(1), actions.at("a_0"), {});
  plan->add_precedence(second, first);
  EXPECT_EQ(text(*grounder.map_back(std::shared_ptr<Plan>(plan))),
            "Steps to execute:\n 1) a(t2) with duration 2\n 2) a(t1) with delay 1\n"
            "Subject to:\n 2 > 1\n");
}

}  // namespace
}  // namespace kelvo
