#include <utility>

#include "tests/unit/parsers/anml_fixture.h"

namespace kelvo {
namespace {

class AnmlErrorsTest : public AnmlFixture {};

TEST_F(AnmlErrorsTest, TextOutsideTheLanguageIsReportedWithItsLine) {
  const std::string p = "fluent boolean p; fluent integer x;\n";
  const std::pair<std::string, std::string> cases[] = {
      {"$", "ParserError: Unknown character '$' at line1"},
      {p + "\r\n p = 1;", "ParserError: Unknown character '=' at line3"},
      {p + "p & p", "ParserError: Unknown character '&' at line2"},
      {p + "x := 1", "ParserError: syntax error at line 2"},
      {"type a", "ParserError: syntax error at line 1"},
      {"type a;\n\n\n;", "ParserError: syntax error at line 4"},
      {p + "x - x - 1 < x < 3;", "ParserError: syntax error at line 2"},
      {p + "-(x) == 0;", "ParserError: syntax error at line 2"},
      {p + "-start == 0;", "ParserError: syntax error at line 2"},
      {p + "x == .5;", "ParserError: syntax error at line 2"},
      {p + "x == 5.;", "ParserError: syntax error at line 2"},
      {p + "x /* no comment */ == 5;", "ParserError: syntax error at line 2"},
      {p + "f();", "ParserError: syntax error at line 2"},
      {p + "goal { p };",
       "TypeCheckingError: The expression '{p}' should be boolean or void, but "
       "it is set(boolean)"},
      {p + "goal { [end] p };", "ParserError: syntax error at line 2"},
      {p + "goal { };",
       "TypeCheckingError: The expression '{}' should be boolean or void, but it "
       "is set(void)"},
      {p + "f(*, p);", "ParserError: syntax error at line 2"},
      {p + "duration :in [1, 2];", "ParserError: syntax error at line 2"},
      {p + "action a() { [start] duration :in [1, 2]; };", "ParserError: syntax error at line 2"},
      {p + "action a() { p }", "ParserError: syntax error at line 2"},
      {p + "(all, end] p;", "ParserError: syntax error at line 2"},
      {p + "[start p;", "ParserError: syntax error at line 2"},
      {p + "fluent integer[-1, 1] y;", "ParserError: syntax error at line 2"},
      {p + "fluent boolean end;", "ParserError: syntax error at line 2"},
      {p + "({p} union {p} union {p}) == {};", "ParserError: syntax error at line 2"},
      {p + "[1, 2]\nl: p;", "ParserError: Label 'l' on an interval without contains at line 3"},
      {p + "\ninstance integer i;",
       "ParserError: The type of an instance must be a user type at line 3"},
      {p + "instance set(t) i; type t;",
       "ParserError: The type of an instance must be a user type at line 2"},
      {"fluent float[0, 1] y;", "InvalidParameterError: A rational constant was expected, got 0"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(error_of(text), expected) << text;
}

TEST_F(AnmlErrorsTest, NamesAreTakenOncePerScope) {
  const std::pair<std::string, std::string> cases[] = {
      {"type a; fluent boolean a;", "RedefinitionError: Name 'a' already defined in this scope"},
      {"type a; type a;", "RedefinitionError: Name 'a' already defined in this scope"},
      {"type t; instance t a, a;", "RedefinitionError: Instance 'a' already defined"},
      {"type t with { fluent boolean x; constant integer x; };",
       "RedefinitionError: Name 'x' already defined in this scope"},
      {"type t with { fluent boolean x; fluent boolean x; };",
       "RedefinitionError: Name 'x' already defined in this scope"},
      {"fluent boolean f(boolean a, integer a);",
       "RedefinitionError: Parameter 'a' already defined for this fluent"},
      {"action f(boolean a, integer a) { };",
       "RedefinitionError: Parameter 'a' already defined for this action"},
      {"fluent boolean p; [1, 2] contains l: p; [1, 3] contains l: p;",
       "RedefinitionError: Label 'l' already defined"},
      {"type a with { type a; };",
       "ParserError: User type 'a' is nested in itself or too deeply at line 1"},
      {"type a with { type b with { type a with { fluent boolean x; }; }; };",
       "ParserError: User type 'b' is nested in itself or too deeply at line 1"},
      {"type a with { type b; fluent boolean x; }; type b with { fluent boolean x; };", "accepted"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(error_of(text), expected) << text;
}

TEST_F(AnmlErrorsTest, TheParserCanBeUsedAgainAfterAnError) {
  Environment env;
  AnmlParser parser(env);
  std::istringstream broken("fluent boolean p; p q");
  EXPECT_ANY_THROW(parser.parse(broken));
  EXPECT_EQ(parser.result(), nullptr);
  std::istringstream sound("\nfluent boolean p; [end] p;");
  EXPECT_EQ(parser.parse(sound)->expressions().size(), 1U);
  std::istringstream again("\n\n%");
  EXPECT_THROW(
      {
        try {
          parser.parse(again);
        } catch (const std::exception& e) {
          EXPECT_STREQ(e.what(), "ParserError: Unknown character '%' at line3");
          throw;
        }
      },
      std::exception);
}

}  // namespace
}  // namespace kelvo
