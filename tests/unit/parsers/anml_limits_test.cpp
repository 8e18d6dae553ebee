#include <string>
#include <utility>

#include "tests/unit/parsers/anml_fixture.h"
#include "tests/unit/parsers/text_mutator.h"

namespace kelvo {
namespace {

constexpr int kMany = 100000;

class AnmlLimitsTest : public AnmlFixture {};

TEST_F(AnmlLimitsTest, DeepExpressionsAreRead) {
  const std::string world = "fluent boolean p; fluent integer x; fluent boolean f(boolean b);";
  const std::string texts[] = {
      repeat("(", kMany) + "p" + repeat(")", kMany),
      repeat("not ", kMany) + "p",
      repeat("p and ", kMany) + "p",
      repeat("(p or ", kMany) + "p" + repeat(")", kMany),
      repeat("p implies ", kMany) + "p",
      repeat("x + ", kMany) + "x == 0",
      repeat("f(", kMany) + "p" + repeat(")", kMany),
  };
  for (const std::string& text : texts) {
    EXPECT_EQ(parse(world + text + ";")->expressions().size(), 1U) << text.substr(0, 20);
  }
}

TEST_F(AnmlLimitsTest, DeepScopesAndChainsOfConstantsAreRead) {
  EXPECT_EQ(parse("type t with { fluent t n; }; instance t i; i" + repeat(".n", kMany) + " == i;")
                ->expressions()
                .size(),
            1U);
  std::string chain = "constant integer c(integer k);";
  for (int i = 0; i < kMany / 4; ++i) {
    chain += "c(" + std::to_string(i) + ") := c(" + std::to_string(i + 1) + ") + 1;\n";
  }
  const std::string last = std::to_string(kMany / 4);
  EXPECT_EQ(error_of(chain + "c(" + last + ") := 1;"), "accepted");
  EXPECT_EQ(error_of(chain + "c(" + last + ") := c(0);"),
            "InternalError: Found an uninitialized constant: c");
}

// In quadratic time each of the steps would take minutes: reading, the type of a sum, printing.
TEST_F(AnmlLimitsTest, BoundsMayHaveAMillionDigits) {
  const std::string bound(1000000, '7');
  const std::string printed =
      print("fluent integer[0, " + bound + "] n; [end] n + 1 == n; [" + bound + "] n := n + 1;");
  EXPECT_NE(printed.find("integer [0, " + bound + "] n;"), std::string::npos);
  EXPECT_NE(printed.find("[" + bound + "] (n := (n + 1));"), std::string::npos);
}

TEST_F(AnmlLimitsTest, ManyStatementsAreRead) {
  std::string text = "fluent integer x;\n";
  for (int i = 0; i < kMany; ++i) text += "[" + std::to_string(i) + "] x := 1;\n";
  EXPECT_EQ(parse(text)->expressions().size(), static_cast<std::size_t>(kMany));
  EXPECT_EQ(error_of(text + "x"), "ParserError: syntax error at line 100002");
}

TEST_F(AnmlLimitsTest, BoundsOfNestingEndInAnError) {
  EXPECT_EQ(error_of("fluent " + repeat("set(", kMany) + "boolean" + repeat(")", kMany) + " x;"),
            "ParserError: Set types are nested too deeply at line 1");
  std::string types;
  for (int i = 0; i < 5000; ++i) types += "type t" + std::to_string(i) + " with { ";
  EXPECT_EQ(error_of(types + repeat("};", 5000)),
            "ParserError: User type 't4000' is nested in itself or too deeply at line 1");
  // The same by names that are declared again.
  std::string chain;
  for (int i = 0; i < 5000; ++i) {
    chain += "type t" + std::to_string(i) + " with { type t" + std::to_string(i + 1) + "; };";
  }
  EXPECT_NE(error_of(chain), "accepted");
}

// Whatever the text is, it ends in a problem or in an exception.
TEST_F(AnmlLimitsTest, MutatedTextsNeverCrash) {
  const std::string seeds[] = {
      "type t with { fluent t n; constant integer w(t a, boolean b); type u < t; "
      "action a(t o, integer[0, 3] k,) { duration :in [1, 2.5]; [start] o.n == n; }; };\n"
      "instance t i, j; i.w(*) := 3; j.w(i, true) := i.w(j, false) + 1;\n"
      "[1, end) contains [2] l: i.n == j; start(l) < start(l);",
      "fluent set(t) s; type t < object; instance t a, b; fluent float[0.0, 1.5] y;\n"
      "goal { [all] {a, b} subset s union {}; (start, end - 1] not y >= -0.5 / y * 2; };\n"
      "constant boolean c; [0] c := 1 != 2 implies false; // end",
  };
  TextMutator mutator(
      {" ", ";", "(", ")", "[", "]", ":=", " t", " and ", " start ", "fluent ", "{"}, 20241122);
  int accepted = 0;
  for (int round = 0; round < 4000; ++round) {
    const std::string text = mutator.mutated(seeds[mutator.below(std::size(seeds))]);
    accepted += error_of(text) == "accepted" ? 1 : 0;
  }
  EXPECT_GT(accepted, 0);  // some rounds change nothing that matters
  EXPECT_LT(accepted, 4000);
}

}  // namespace
}  // namespace kelvo
