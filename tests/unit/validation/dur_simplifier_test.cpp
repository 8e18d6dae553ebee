#include "validation/dur_simplifier.h"

#include "model/expression_factory.h"
#include "model/model_factory.h"
#include "model/print_expression.h"
#include "tests/unit/validation/validation_fixture.h"

namespace kelvo {
namespace {

using model::Expression;

TEST_F(ValidationFixture, DurSimplifierFoldsUnderBindings) {
  model::ExpressionFactory& ef = env().expression_factory();
  model::ModelFactory& mf = env().model_factory();
  const auto fluent = [&](const char* name, const model::Parameters& parameters) {
    fluents.push_back(mf.make_fluent(name, mf.make_boolean_type(), {}, parameters));
    return ef.make_fluent_reference(fluents.back());
  };
  const model::Parameter k = mf.make_parameter("k", mf.make_integer_type());
  const Expression p = fluent("p", {});
  const Expression q = fluent("q", {});
  const Expression f = fluent("f", {k});
  const Expression two = ef.make_integer_constant(2);
  const Expression f_of_2 = ef.make_functional_apply(f, {two});
  const Expression duration = ef.make_duration_anchor();
  const Expression start = ef.make_start_anchor();
  const Expression five = ef.make_rational_constant(5);
  const DurSimplifier::Values values = {{duration, five},
                                        {start, ef.make_rational_constant(3)},
                                        {p, q},
                                        {q, p},
                                        {f_of_2, ef.make_true()}};
  const DurSimplifier simplify(env(), values);

  const Expression in_five = ef.make_integer_constant(5);
  const Expression four = ef.make_integer_constant(4);
  const Expression half_of_four = ef.make_div(four, two);  // folds to a rational
  const std::pair<Expression, Expression> cases[] = {
      {ef.make_assign(duration, in_five), ef.make_true()},
      {ef.make_assign(duration, four), ef.make_false()},
      {ef.make_ge(duration, four), ef.make_true()},
      {ef.make_plus(start, in_five), ef.make_rational_constant(8)},
      {p, q},                               // a replacement is not walked again
      {ef.make_and(p, ef.make_true()), p},  // looked up once more as the result of the conjunction
      {ef.make_functional_apply(f, {half_of_four}), ef.make_true()},
      {ef.make_functional_apply(f, {four}), ef.make_functional_apply(f, {four})},
  };
  for (const auto& [input, expected] : cases) {
    EXPECT_EQ(simplify(input), expected)
        << model::print_expression(input) << " -> " << model::print_expression(simplify(input));
  }
}

}  // namespace
}  // namespace kelvo
