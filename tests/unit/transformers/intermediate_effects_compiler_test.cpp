#include "transformers/intermediate_effects_compiler.h"

#include "tests/unit/plans/plan_fixture.h"
#include "tests/unit/transformers/transformer_fixture.h"

namespace kelvo {
namespace {

using model::Expression;

class IntermediateEffectsCompilerTest : public TransformerFixture {
 protected:
  IntermediateEffectsCompiler compiler(const std::string& body) {
    return {parse("fluent boolean p; fluent boolean q; action go() {" + body + "};"),
            rational(1, 100)};
  }

  // The statements of a piece that are not about the ties.
  Lines own_statements(const model::ProblemInstance& problem, const std::string& piece) {
    Lines own;
    for (const std::string& line : statements(problem, piece)) {
      if (line.find("f_") == std::string::npos) own.push_back(line);
    }
    return own;
  }
};

TEST_F(IntermediateEffectsCompilerTest, AnActionIsCutIntoAChainOfPieces) {
  auto made = compiler("duration := 10; [start + 3] p := true;");
  const auto& output = made.output_problem();
  EXPECT_EQ(names(output->actions()), (Lines{"go_c", "go_e", "go_s"}));
  EXPECT_EQ(names(output->fluents()), (Lines{"f_c", "f_e", "f_s", "p", "q"}));
  const auto sorted = [&output](const std::string& action) {
    Lines lines = statements(output, action);
    std::sort(lines.begin(), lines.end());
    return lines;
  };
  EXPECT_EQ(sorted("go_s"), (Lines{"(duration := 3.0)", "[end] (f_s := true)", "[end] f_c"}));
  EXPECT_EQ(sorted("go_c"), (Lines{"(all) f_c", "(duration := 1/50)", "[end] (f_c := false)",
                                   "[end] (f_e := false)", "[end] (f_s := false)",
                                   "[end] (f_s and f_e)", "[start] (f_c := true)"}));
  EXPECT_EQ(sorted("go_e"), (Lines{"(duration := 7.0)", "[start] (f_e := true)",
                                   "[start] (p := true)", "[start] f_c"}));
  EXPECT_EQ(texts(output->expressions()),
            (Lines{"[start] (f_s := false)", "[start] (f_c := false)", "[start] (f_e := false)"}));
}

TEST_F(IntermediateEffectsCompilerTest, StatementsGoToThePiecesThatTheyConcern) {
  const std::string ten = "duration := 10;";
  // The statements of go_s, go_e and go_e1 but for durations.
  const std::pair<std::string, std::vector<Lines>> cases[] = {
      {"[start + 2, start + 5] q;", {{}, {"[all] q"}, {}}},
      {"(start + 2, start + 5) q;", {{}, {"(all) q"}, {}}},
      {"[start, start + 5) q; [start + 2] p := true;",
       {{"[all] q"}, {"[start] (p := true)", "[all) q"}, {}}},
      {"(start + 2, end] q; [start + 5] p := true;",
       {{}, {"(all] q"}, {"[start] (p := true)", "[all] q"}}},
      {"(start, end) q; [start + 2] p := true; [end - 5] p := false;",
       {{"(all) q"}, {"(all) q", "[start] (p := true)"}, {"(all) q", "[start] (p := false)"}}},
      {"[start] q; [end] q; [start] p := true; [end] p := false; [start + 2, start + 5] q;",
       {{"[start] q", "[start] (p := true)"}, {"[all] q"}, {"[end] q", "[end] (p := false)"}}},
      {"[start + 2] q; [start + 5] p := true;",
       {{"[end] q"}, {"[start] q"}, {"[start] (p := true)"}}},
  };
  for (const auto& [body, expected] : cases) {
    auto made = compiler(ten + body);
    const auto& output = made.output_problem();
    const char* pieces[] = {"go_s", "go_e", "go_e1"};
    for (std::size_t i = 0; i < 3; ++i) {
      Lines lines = own_statements(output, pieces[i]);
      std::erase_if(lines, [](const std::string& line) {
        return line.find("duration") != std::string::npos;
      });
      std::sort(lines.begin(), lines.end());
      Lines wanted = expected[i];
      std::sort(wanted.begin(), wanted.end());
      EXPECT_EQ(lines, wanted) << body << " " << pieces[i];
    }
  }
}

TEST_F(IntermediateEffectsCompilerTest, ConstraintsOnTheDurationGoToTheLastPiece) {
  const std::pair<std::string, Lines> cases[] = {
      {"duration >= 4; duration < 6;", {"(duration < 3.0)", "(duration >= 1.0)"}},
      {"duration >= 4 and duration <= s;", {"((duration >= 1.0) and (duration <= 7.0))"}},
      {"duration := x;", {"(duration := (x - 3.0))"}},
      {"duration > x;", {"(duration > (x - 3.0))"}},
      {"", {}},
  };
  for (const auto& [body, rest] : cases) {
    auto made = IntermediateEffectsCompiler(
        parse("constant integer s; s := 10; fluent float x; fluent boolean p; action go() {" +
              body + "[start + 3] p := true; p; };"),
        rational(1, 100));
    const auto& output = made.output_problem();
    Lines first = own_statements(output, "go_s");
    std::sort(first.begin(), first.end());
    EXPECT_EQ(first, (Lines{"(duration := 3.0)", "p"})) << body;
    Lines last = own_statements(output, "go_e");
    std::erase(last, "[start] (p := true)");
    std::sort(last.begin(), last.end());
    EXPECT_EQ(last, rest) << body;
  }
}

TEST_F(IntermediateEffectsCompilerTest, StatementsAfterTheEndAreInTheChain) {
  // The statements of go_s, go_e and go_e1 of an action that lasts 4.
  const std::pair<std::string, std::vector<Lines>> cases[] = {
      {"[end] q := true; [start + 6] p := true;",
       {{"(duration := 4.0)"}, {"(duration := 2.0)", "[end] (p := true)", "[start] (q := true)"}}},
      {"[all] q; [end + 1] p := true; [start + 2] p := false;",
       {{"(duration := 2.0)", "[all] q"},
        {"(duration := 2.0)", "[all] q", "[start] (p := false)"},
        {"(duration := 1.0)", "[end] (p := true)"}}},
      {"(start + 3, end + 2) q;", {{"(duration := 3.0)"}, {"(all) q", "(duration := 3.0)"}}},
  };
  for (const auto& [body, expected] : cases) {
    auto made = compiler("duration := 4;" + body);
    const auto& output = made.output_problem();
    const char* pieces[] = {"go_s", "go_e", "go_e1"};
    for (std::size_t i = 0; i < expected.size(); ++i) {
      Lines lines = own_statements(output, pieces[i]);
      std::sort(lines.begin(), lines.end());
      EXPECT_EQ(lines, expected[i]) << body << " " << pieces[i];
    }
  }
  auto made = compiler("duration := 0; [end] q := true; [start + 6] p := true;");
  const auto& output = made.output_problem();
  const auto plan = parse_plan(output, "2: go() [6]\n");
  EXPECT_EQ(text(*made.map_back(std::shared_ptr<Plan>(plan))), "2: go() [0]\n");
}

TEST_F(IntermediateEffectsCompilerTest, SaysWhichExecutionsHaveNoChain) {
  const std::pair<const char*, bool> cases[] = {
      {"duration >= 2; [start + 3] p := true;", true},
      {"[start + 3] p := true;", true},
      {"duration >= 3; [start + 3] p := true;", false},
      {"duration := 2; [start + 3] p := true;", false},
  };
  for (const auto& [body, is_partial] : cases) {
    const CapturedLog log(LogLevel::WARN);
    auto made = compiler(body);
    EXPECT_NE(made.output_problem(), nullptr);
    const std::string warning =
        "Executions of action 'go' that are shorter than 3 are left out: it has a statement at "
        "that time after its start";
    EXPECT_EQ(log.text().find(warning) != std::string::npos, is_partial) << body;
  }
}

TEST_F(IntermediateEffectsCompilerTest, RefusesTimePointsThatAreNoConstants) {
  const std::pair<std::string, std::string> cases[] = {
      {"[start + x] p := true;",
       "The value of the point interval of an intermediate effect must be a constant!"},
      {"[start + x, end] p;",
       "The value of the bounds interval of an intermediate condition must be a constant!"},
      {"[end - 2] p := true;",
       "The value of the point interval of an intermediate effect must be a constant!"},
      {"duration := 3; duration == 4;",
       "Found two different duration assignments for the same action!"},
      {"duration := 3; [end - 4] p := true;",
       "A statement before the start of action 'go' cannot be given to a piece of it: "
       "[(end - 4)] (p := true)"},
      {"2 * duration >= 8; [start + 1] p := true;",
       "The duration of the action 'go' cannot be divided among its pieces: ((2 * duration) >= 8)"},
      {"duration := 3; [all] contains p; [start + 1] p := true;",
       "The action 'go' has intermediate statements and a `contains`, which must be compiled away "
       "first: [all] contains p"},
  };
  for (const auto& [body, message] : cases) {
    expect_internal_error(
        [&, text = body] {
          IntermediateEffectsCompiler(
              parse("fluent boolean p; fluent integer x; action go() {" + text + "};"), rational(1))
              .output_problem();
        },
        message);
  }
}

TEST_F(IntermediateEffectsCompilerTest, ACutActionComesBackAsOneStep) {
  const auto input = parse(
      "type T; instance T t1, t2; fluent boolean p(T t); action wait() { duration >= 1; };"
      "action go(T t) { duration := 10; [start + 3] p(t) := true; };"
      "action run() { [start + 3] p(t1) := true; };");
  IntermediateEffectsCompiler made(input, rational(1, 100));
  const auto& output = made.output_problem();
  // Ground ties have initial values.
  EXPECT_EQ(output->expressions().size(), 9u);
  const auto plan = parse_plan(output,
                               "0: go_s(t1) [3]\n2.99: go_c(t1) [0.02]\n3: go_e(t1) [7]\n"
                               "4: wait() [2]\n4: run_s() [3]\n6.99: run_c() [0.02]\n"
                               "7: run_e() [4]\n");
  EXPECT_EQ(text(*made.map_back(std::shared_ptr<Plan>(plan))),
            "0: go(t1) [10]\n4: wait() [2]\n4: run() [7]\n");
}

TEST_F(IntermediateEffectsCompilerTest, ExecutionsOfAFreeDurationKeepTheirOwn) {
  IntermediateEffectsCompiler made(
      parse("fluent boolean p; action go() { duration >= 4; [start + 3] p := true; };"),
      rational(1, 100));
  const auto& output = made.output_problem();
  // Pieces may miss each other by less than a clip.
  const auto plan = parse_plan(output,
                               "0: go_s() [3]\n2.99: go_c() [0.02]\n2.995: go_e() [1]\n"
                               "4: go_s() [3]\n6.99: go_c() [0.02]\n7.005: go_e() [2.5]\n");
  EXPECT_EQ(text(*made.map_back(std::shared_ptr<Plan>(plan))), "0: go() [4]\n4: go() [11/2]\n");
  // The same as a partial order.
  const auto& actions = output->actions();
  auto order = std::make_shared<POTPlan>(env);
  POTPlan::Step previous;
  for (const int rest : {1, 2}) {
    const auto first = order->add_step(rational(0), actions.at("go_s"), {}, rational(3));
    const auto last = order->add_step(rational(0), actions.at("go_e"), {}, rational(rest));
    order->add_precedence(last, first);
    if (previous != nullptr) order->add_precedence(first, previous);
    previous = last;
  }
  EXPECT_EQ(text(*made.map_back(std::shared_ptr<Plan>(order))),
            "Steps to execute:\n 1) go() with duration 4\n 2) go() with duration 5\n"
            "Subject to:\n 2 > 1\n");
}

TEST_F(IntermediateEffectsCompilerTest, TwoExecutionsStayApartInPartialOrders) {
  const auto input = parse(
      "fluent boolean p; fluent boolean q;"
      "action go() { duration := 10; [start + 3] p := true; };"
      "action other() { duration := 1; };");
  IntermediateEffectsCompiler made(input, rational(1, 100));
  const auto& actions = made.output_problem()->actions();
  auto plan = std::make_shared<POTPlan>(env);
  const auto add = [&](const std::string& action) {
    return plan->add_step(rational(0), actions.at(action), {}, rational(1));
  };
  const auto first = add("go_s");
  const auto first_end = add("go_e");
  const auto between = add("other");
  const auto second = add("go_s");
  const auto second_end = add("go_e");
  plan->add_precedence(first_end, first);
  plan->add_precedence(between, first_end);
  plan->add_precedence(second, between);
  plan->add_precedence(second_end, second);
  EXPECT_EQ(text(*made.map_back(std::shared_ptr<Plan>(plan))),
            "Steps to execute:\n 1) go() with duration 10\n 2) other() with duration 1\n"
            " 3) go() with duration 10\nSubject to:\n 2 > 1\n 3 > 2\n");
}

}  // namespace
}  // namespace kelvo
