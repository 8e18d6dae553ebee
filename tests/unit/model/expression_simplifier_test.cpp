#include "model/expression_simplifier.h"

#include <random>

#include "model/expression_evaluator.h"
#include "model_fixture.h"

namespace kelvo::model {
namespace {

class SimplifierTest : public ModelTest {
 protected:
  std::string simplified(Expression e) { return text_of(ExpressionSimplifier(env)(e)); }
};

TEST_F(SimplifierTest, FoldsBooleans) {
  const std::pair<Expression, const char*> cases[] = {
      {ef().make_and({p, tt, q}), "(p and q)"},
      {ef().make_and(p, tt), "p"},
      {ef().make_and(p, ff), "false"},
      {ef().make_and(tt, tt), "true"},
      {ef().make_and(std::vector<Expression>()), "true"},
      {ef().make_or({p, ff, q}), "(p or q)"},
      {ef().make_or(ff, q), "q"},
      {ef().make_or(p, tt), "true"},
      {ef().make_or(std::vector<Expression>()), "false"},
      {ef().make_not(tt), "false"},
      {ef().make_not(ef().make_not(p)), "(not (not p))"},
      {ef().make_imply(tt, p), "p"},
      {ef().make_imply(ff, p), "true"},
      {ef().make_imply(p, tt), "true"},
      {ef().make_imply(p, ff), "(not p)"},
      {ef().make_imply(p, q), "(p implies q)"},
      {ef().make_iff(tt, p), "p"},
      {ef().make_iff(ff, p), "(not p)"},
      {ef().make_iff(ff, ff), "true"},
      {ef().make_iff(p, ff), "(not p)"},
      {ef().make_iff(p, p), "(p == p)"},
      {ef().make_and(ef().make_lt(num(1), num(2)), p), "p"},
  };
  for (const auto& [e, expected] : cases) EXPECT_EQ(simplified(e), expected) << text_of(e);
}

TEST_F(SimplifierTest, ComparesConstants) {
  const UserType room = mf().make_user_type("Room");
  const Expression a = instance_ref("a", room);
  const Expression b = instance_ref("b", room);
  const std::pair<Expression, const char*> cases[] = {
      {ef().make_equals(x, x), "true"},
      {ef().make_equals(rat(1), num(1)), "true"},
      {ef().make_equals(num(1), num(2)), "false"},
      {ef().make_equals(rat(3, 2), num(1)), "false"},
      {ef().make_equals(tt, ff), "false"},
      {ef().make_equals(a, b), "false"},
      {ef().make_equals(a, a), "true"},
      {ef().make_equals(x, num(1)), "(x == 1)"},
      {ef().make_equals(x, a), "(x == a)"},
      {ef().make_lt(rat(1, 2), num(1)), "true"},
      {ef().make_le(num(1), rat(1)), "true"},
      {ef().make_gt(num(1), num(1)), "false"},
      {ef().make_ge(num(1), num(2)), "false"},
      {ef().make_lt(x, num(1)), "(x < 1)"},
  };
  for (const auto& [e, expected] : cases) EXPECT_EQ(simplified(e), expected) << text_of(e);
  EXPECT_EQ(error_of<InvalidParameterError>([&] { simplified(ef().make_lt(tt, num(1))); }),
            "An integer constant was expected");
}

TEST_F(SimplifierTest, FoldsTheNumbersOfOneNode) {
  const std::pair<Expression, const char*> cases[] = {
      {ef().make_times({num(2), x, num(3)}), "(x * 6)"},
      {ef().make_times({num(2), rat(1, 2), x}), "(x * 1.0)"},
      {ef().make_times({rat(2), rat(1, 2), num(5)}), "5.0"},
      {ef().make_times({rat(2), rat(1, 2), x}), "(x)"},
      {ef().make_times(x, num(1)), "(x)"},
      {ef().make_times(num(1), num(1)), "1"},
      {ef().make_times(x, num(0)), "(x * 0)"},
      {ef().make_times(std::vector<Expression>()), "1"},
      {ef().make_plus({rat(3, 2), num(2), x}), "(x + 7/2)"},
      {ef().make_plus(rat(3, 2), ef().make_plus(num(2), x)), "((x + 2) + 3/2)"},
      {ef().make_plus(x, num(0)), "(x)"},
      {ef().make_plus(start, ef().make_plus(num(2), num(1))), "(start + 3)"},
      {ef().make_plus(num(2), num(-2)), "0"},
      {ef().make_plus(rat(2), rat(-2)), "0.0"},
      {ef().make_plus(std::vector<Expression>()), "0"},
      {ef().make_plus(x, y), "(x + y)"},
      {ef().make_minus(num(3), num(5)), "-2"},
      {ef().make_minus(num(3), rat(1, 2)), "5/2"},
      {ef().make_minus(x, x), "(x - x)"},
      {ef().make_div(num(7), num(2)), "3.0"},
      {ef().make_div(num(-7), num(2)), "-3.0"},
      {ef().make_div(num(7), rat(2)), "7/2"},
      {ef().make_div(x, num(2)), "(x / 2)"},
      {ef().make_minus(end, ef().make_plus(num(1), num(1))), "(end - 2)"},
  };
  for (const auto& [e, expected] : cases) EXPECT_EQ(simplified(e), expected) << text_of(e);
  EXPECT_THROW(simplified(ef().make_div(num(1), num(0))), std::exception);
}

TEST_F(SimplifierTest, ConstantsOfTheModelFoldToTheirValues) {
  const UserType room = mf().make_user_type("Room");
  const Expression a = instance_ref("a", room);
  const Expression b = instance_ref("b", room);
  const Type integers = mf().make_integer_type();
  const Expression five = constant_ref("five", integers, {}, {{{}, num(5)}});
  const Expression open = constant_ref("open", integers, {}, {});
  const Expression cost = constant_ref("cost", integers, {room}, {{{a}, num(1)}});
  const Expression fallback = constant_ref("fallback", integers, {room, room},
                                           {{{a, b}, num(1)}, {{a}, num(2)}, {{}, num(3)}});
  const Parameter who = mf().make_parameter("who", room);
  const Expression parameter = ef().make_parameter_reference(who);
  const std::pair<Expression, const char*> cases[] = {
      {ef().make_plus(five, num(1)), "6"},
      {open, "open"},
      {apply(cost, {a}), "1"},
      {apply(cost, {b}), "cost(b)"},
      {apply(fallback, {a, b}), "1"},
      {apply(fallback, {a, a}), "2"},
      {apply(fallback, {b, b}), "3"},
      {apply(fallback, {parameter, b}), "fallback(who, b)"},
      {apply(f, {ef().make_plus(num(1), num(1))}), "f(2)"},
      {ef().make_scoping(a, apply(f, {ef().make_plus(num(1), num(1))})), "a.f(2)"},
  };
  for (const auto& [e, expected] : cases) EXPECT_EQ(simplified(e), expected) << text_of(e);
}

TEST_F(SimplifierTest, RandomExpressionsKeepTheirValue) {
  // The oracle is evaluation: simplifying first must not change what an expression comes to.
  std::mt19937 random(11);
  const auto pick = [&](const auto& pool) { return pool[random() % pool.size()]; };
  for (int round = 0; round < 300; ++round) {
    std::vector<Expression> numbers = {x, y, f, num(0), num(1), num(3), rat(1, 2), rat(2)};
    std::vector<Expression> booleans = {p, q, tt, ff};
    for (int i = 0; i < 12; ++i) {
      const Expression a = pick(numbers);
      const Expression b = pick(numbers);
      const Expression c = pick(booleans);
      const Expression d = pick(booleans);
      switch (random() % 8) {
        case 0:
          numbers.push_back(ef().make_plus({a, b, num(2)}));
          break;
        case 1:
          numbers.push_back(ef().make_times(a, b));
          break;
        case 2:
          numbers.push_back(ef().make_minus(a, b));
          break;
        case 3:
          booleans.push_back(ef().make_le(a, b));
          break;
        case 4:
          booleans.push_back(ef().make_equals(a, b));
          break;
        case 5:
          booleans.push_back(ef().make_and({c, d, ef().make_not(c)}));
          break;
        case 6:
          booleans.push_back(ef().make_or(ef().make_imply(c, d), d));
          break;
        default:
          booleans.push_back(ef().make_iff(c, ef().make_not(d)));
          break;
      }
    }
    const ExpressionEvaluatorFromMap::Values state = {
        {x, num(static_cast<long>(random() % 5) - 2)},
        {y, num(static_cast<long>(random() % 5))},
        {f, rat(static_cast<long>(random() % 7), 2)},
        {p, ef().make_boolean_constant(random() % 2 == 0)},
        {q, ef().make_boolean_constant(random() % 2 == 0)}};
    const ExpressionEvaluatorFromMap evaluate(env, state);
    const ExpressionSimplifier simplify(env);
    for (const Expression e : booleans) EXPECT_EQ(evaluate(simplify(e)), evaluate(e)) << text_of(e);
    for (const Expression e : numbers) {
      EXPECT_EQ(ef().get_number(evaluate(simplify(e))), ef().get_number(evaluate(e))) << text_of(e);
    }
  }
}

}  // namespace
}  // namespace kelvo::model
