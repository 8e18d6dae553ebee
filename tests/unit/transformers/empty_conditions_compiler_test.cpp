#include "transformers/empty_conditions_compiler.h"

#include "tests/unit/transformers/transformer_fixture.h"
#include "transformers/duration_bounds.h"

namespace kelvo {
namespace {

using model::Expression;

class EmptyConditionsCompilerTest : public TransformerFixture {
 protected:
  // The versions of an action with this body, each as its statements.
  std::vector<Lines> versions(const std::string& body) {
    EmptyConditionsCompiler compiler(parse("fluent boolean p; action go() {" + body + "};"));
    std::vector<Lines> result;
    for (const auto& [name, action] : compiler.output_problem()->actions()) {
      EXPECT_EQ(name, "go" + std::to_string(result.size()));
      result.push_back(texts(action->expressions()));
    }
    return result;
  }
};

TEST_F(EmptyConditionsCompilerTest, SplitsByTheThresholdsOfItsConditions) {
  const std::string bounds = "duration >= 1 and duration <= 10;";
  const std::string low = "((duration >= 1.0) and (duration <= 2.0))";
  const std::string low_open = "((duration >= 1.0) and (duration < 2.0))";
  const std::string high = "((duration >= 2.0) and (duration <= 10.0))";
  const std::string high_open = "((duration > 2.0) and (duration <= 10.0))";
  const std::string closed = "[(start + 1), (end - 1)] p";
  const std::string left_open = "((start + 1), (end - 1)] p";
  const std::string open = "((start + 1), (end - 1)) p";
  const std::pair<std::string, std::vector<Lines>> cases[] = {
      {bounds, {{"((duration >= 1.0) and (duration <= 10.0))"}}},
      {"", {{}}},
      {bounds + "[start + 1, end - 1] p;", {{low_open}, {closed, high}}},
      {bounds + "(start + 1, end - 1] p;", {{low}, {left_open, high_open}}},
      {bounds + "(start + 1, end - 1) p;", {{low}, {high_open, open}}},
      {"duration := 0; (start, end) p;", {{"(duration == 0.0)"}}},
      {"[start, end] p;", {{"[all] p", "(duration >= 0.0)"}}},
      {"duration := 10; [start + 1, end - 1] p;", {{closed, "(duration == 10.0)"}}},
      {"[start + 3, start + 2] p;", {{}}},
      {"[start + 2, start + 2] p;", {{"[(start + 2), (start + 2)] p"}}},
      {"(start + 2, start + 2] p;", {{}}},
      {"[end - 2, end - 1] p;", {{"[(end - 2), (end - 1)] p"}}},
      {"[end - 1, end - 2] p;", {{}}},
      {"duration > 4; duration <= 4;", {}},
  };
  for (const auto& [body, expected] : cases) EXPECT_EQ(versions(body), expected) << body;
}

TEST_F(EmptyConditionsCompilerTest, ClosedAndHalfOpenConditionsAtOneThresholdMakeThreeVersions) {
  const auto made = versions("duration <= 9; [start + 2, end] p; (start, end - 2] not p;");
  ASSERT_EQ(made.size(), 3u);
  EXPECT_EQ(made[0], (Lines{"((duration >= 0.0) and (duration < 2.0))"}));
  EXPECT_EQ(made[1], (Lines{"[(start + 2), end] p", "(duration == 2.0)"}));
  EXPECT_EQ(made[2].size(), 3u);
}

TEST_F(EmptyConditionsCompilerTest, ConstantPartsAreSimplifiedFirst) {
  EXPECT_EQ(versions("duration == 2 + 3; [1 + start, end - (2 - 1)] p;"),
            (std::vector<Lines>{{"[(1 + start), (end - (2 - 1))] p", "(duration == 5.0)"}}));
}

TEST_F(EmptyConditionsCompilerTest, RefusesOtherForms) {
  const std::string forms =
      "Durative conditions must have the form: [start + c1, start + c2], [start + c1, end - c2] or "
      "[end - c1, end - c2] with c1>=0 and c2>=0";
  const std::pair<std::string, std::string> cases[] = {
      {"[start + x, end] p;", forms},
      {"[end - 1, start] p;", forms},
      {"[5, end] p;", forms},
      {"[start + -1, end] p;", forms},
      {"duration > 2 or duration < 1;", "Duration disjunctions not supported!"},
      {"5 >= duration;", "(5 >= duration)"},
      {"duration :in [2, 3];", "(duration :in [2, 3])"},
  };
  for (const auto& [body, message] : cases) {
    expect_internal_error(
        [&, text = body] {
          EmptyConditionsCompiler(
              parse("fluent boolean p; fluent integer x; action go() {" + text + "};"))
              .output_problem();
        },
        message);
  }
  expect_internal_error(
      [&] {
        EmptyConditionsCompiler(parse("type T with { fluent boolean f; };")).output_problem();
      },
      "This phase can be only applied to flattened models!");
}

TEST_F(EmptyConditionsCompilerTest, ABoundThatIsNoConstantStaysInEachVersion) {
  const auto problem = parse(
      "constant integer d(integer[1, 2] i); d(1) := 1; d(2) := 3; fluent integer x; fluent boolean "
      "p;"
      "action go(integer[1, 2] i) { duration >= x and duration <= 3; duration >= d(i);"
      "                             [start + 1, end - 1] p; };"
      "action stop() { duration := 3; };");
  EmptyConditionsCompiler compiler(problem);
  const auto& output = compiler.output_problem();
  const auto sorted = [&output](const std::string& action) {
    Lines lines = statements(output, action);
    std::sort(lines.begin(), lines.end());
    return lines;
  };
  EXPECT_EQ(sorted("go0"), (Lines{"((duration >= 0.0) and (duration < 2.0))", "(duration >= d(i))",
                                  "(duration >= x)"}));
  EXPECT_EQ(sorted("go1"), (Lines{"((duration >= 2.0) and (duration <= 3.0))", "(duration >= d(i))",
                                  "(duration >= x)", "[(start + 1), (end - 1)] p"}));
  // The version is chosen by what is known of it.
  const auto plan = parse_plan(problem, "0: go(1) [1]\n5: go(2) [3]\n");
  EXPECT_EQ(text(*compiler.map_forward(plan)), "0: go0(1) [1]\n5: go1(2) [3]\n");
  EXPECT_EQ(text(non_constant_duration_bound(env, problem->actions().at("go"))), "(duration >= x)");
  EXPECT_EQ(non_constant_duration_bound(env, problem->actions().at("stop")), nullptr);
}

TEST_F(EmptyConditionsCompilerTest, PlansGoToTheFirstVersionForTheirDurationAndBack) {
  const auto input = parse(
      "type T; instance T t1; fluent boolean p; action go(T t) { duration >= 1; duration <= 9;"
      "[start + 2, end - 2] p; }; action fix() { duration := 5; }; fluent boolean fix0;");
  EmptyConditionsCompiler compiler(input);
  // A fluent keeps its name, so the version of `fix` takes the next.
  EXPECT_EQ(names(compiler.output_problem()->actions()), (Lines{"fix1", "go1", "go2"}));
  const std::string plan_text = "0: go(t1) [3]\n1: fix() [5]\n7: go(t1) [4]\n";
  const auto plan = parse_plan(input, plan_text);
  const auto forward = compiler.map_forward(plan);
  EXPECT_EQ(text(*forward), "0: go1(t1) [3]\n1: fix1() [5]\n7: go2(t1) [4]\n");
  EXPECT_EQ(text(*compiler.map_back(std::shared_ptr<Plan>(forward))), plan_text);
  // No version has this duration.
  EXPECT_EQ(compiler.map_forward(parse_plan(input, "0: go(t1) [10]\n"))->size(), 0u);

  const auto steps = compiler.map_forward(nullptr, input->actions().at("go"), {});
  ASSERT_EQ(steps.size(), 2u);
  EXPECT_EQ(text(std::get<3>(steps[0])),
            "((duration >= 1) and (duration <= 9) and (duration < 4.0))");
  expect_internal_error([&] { compiler.map_forward(forward); },
                        "Found an action that is unknown to the transformer!");
}

}  // namespace
}  // namespace kelvo
