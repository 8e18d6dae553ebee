#include <utility>

#include "tests/unit/parsers/anml_fixture.h"

namespace kelvo {
namespace {

class AnmlGrammarTest : public AnmlFixture {
 protected:
  /// What the one statement of the text prints as, in a little world.
  std::string statement(const std::string& text) {
    const std::string world =
        "fluent boolean p; fluent boolean q; fluent boolean r; fluent integer x; fluent integer y;"
        "fluent boolean f(integer[0, 9] a); type t; instance t i, j; fluent set(t) s;";
    const model::ProblemInstance problem = parse(world + text + ";");
    std::ostringstream printed;
    printed << static_cast<const model::ExpressionScope&>(*problem);
    std::string line = printed.str();
    if (line.size() >= 2) line.resize(line.size() - 2);
    return line;
  }
};

TEST_F(AnmlGrammarTest, OperatorsGroupByLevelAndToTheRight) {
  const std::pair<std::string, std::string> cases[] = {
      {"x - y - 1 == 0", "((x - (y - 1)) == 0)"},
      {"x / y / 2 == 0", "((x / (y / 2)) == 0)"},
      {"x + y * 2 > 3", "((x + (y * 2)) > 3)"},
      {"(x + y) * 2 >= 3", "(((x + y) * 2) >= 3)"},
      {"x - -1 < -y", "((x - -1) < (y * -1))"},
      {"x <= -2.50", "(x <= -5/2)"},
      {"p implies q implies r", "(p implies (q implies r))"},
      {"p or q and r", "(p or (q and r))"},
      {"p and q or r", "((p and q) or r)"},
      {"p and q and r", "(p and (q and r))"},
      {"p or q or r implies p", "((p or (q or r)) implies p)"},
      {"not x < y", "(not (x < y))"},
      {"not not p", "(not (not p))"},
      {"x != y", "(not (x == y))"},
      {"(p and q) == r", "((p and q) == r)"},
      {"-f(3) == 0 or true", "accepted by nobody"},
      {"not f(x + 1) and p", "((not f((x + 1))) and p)"},
      {"i in s", "(i in s)"},
      {"{i, j} subset s", "({i, j} subset s)"},
      {"{ } subset (s union {i})", "({} subset (s union {i}))"},
      {"(s \\ {i}) subset (s intersection {j})", "((s \\ {i}) subset (s intersection {j}))"},
      {"[start] x := 10 / 4 * y", "[start] (x := (10 / (4 * y)))"},
  };
  for (const auto& [text, expected] : cases) {
    if (expected == "accepted by nobody") {
      EXPECT_ANY_THROW(statement(text)) << text;
    } else {
      EXPECT_EQ(statement(text), expected) << text;
    }
  }
}

TEST_F(AnmlGrammarTest, IntervalsPrintAsTheyAreMeant) {
  const std::pair<std::string, std::string> cases[] = {
      {"p", "p"},
      {"[start] p", "[start] p"},
      {"[ all ] p", "[all] p"},
      {"[start, end] p", "[all] p"},
      {"(all) p", "(all) p"},
      {"[all) p", "[all) p"},
      {"(all] p", "(all] p"},
      {"[start, end) p", "[all) p"},
      {"(start, end] p", "(all] p"},
      {"[start + 5, end) p", "[(start + 5), end) p"},
      {"(1, 2.5] p", "(1, 5/2] p"},
      {"(1, end - 2) p", "(1, (end - 2)) p"},
      {"(x) == y", "(x == y)"},  // a parenthesis at the head is no interval without its comma
      {"[10] x := 1", "[10] (x := 1)"},
      {"[1, 2] contains p", "[1, 2] contains p"},
      {"[1, 2] contains [3] p", "[1, 2] contains [3] p"},
      {"[1, 2] contains l: p", "[1, 2] contains l: p"},
      {"[1, 2] contains [3] l: p", "[1, 2] contains [3] l: p"},
      {"[1, 2] contains l: m: p", "[1, 2] contains m: p"},
      {"goal [end] p", "[end] p"},
      {"goal { [end] p; }", "[end] p"},
      {"goal {i} subset s", "({i} subset s)"},
      {"goal { {i} subset s; }", "({i} subset s)"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(statement(text), expected) << text;
}

TEST_F(AnmlGrammarTest, DeclarationsPrintInNameOrder) {
  EXPECT_EQ(print("// nothing\n"), "");
  EXPECT_EQ(print("type a with { }; type b; type c < a < b;"),
            "type a;\ntype b;\ntype c < a < b;\n");
  EXPECT_EQ(print("fluent integer[0, 007] x; fluent float[0.5, 2.0] y(boolean b, integer i,);"
                  "fluent set(t) z(); type t;"),
            "fluent integer [0, 7] x;\nfluent float [1/2, 2] y(boolean b, integer i);\n"
            "fluent set(t) z;\ntype t;\n");
  EXPECT_EQ(print("instance later a, b; type later;"),
            "type later;\ninstance later a;\ninstance later b;\n");
}

// Bare fluents come first: they are made before all statements.
TEST_F(AnmlGrammarTest, ActionsKeepTheirStatementsInOrder) {
  EXPECT_EQ(
      print("fluent boolean p; fluent boolean x; type t;\n"
            "action go(t a, integer[1, 2] k) {\r\n"
            "  duration :in [3, k]; (duration :in [3, k]); [start] p; [end] p := false; x; x;\n"
            "};\n"
            "action stay() { duration := 5; };\n"),
      "fluent boolean p;\nfluent boolean x;\ntype t;\n"
      "action go(t a, integer [1, 2] k) {\n"
      "x;\n(duration :in [3, k]);\n[start] p;\n[end] (p := false);\n};\n"
      "action stay() {\n(duration := 5);\n};\n");
}

TEST_F(AnmlGrammarTest, WordsAreSplitByTheLongestMatch) {
  EXPECT_EQ(statement("p // and q\n"), "p");
  // Names that begin with reserved words.
  EXPECT_EQ(print("fluent boolean starts; fluent boolean end_time; fluent boolean insets;\n"
                  "starts and end_time and insets; //"),
            "fluent boolean end_time;\nfluent boolean insets;\nfluent boolean starts;\n"
            "(starts and (end_time and insets));\n");
}

}  // namespace
}  // namespace kelvo
