#include "transformers/set_compiler.h"

#include "tests/unit/transformers/transformer_fixture.h"
#include "transformers/grounder.h"

namespace kelvo {
namespace {

using model::Expression;

class SetCompilerTest : public TransformerFixture {
 protected:
  const std::string types =
      "type T; instance T a, b, c; fluent set(T) s; fluent set(T) u; fluent set(T) at(T t);"
      "constant set(T) k; k := {a, c}; constant set(T) m(T t); m(a) := {b}; m(*) := {c};"
      "fluent boolean p;";

  Lines compiled(const std::string& statement) {
    SetCompiler compiler(parse(types + "action go() { " + statement + " };"));
    return statements(compiler.output_problem(), "go");
  }
};

TEST_F(SetCompilerTest, OperationsBecomeBooleanCombinations) {
  const std::pair<std::string, Lines> cases[] = {
      {"[start] s := {a};",
       {"[start] (s(a) := true)", "[start] (s(b) := false)", "[start] (s(c) := false)"}},
      {"[end] at(b) := at(b) union {a};",
       {"[end] (at(b, a) := true)", "[end] (at(b, b) := at(b, b))",
        "[end] (at(b, c) := at(b, c))"}},
      {"[start] a in s and p;", {"[start] (s(a) and p)"}},
      {"[start] a in {b};", {"[start] false"}},
      {"[start] a in k;", {"[start] k(a)"}},
      {"[start] b in m(a);", {"[start] m(b, a)"}},
      {"[start] a in (s intersection {a, b});", {"[start] s(a)"}},
      {"[start] a in (s \\ {a, b});", {"[start] false"}},
      {"[start] s subset {a, b};", {"[start] (not s(c))"}},
      {"[start] {a} subset s;", {"[start] s(a)"}},
      {"[start] s == {a, b};", {"[start] ((s(a) == true) and (s(b) == true) and (s(c) == false))"}},
      {"[start] {a} == s;", {"[start] ((true == s(a)) and (not s(b)) and (not s(c)))"}},
      {"[start] p == (a in s);", {"[start] (p == s(a))"}},
      {"duration := 5;", {"(duration := 5)"}},
  };
  for (const auto& [statement, expected] : cases)
    EXPECT_EQ(compiled(statement), expected) << statement;
}

TEST_F(SetCompilerTest, ConstantsBecomeTablesOfTheirElements) {
  SetCompiler compiler(parse(types));
  const auto& output = compiler.output_problem();
  const auto value = [&](const std::string& constant, const std::vector<std::string>& arguments) {
    std::vector<Expression> key;
    for (const std::string& name : arguments) key.push_back(instance(output, name));
    return text(output->constants().at(constant)->value()->assignment(key));
  };
  EXPECT_EQ(value("k", {"a"}), "true");
  EXPECT_EQ(value("k", {"b"}), "false");
  EXPECT_EQ(value("m", {"b", "a"}), "true");
  EXPECT_EQ(value("m", {"b", "b"}), "false");
  EXPECT_EQ(value("m", {"c", "b"}), "true");
  EXPECT_EQ(value("m", {"c", "a"}), "false");  // m(a) has its own set
}

TEST_F(SetCompilerTest, RefusesElementsThatAreNoValues) {
  const std::string refusal = "Set compiler is not able to handle this expression: ";
  expect_internal_error([&] { SetCompiler(parse("fluent set(integer) s;")).output_problem(); },
                        "Infinite sets are not supported: set(integer)");
  expect_internal_error(
      [&] {
        SetCompiler(parse("type T; instance T a; fluent T x; fluent set(T) s; [start] s := {x};"))
            .output_problem();
      },
      refusal + "{x}");
  expect_internal_error(
      [&] {
        SetCompiler(parse("type T; instance T a; fluent T x; fluent set(T) s; [start] x in s;"))
            .output_problem();
      },
      refusal + "(x in s)");
}

TEST_F(SetCompilerTest, MapsPlansBackAndStepsForward) {
  const auto input = parse(types + "action go(T t) { [end] s := {t}; };");
  Grounder grounder(input);
  SetCompiler compiler(grounder.output_problem());
  const auto& output = compiler.output_problem();
  const auto apply = [&](const std::string& fluent, const std::vector<std::string>& arguments) {
    std::vector<Expression> values;
    for (const std::string& name : arguments) values.push_back(instance(output, name));
    return ef().make_functional_apply(ef().make_fluent_reference(output->fluents().at(fluent)),
                                      values);
  };
  std::vector<Expression> conjuncts;
  for (const Expression e : {apply("s", {"a"}), apply("s", {"c"}), apply("at", {"b", "c"})}) {
    conjuncts.push_back(ef().make_equals(e, ef().make_true()));
  }
  conjuncts.insert(conjuncts.begin() + 1, ef().make_equals(apply("s", {"b"}), ef().make_false()));
  const Expression p = ef().make_fluent_reference(output->fluents().at("p"));
  conjuncts.push_back(ef().make_equals(p, ef().make_true()));
  auto plan = std::make_shared<TimeTriggeredPlan>(env);
  plan->add_step(std::make_shared<TimeTriggeredStep>(rational(1), output->actions().at("go_1"),
                                                     std::vector<Expression>{},
                                                     ef().make_and(conjuncts)));
  const auto back = std::dynamic_pointer_cast<TimeTriggeredPlan>(
      grounder.map_back(compiler.map_back(std::shared_ptr<Plan>(plan))));
  EXPECT_EQ(text(*back), "1: go(b) [0]\n");
  EXPECT_EQ(text(back->plan().begin()->second.front()->post_condition()),
            "((p == true) and (s == {a, c}) and (at(b) == {c}))");

  const auto& go = grounder.output_problem()->actions().at("go_1");
  EXPECT_EQ(std::get<1>(compiler.map_forward(nullptr, go, {}).at(0)), output->actions().at("go_1"));
  expect_internal_error([&] { compiler.map_back(nullptr, go, {}); },
                        "Found an action that is unknown to the set compiler!");
}

}  // namespace
}  // namespace kelvo
