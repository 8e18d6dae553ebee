#include "transformers/partial_order_compiler.h"

#include "tests/unit/transformers/transformer_fixture.h"

namespace kelvo {
namespace {

class PartialOrderCompilerTest : public TransformerFixture {
 protected:
  // The ranges of the versions of an action with this body, and the number of their statements.
  std::vector<std::pair<std::string, std::size_t>> versions(const std::string& body) {
    PartialOrderCompiler compiler(
        parse("fluent boolean p; fluent boolean q; fluent boolean f(boolean b);"
              "action go() {" +
              body + "};"));
    compiler.output_problem();
    const auto& go = compiler.input_problem()->actions().at("go");
    std::vector<std::pair<std::string, std::size_t>> result;
    for (const auto& [object, action, parameters, constraint] :
         compiler.map_forward(nullptr, go, {})) {
      std::string range;
      for (const std::string& line : texts(action->expressions())) {
        if (line.find("duration") != std::string::npos) range += line;
      }
      result.emplace_back(range, action->expressions().size());
    }
    return result;
  }

  using Versions = std::vector<std::pair<std::string, std::size_t>>;
};

TEST_F(PartialOrderCompilerTest, SplitsWhereTimePointsMeet) {
  const std::string bounds = "duration >= 1; duration <= 10;";
  const std::string before = "((duration >= 1.0) and (duration < 4.0))";
  const std::string meeting = "(duration == 4.0)";
  const std::string behind = "((duration > 4.0) and (duration <= 10.0))";
  const std::pair<std::string, Versions> cases[] = {
      {bounds + "[start + 3] p := true; [end - 1] q := true;",
       {{before, 3}, {meeting, 3}, {behind, 3}}},
      // Two effects on one fluent can't coincide.
      {bounds + "[start + 3] p := true; [end - 1] p := false;", {{before, 3}, {behind, 3}}},
      {bounds + "[start + 3] f(true) := true; [end - 1] f(true) := false;",
       {{before, 3}, {behind, 3}}},
      {bounds + "[start + 3] f(true) := true; [end - 1] f(false) := false;",
       {{before, 3}, {meeting, 3}, {behind, 3}}},
      // No upper bound: one version with all statements.
      {"duration >= 1; [start + 3] p := true; [end - 1] q := true;", {{"(duration >= 1)", 3}}},
      // Nothing ever meets.
      {bounds + "[start] p := true; [end] q := true;", {{"(duration >= 1)(duration <= 10)", 4}}},
      {"duration := 5; [start] p := true; [end] q := true;", {{"(duration := 5)", 3}}},
      // The end stands on start + 5 for the one duration that there is.
      {"duration := 5; [start + 5] p := true; [end] q := true;", {{"(duration == 5.0)", 3}}},
      {"duration := 5; [start + 5] p := true; [end] p := false;", {}},
      {"duration := 0; [start] p := true; [end] q := true;", {{"(duration := 0)", 3}}},
      {"duration <= 2; [start] p := true; [end] q := true;",
       {{"(duration == 0.0)", 3},
        {"((duration > 0.0) and (duration < 2.0))", 3},
        {"(duration == 2.0)", 3}}},
      // The bound itself is no duration of the action.
      {"duration > 1; duration <= 2; [start + 1] p := true; [end] q := true;",
       {{"((duration > 1.0) and (duration <= 2.0))", 3}}},
  };
  for (const auto& [body, expected] : cases) EXPECT_EQ(versions(body), expected) << body;
}

TEST_F(PartialOrderCompilerTest, TimePointsMustBeConstant) {
  expect_internal_error(
      [&] {
        PartialOrderCompiler(
            parse("fluent integer x; fluent boolean p; action go() { [start + x] p := true; };"))
            .output_problem();
      },
      "The time points of an action must be constants: (start + x)");
}

TEST_F(PartialOrderCompilerTest, MapsPlansBothWays) {
  const auto input = parse(
      "fluent boolean p; fluent boolean q; action go(boolean b) { duration >= 1; duration <= 10;"
      "[start + 3] p := true; [end - 1] q := b; };");
  PartialOrderCompiler compiler(input);
  compiler.output_problem();
  const std::string plan_text = "0: go(true) [3]\n5: go(false) [4]\n9: go(true) [10]\n";
  const auto forward = compiler.map_forward(parse_plan(input, plan_text));
  EXPECT_EQ(text(*forward), "0: go0(true) [3]\n5: go1(false) [4]\n9: go2(true) [10]\n");
  EXPECT_EQ(text(*compiler.map_back(std::shared_ptr<Plan>(forward))), plan_text);
  expect_internal_error([&] { compiler.map_forward(forward); },
                        "Found an action that is unknown to the transformer!");
}

}  // namespace
}  // namespace kelvo
