#include "transformers/usertype_fluents_compiler.h"

#include "tests/unit/transformers/transformer_fixture.h"

namespace kelvo {
namespace {

using model::Expression;

class UserTypeFluentsCompilerTest : public TransformerFixture {
 protected:
  const std::string types =
      "type L; type M < L; instance L l1, l2; instance M m1; fluent L loc; fluent L at(L x);"
      "fluent boolean p(L x);";
};

TEST_F(UserTypeFluentsCompilerTest, ValuesBecomeParameters) {
  const std::pair<std::string, Lines> cases[] = {
      {"[end] loc := l2;", {"[end] (loc(l1) := false)", "[end] (loc(l2) := true)"}},
      {"[start] at(l1) == l2;", {"[start] ((at(l1, l1) == false) and (at(l1, l2) == true))"}},
      {"[start] l1 == loc;", {"[start] ((loc(l1) == true) and (loc(l2) == false))"}},
      {"[start] p(l1); [end] p(l1) := false;", {"[start] p(l1)", "[end] (p(l1) := false)"}},
  };
  for (const auto& [body, expected] : cases) {
    UserTypeFluentsCompiler compiler(parse(types + "action go() {" + body + "};"));
    EXPECT_EQ(statements(compiler.output_problem(), "go"), expected) << body;
  }
}

TEST_F(UserTypeFluentsCompilerTest, RefusesValuesThatAreNoInstances) {
  const std::pair<std::string, std::string> cases[] = {
      {"action go(L x) { };",
       "UserTypeFluentsCompiler transformer only works with ground actions!"},
      {"fluent L other; action go() { [end] loc := other; };",
       "The UserTypeFluentsSubstituter supports only constant value as right-value assignment!"},
      {"action go() { [start] p(loc); };",
       "The UserTypeFluentsSubstituter works only with functional apply with constant "
       "parameters!"},
  };
  for (const auto& [body, message] : cases) {
    expect_internal_error(
        [&, text = body] { UserTypeFluentsCompiler(parse(types + text)).output_problem(); },
        message);
  }
}

TEST_F(UserTypeFluentsCompilerTest, MapsPlansBack) {
  const auto input = parse(types + "action go() { [end] loc := l2; };");
  UserTypeFluentsCompiler compiler(input);
  const auto& output = compiler.output_problem();
  const Expression loc = ef().make_fluent_reference(output->fluents().at("loc"));
  const Expression at_l1 = ef().make_functional_apply(loc, {instance(output, "l1")});
  const Expression at_l2 = ef().make_functional_apply(loc, {instance(output, "l2")});
  const Expression is_out = ef().make_equals(at_l1, ef().make_false());
  const Expression is_in = ef().make_equals(at_l2, ef().make_true());
  auto plan = std::make_shared<TimeTriggeredPlan>(env);
  plan->add_step(std::make_shared<TimeTriggeredStep>(rational(1), output->actions().at("go"),
                                                     std::vector<Expression>{}, rational(2),
                                                     ef().make_and(is_out, is_in)));
  const auto back =
      std::dynamic_pointer_cast<TimeTriggeredPlan>(compiler.map_back(std::shared_ptr<Plan>(plan)));
  const auto& step = *back->plan().begin()->second.front();
  EXPECT_EQ(step.action(), input->actions().at("go"));
  EXPECT_EQ(text(step.post_condition()), "((loc == l2))");
  expect_internal_error([&] { compiler.map_forward(nullptr, step.action(), {}); },
                        "Not supported!");
}

}  // namespace
}  // namespace kelvo
