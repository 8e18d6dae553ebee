#include <algorithm>
#include <functional>
#include <random>

#include "model/expression_evaluator.h"
#include "model/expression_free_vars.h"
#include "model/to_dnf.h"
#include "model/to_nnf.h"
#include "model_fixture.h"

namespace kelvo::model {
namespace {

class NormalFormsTest : public ModelTest {
 protected:
  std::string nnf(Expression e) { return text_of(ToNNF(env)(e)); }
  /// The conjunctions, each with its literals in order of creation.
  std::vector<std::vector<std::string>> dnf(Expression e) {
    std::vector<std::vector<std::string>> result;
    const ToDNF to_dnf(env);  // holds what it returns
    for (const ExpressionSet& conjunction : to_dnf(e)) result.push_back(texts_of(conjunction));
    return result;
  }
  Expression nested(const std::function<Expression(Expression, Expression)>& op, int depth) {
    Expression e = p;
    for (int i = 0; i < depth; ++i) {
      const Expression literal = ef().make_equals(x, num(i));
      e = op(literal, e);
    }
    return e;
  }
};

TEST_F(NormalFormsTest, NegationsMoveToTheLiterals) {
  const UserType room = mf().make_user_type("Room");
  const Expression i = instance_ref("i", room);
  const Expression b = fluent_ref("b", mf().make_boolean_type(), {room});
  const Expression c = constant_ref("c", mf().make_boolean_type(), {}, {});
  const std::pair<Expression, const char*> cases[] = {
      {ef().make_not(ef().make_and(p, q)), "((not p) or (not q))"},
      {ef().make_not(ef().make_or({p, q, r})), "((not p) and (not q) and (not r))"},
      {ef().make_not(ef().make_not(p)), "p"},
      {ef().make_imply(p, q), "((not p) or q)"},
      {ef().make_not(ef().make_imply(p, q)), "(p and (not q))"},
      {ef().make_iff(p, q), "((p and q) or ((not p) and (not q)))"},
      {ef().make_equals(p, q), "((p and q) or ((not p) and (not q)))"},
      {ef().make_not(ef().make_equals(p, q)), "((p and (not q)) or ((not p) and q))"},
      {ef().make_equals(p, tt), "((p and true) or ((not p) and (not true)))"},
      {ef().make_equals(apply(b, {i}), p), "((b(i) and p) or ((not b(i)) and (not p)))"},
      {ef().make_equals(tt, c), "((true and c) or ((not true) and (not c)))"},
      {ef().make_equals(apply(c, {}), p), "((c() and p) or ((not c()) and (not p)))"},
      {ef().make_not(ef().make_equals(c, p)), "(not (c == p))"},
      {ef().make_not(ef().make_equals(x, num(3))), "(not (x == 3))"},
      {ef().make_not(ef().make_lt(x, y)), "(not (x < y))"},
      {ef().make_imply(ef().make_imply(p, q), r), "((p and (not q)) or r)"},
      {ef().make_iff(p, ef().make_not(q)), "((p and (not q)) or ((not p) and q))"},
      {ef().make_and(std::vector<Expression>()), "()"},
      {ef().make_and({p}), "(p)"},
  };
  for (const auto& [e, expected] : cases) EXPECT_EQ(nnf(e), expected) << text_of(e);
}

TEST_F(NormalFormsTest, NnfIsLinearAndIterative) {
  Expression equivalences = p;
  for (int i = 0; i < 1000; ++i) equivalences = ef().make_iff(equivalences, q);
  const std::size_t before = ef().num_expressions();
  const ToNNF to_nnf(env);
  to_nnf(equivalences);
  EXPECT_LE(ef().num_expressions() - before, 6000u);

  Expression deep = p;
  for (int i = 0; i < 100000; ++i) deep = ef().make_not(ef().make_and(deep, q));
  EXPECT_TRUE(ef().is_or(to_nnf(deep)));
  EXPECT_TRUE(ef().is_and(to_nnf(ef().make_not(deep))));
}

TEST_F(NormalFormsTest, DnfListsCrossProductsInOrder) {
  using Lists = std::vector<std::vector<std::string>>;
  const Expression s = fluent_ref("s", mf().make_boolean_type());
  const Expression p_or_q = ef().make_or(p, q);
  const Expression r_or_s = ef().make_or(r, s);
  const Expression not_p = ef().make_not(p);
  const Expression empty_and = ef().make_and(std::vector<Expression>());
  const Expression empty_or = ef().make_or(std::vector<Expression>());
  const std::pair<Expression, Lists> cases[] = {
      {p, {{"p"}}},
      {not_p, {{"(not p)"}}},
      {tt, {{"true"}}},
      {ef().make_not(ef().make_imply(p, q)), {{"(not (p implies q))"}}},
      {ef().make_and({p_or_q, r_or_s}), {{"p", "r"}, {"p", "s"}, {"q", "r"}, {"q", "s"}}},
      {ef().make_and({p, ef().make_and(q, r_or_s)}), {{"p", "q", "r"}, {"p", "q", "s"}}},
      {ef().make_and({ef().make_and(p_or_q, r), s}), {{"p", "r", "s"}, {"q", "r", "s"}}},
      {ef().make_or({p, ef().make_or(q, ef().make_and(r, s)), p}),
       {{"p"}, {"q"}, {"r", "s"}, {"p"}}},
      {ef().make_and(p, not_p), {{"p", "(not p)"}}},
      {ef().make_and(p, p), {{"p"}}},
      {ef().make_and(p_or_q, p_or_q), {{"p"}, {"p", "q"}, {"p", "q"}, {"q"}}},
      {empty_and, {}},
      {empty_or, {}},
      {ef().make_and(p, empty_and), {}},
      {ef().make_or(p, empty_and), {{"p"}}},
      {ef().make_and({p}), {{"p"}}},
  };
  for (const auto& [e, expected] : cases) EXPECT_EQ(dnf(e), expected) << text_of(e);
}

TEST_F(NormalFormsTest, DnfRefusesWhatIsNotInNegationNormalForm) {
  const Expression cases[] = {ef().make_imply(p, q), ef().make_iff(p, q), ef().make_assign(p, tt),
                              at(start, p)};
  for (const Expression e : cases) {
    const ToDNF to_dnf(env);
    EXPECT_EQ(error_of<InternalError>([&] { to_dnf(ef().make_and(q, e)); }), "Not supported!");
    EXPECT_EQ(to_dnf(ef().make_and(q, r)).size(), 1u) << "usable after a failure";
  }
}

TEST_F(NormalFormsTest, LongChainsAndSharedChainsAreCheap) {
  const auto conjoin = [&](Expression a, Expression b) { return ef().make_and(a, b); };
  const auto disjoin = [&](Expression a, Expression b) { return ef().make_or(a, b); };
  EXPECT_EQ(ToDNF(env)(nested(conjoin, 100000)).front().size(), 100001u);
  EXPECT_EQ(ToDNF(env)(nested(disjoin, 100000)).size(), 100001u);
  Expression doubled = ef().make_and(p, q);
  for (int i = 0; i < 100; ++i) doubled = ef().make_and(doubled, doubled);
  EXPECT_EQ(dnf(doubled), (std::vector<std::vector<std::string>>{{"p", "q"}}));
}

TEST_F(NormalFormsTest, RandomFormulasKeepTheirModels) {
  std::mt19937 random(5);
  const std::vector<Expression> atoms = {p, q, r};
  for (int round = 0; round < 200; ++round) {
    std::vector<Expression> pool = {p, q, r, tt};
    for (int i = 0; i < 7; ++i) {
      const Expression a = pool[random() % pool.size()];
      const Expression b = pool[random() % pool.size()];
      switch (random() % 6) {
        case 0:
          pool.push_back(ef().make_not(a));
          break;
        case 1:
          pool.push_back(ef().make_and(a, b));
          break;
        case 2:
          pool.push_back(ef().make_or(a, b));
          break;
        case 3:
          pool.push_back(ef().make_imply(a, b));
          break;
        case 4:
          pool.push_back(ef().make_iff(a, b));
          break;
        default:
          pool.push_back(ef().make_equals(q, a));
          break;
      }
    }
    const Expression formula = pool.back();
    const Expression normal = ToNNF(env)(formula);
    const ToDNF::Disjunction disjuncts = ToDNF(env)(normal);
    for (unsigned bits = 0; bits < 8; ++bits) {
      ExpressionEvaluatorFromMap::Values state;
      for (std::size_t i = 0; i < 3; ++i) {
        state.emplace(atoms[i], ef().make_boolean_constant((bits >> i & 1) != 0));
      }
      const ExpressionEvaluatorFromMap evaluate(env, state);
      const bool expected = evaluate(formula) == tt;
      EXPECT_EQ(evaluate(normal) == tt, expected) << text_of(formula);
      const auto holds = [&](const ExpressionSet& literals) {
        return std::ranges::all_of(literals, [&](Expression l) { return evaluate(l) == tt; });
      };
      EXPECT_EQ(std::ranges::any_of(disjuncts, holds), expected) << text_of(formula);
    }
  }
}

TEST_F(NormalFormsTest, FreeVariablesAreWhatTheStateDecides) {
  const UserType room = mf().make_user_type("Room");
  const Expression i = instance_ref("i", room);
  const Expression c = constant_ref("c", mf().make_integer_type(), {}, {});
  const Parameter who = mf().make_parameter("who", room);
  const Expression parameter = ef().make_parameter_reference(who);
  const Expression symbol = ef().make_unresolved_symbol("s");
  using Texts = std::vector<std::string>;
  const std::pair<Expression, Texts> cases[] = {
      {ef().make_gt(apply(f, {x}), ef().make_plus(y, num(1))), {"x", "y", "f(x)"}},
      {apply(c, {x}), {"x"}},
      {c, {}},
      {i, {}},
      {ef().make_scoping(i, x), {"i.x"}},
      {ef().make_and(ef().make_equals(parameter, i), ef().make_scoping(symbol, p)),
       {"who", "unresolved<s>.p"}},
      {ef().make_in(x, ef().make_set_constant({y})), {"x"}},
      {at(ef().make_plus(start, x), ef().make_assign(p, q)), {"p", "q", "x"}},
      {ef().make_temporal_expression(ef().make_contains(ef().make_point_interval(end), y), p),
       {"p", "y"}},
      {duration, {}},
  };
  const ExpressionFreeVars free_vars(env);
  for (const auto& [e, expected] : cases) {
    EXPECT_THAT(texts_of(free_vars(e)), testing::UnorderedElementsAreArray(expected)) << text_of(e);
  }
}

TEST_F(NormalFormsTest, FreeVariablesOfADeepExpression) {
  std::vector<Fluent> kept;
  Expression sum = x;
  for (int i = 0; i < 50000; ++i) {
    kept.push_back(mf().make_fluent("v" + std::to_string(i), mf().make_integer_type()));
    const Expression reference = ef().make_fluent_reference(kept.back());
    sum = ef().make_plus(reference, sum);
  }
  EXPECT_EQ(ExpressionFreeVars(env)(sum).size(), 50001u);
}

}  // namespace
}  // namespace kelvo::model
