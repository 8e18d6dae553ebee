#include "parsers/name_resolver.h"

#include <utility>

#include "model/action.h"
#include "model/expression_payloads.h"
#include "model/fluent.h"
#include "model/print_expression.h"
#include "model/user_type.h"

#include "tests/unit/parsers/anml_fixture.h"

namespace kelvo {
namespace {

class NameResolverTest : public AnmlFixture {};

TEST_F(NameResolverTest, ConstantsGetTheirValues) {
  const std::pair<std::string, std::string> cases[] = {
      {"constant integer c; c := 5;", "constant integer c;\nc := 5;\n"},
      {"constant integer c; [start] c := 2 * 3;", "constant integer c;\nc := 6;\n"},
      {"constant integer c; [0] c := 1;", "constant integer c;\nc := 1;\n"},
      {"constant float c; c := 1;", "constant float c;\nc := 1;\n"},
      {"constant integer c; c := 5 / 2;", "constant integer c;\nc := 2;\n"},
      {"constant boolean c; c := 1 < 2;", "constant boolean c;\nc := true;\n"},
      // Keys are simplified, and a star leaves out what follows.
      {"constant integer c(integer a, integer b); c(1 + 1, 3) := 5; c(2, *) := 6; c(*) := 7;",
       "constant integer c(integer a, integer b);\n"
       "c(2, *) := 6;\nc(2, 3) := 5;\nc := 7;\n"},
      // Values and keys may mention other constants in any order.
      {"constant integer a; constant integer b; constant integer c(integer k);"
       "a := b + c(b); b := 2; c(*) := 10; c(2) := c(1) + 1;",
       "constant integer a;\nconstant integer b;\nconstant integer c(integer k);\n"
       "a := 13;\nb := 2;\nc(2) := 11;\nc := 10;\n"},
      {"constant integer a; constant integer c(integer k); c(a) := 1; a := 4;",
       "constant integer a;\nconstant integer c(integer k);\na := 4;\nc(4) := 1;\n"},
      {"type t with { constant integer w; }; instance t i; instance t j;"
       "i.w := 3; j.w := i.w + 1; constant integer c; c := j.w;",
       "constant integer c;\ntype t with {\nconstant integer w;\n};\ni.w := 3;\nj.w := 4;\n"
       "instance t i;\ninstance t j;\nc := 4;\n"},
      {"type t; instance t i; constant t c; c := i;",
       "constant t c;\ntype t;\ninstance t i;\nc := i;\n"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(print(text), expected) << text;
}

TEST_F(NameResolverTest, OnlyConstantsAtTheStartAreInitialised) {
  // A fluent applied to a fluent is no initialisation, and neither is a later time.
  EXPECT_EQ(print("fluent integer f(integer a); fluent integer g; [start] f(g) := 1;"),
            "fluent integer f(integer a);\nfluent integer g;\n[start] (f(g) := 1);\n");
  EXPECT_EQ(print("constant integer c; c := 2; [1] c := 1;"),
            "constant integer c;\nc := 2;\n[1] (c := 1);\n");
}

TEST_F(NameResolverTest, ConstantsAreRefusedWithTheirReason) {
  const std::string c = "constant integer c; ";
  const std::string c2 = "constant integer c(integer a, integer b); ";
  const std::string twice =
      "InternalError: It is forbidden to assign a value to a constant more than one time";
  const std::string missing = "InternalError: Found an uninitialized constant: ";
  const std::pair<std::string, std::string> cases[] = {
      {c, missing + "c"},
      {c + "c := 1; c := 2;", twice},
      {c2 + "c(1, 2) := 1; c(1, 1 + 1) := 2;", twice},
      {c + "c := c;", missing + "c"},
      {c + "constant integer d; c := d + 1; d := c;", missing + "c"},
      {c + "constant integer d; c := d + 1;", missing + "d"},
      {c2 + "constant integer d; d := c(1, 2); c(1, 3) := 1;", missing + "c"},
      {"type t with { constant integer w; }; instance t i;", missing + "w"},
      {c + "c := 1.5;",
       "TypeCheckingError: Found an constant assign having non-compatible operands: (c := 3/2)"},
      {c + "c := true;",
       "TypeCheckingError: Found an constant assign having non-compatible operands: (c := true)"},
      {c2 + "c(1, true) := 1;",
       "TypeCheckingError: Found constant assignment having non-compatible parameters: "
       "(c(1, true) := 1)"},
      {c + "c(1) := 1;",
       "TypeCheckingError: Found constant assignment having non-compatible parameters: "
       "(c(1) := 1)"},
      {c2 + "fluent integer x; c(x, 1) := 1;",
       "InvalidParameterError: Found an invalid initializationof constant: c(unresolved<x>, 1)"},
      {c + "c := 2; action a() { c := 1; };",
       "InternalError: It is allowed to assign a value to a constant only in the top level scope"},
      {c + "fluent integer x; c := x;",
       "InternalError: Not implemented 'unresolved_symbol': unresolved<x>"},
      {c + "c := start;",
       "TypeCheckingError: Found an constant assign having non-compatible "
       "operands: (c := start)"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(error_of(text), expected) << text;
}

TEST_F(NameResolverTest, ScopedNamesAreFoundInTheTypeItself) {
  EXPECT_EQ(print("type t with { fluent boolean x; fluent t n; action a() { x; n.x; }; };"
                  "instance t i; i.x; i.n.n.x; action b(t o) { o.x; };"),
            "type t with {\nfluent t n;\nfluent boolean x;\n"
            "action a() {\nx;\nn.x;\n};\n};\n"
            "action b(t o) {\no.x;\n};\ninstance t i;\ni.x;\ni.n.n.x;\n");
  const std::pair<std::string, std::string> cases[] = {
      {"type b with { fluent boolean x; }; type t < b; instance t i; i.x;",
       "UnresolvedSymbolError: x in expression unresolved<i>.unresolved<x>"},
      {"type t with { fluent boolean x; }; fluent t f; f.x;",
       "UnresolvedSymbolError: f in expression unresolved<f>.unresolved<x>"},
      {"type t; instance t i; i.y;",
       "UnresolvedSymbolError: y in expression unresolved<i>.unresolved<y>"},
      {"constant integer c; c := 1; c.x;",
       "InvalidParameterError: Invalid expression: unresolved<c>.unresolved<x>. Invalid type of "
       "left-hand side"},
      {"type t with { fluent boolean x; }; instance t i, x; i.x;",
       "InvalidParameterError: Invalid expression: unresolved<i>.unresolved<x>. Invalid right-hand "
       "side of scoping"},
      {"start(l).x;",
       "InvalidParameterError: Invalid expression: start(l).unresolved<x>. Invalid "
       "left-hand side of scoping"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(error_of(text), expected) << text;
}

TEST_F(NameResolverTest, ParametersNeedArguments) {
  const std::pair<std::string, std::string> cases[] = {
      {"fluent boolean f(boolean b); [end] f;",
       "TypeCheckingError: Found 'f' without its arguments in the expression '[end] f'"},
      {"type T with { fluent boolean f(boolean b); }; instance T t; action a() { [end] t.f := "
       "true; };",
       "TypeCheckingError: Found 'f' without its arguments in the expression "
       "'[end] (t.f := true)'"},
      {"constant integer c(boolean b); c(true) := 1; c(false) := 2; fluent integer x; [end] x == "
       "c;",
       "TypeCheckingError: Found 'c' without its arguments in the expression '[end] (x == c)'"},
      {"fluent boolean f(boolean b); constant boolean c(boolean b); c(true) := true; "
       "c(false) := true; [end] f(c(true)); [end] f(c(false));",
       "accepted"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(error_of(text), expected) << text;
}

TEST_F(NameResolverTest, StatementsMustBeBooleanOrVoid) {
  const std::pair<std::string, std::string> cases[] = {
      {"fluent integer x; x;",
       "TypeCheckingError: The expression 'x' should be boolean or void, but it is integer"},
      {"fluent integer x; action a() { x + 1; };",
       "TypeCheckingError: The expression '(x + 1)' should be boolean or void, but it is integer"},
      {"fluent integer x; [start] x := 1;", "accepted"},
      {"nobody;", "InternalError: Not implemented 'unresolved_symbol': unresolved<nobody>"},
      {"fluent nobody x;", "UnresolvedSymbolError: nobody: type unknown"},
      {"fluent set(nobody) x;", "UnresolvedSymbolError: nobody: type unknown"},
      {"fluent set(set(nobody)) x;", "UnresolvedSymbolError: nobody: type unknown"},
      {"instance nobody x;", "UnresolvedSymbolError: nobody: type unknown"},
      {"type a < nobody;",
       "UnresolvedSymbolError: nobody: unknown type used in inheritance statement"},
      {"type a < object; instance object o;", "accepted"},
      {"fluent boolean f(boolean b); f(*);",
       "InternalError: Symbol '*' used in a not allowed position"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(error_of(text), expected) << text;
}

TEST_F(NameResolverTest, InnerNamesHideOuterOnes) {
  // A parameter hides a fluent, in its own action only.
  const model::ProblemInstance problem = parse(
      "fluent boolean x; action a(boolean x) { x; }; action b() { x; };"
      "type outer with { type inner with { fluent boolean y; }; fluent inner f;"
      "  action c() { f.y; }; };");
  const auto body = [&](const char* name) {
    std::ostringstream text;
    const model::Expression e = *problem->actions().at(name)->expressions().begin();
    text << static_cast<int>(model::kind_of(e));
    return text.str();
  };
  EXPECT_EQ(body("a"),
            std::to_string(static_cast<int>(model::ExpressionOperatorKind::PARAMETER_REF)));
  EXPECT_EQ(body("b"), std::to_string(static_cast<int>(model::ExpressionOperatorKind::FLUENT_REF)));
  const model::UserType outer = problem->user_types().at("outer");
  EXPECT_EQ(outer->fluents().at("f")->path(), model::Path({"outer"}));
  EXPECT_EQ(outer->user_types().at("inner")->fluents().at("y")->path(),
            model::Path({"outer", "inner"}));
}

TEST_F(NameResolverTest, LabelsAreOrdered) {
  const std::string text = "fluent boolean p; [1, 2] contains l: p; [3, 4] contains m: not p;";
  const model::ProblemInstance problem = parse(text + "start(l) < start(m);");
  EXPECT_EQ(problem->expressions().size(), 2U);
  ASSERT_EQ(problem->labels_orderings().size(), 1U);
  const auto [first, second] = *problem->labels_orderings().begin();
  std::ostringstream printed;
  printed << model::print_expression(first) << ", " << model::print_expression(second);
  EXPECT_EQ(printed.str(), "[1, 2] contains l: p, [3, 4] contains m: (not p)");
  EXPECT_EQ(error_of(text + "start(l) < start(n);"), "map::at");
  EXPECT_EQ(parse(text + "start(l) <= start(m);")->expressions().size(), 3U);
}

TEST_F(NameResolverTest, AStructuredTypeMayBeReadTwiceInOneRun) {
  Environment env;
  const std::string text =
      "type t with { fluent boolean x; constant integer w; action a(t o) { o.x; x; w > 1; }; };"
      "instance t i; i.w := 2; [end] i.x;";
  std::istringstream once(text);
  std::istringstream twice(text);
  const model::ProblemInstance first = AnmlParser(env).parse(once);
  std::ostringstream before;
  before << first;
  const model::ProblemInstance second = AnmlParser(env).parse(twice);
  std::ostringstream after;
  after << first;
  std::ostringstream other;
  other << second;
  EXPECT_EQ(after.str(), before.str());
  EXPECT_EQ(other.str(), before.str());
  EXPECT_EQ(first, second);
}

}  // namespace
}  // namespace kelvo
