#include "model/expression_walker.h"

#include "model/check_contains_walker.h"
#include "model/expression_constant_simplifier.h"
#include "model/expression_default_walker.h"
#include "model/expression_free_vars.h"
#include "model/expression_identity.h"
#include "model/expression_substituter.h"
#include "model/to_dnf.h"
#include "model_fixture.h"

namespace kelvo::model {
namespace {

/// Records the order of the handler calls; the value is the number of distinct nodes below.
class Recorder : public ExpressionDefaultWalker<int> {
 public:
  using ExpressionDefaultWalker::ExpressionDefaultWalker;
  mutable std::vector<std::string> calls;

 protected:
  int walk_default(Expression e) const override {
    calls.push_back(text_of(e));
    int sum = 1;
    for (const Expression child : e->children()) sum += memoized_value(child);
    return sum;
  }
};

using ExpressionWalkerTest = ModelTest;

TEST_F(ExpressionWalkerTest, VisitsEachNodeOnceChildrenFromTheLastFunctionFirst) {
  const Expression shared = ef().make_plus(x, y);
  const Expression call = apply(f, {shared, num(1)});
  const Expression root = ef().make_equals(call, shared);
  const Recorder walk(env);
  EXPECT_EQ(walk(root), 9);
  EXPECT_EQ(walk.calls, (std::vector<std::string>{"y", "x", "(x + y)", "f", "1", "f((x + y), 1)",
                                                  "(f((x + y), 1) == (x + y))"}));
  walk(root);
  EXPECT_EQ(walk.calls.size(), 7u) << "memoized";
  walk.clear_memoization();
  walk(root);
  EXPECT_EQ(walk.calls.size(), 14u);
}

TEST_F(ExpressionWalkerTest, SeededNodesAreNotEnteredAndKeepTheFirstValue) {
  const Recorder walk(env);
  const Expression shared = ef().make_plus(x, y);
  walk.do_memoize_value(shared, 100);
  walk.do_memoize_value(shared, 200);
  EXPECT_EQ(walk(ef().make_times(shared, shared)), 201);
  EXPECT_EQ(walk.calls.size(), 1u);
  EXPECT_EQ(error_of<InternalError>([&] { walk.memoized_value(x); }),
            "Unexplored expression queried to 'memoized_value': x");
}

TEST_F(ExpressionWalkerTest, ATemporaryWalkerReturnsTheValueItself) {
  static_assert(std::is_same_v<decltype(Recorder(env)(x)), int>);
  static_assert(std::is_same_v<decltype(ToDNF(env)(x)), ToDNF::Disjunction>);
  static_assert(std::is_same_v<decltype(ExpressionFreeVars(env)(x)), ExpressionSet>);
  const Recorder walk(env);
  static_assert(std::is_same_v<decltype(walk(x)), const int&>);
  const Expression both = ef().make_and(p, q);
  const ToDNF::Disjunction& literals = ToDNF(env)(both);
  EXPECT_EQ(literals, (ToDNF::Disjunction{{p, q}}));
  const ExpressionSet& variables = ExpressionFreeVars(env)(both);
  EXPECT_EQ(variables, (ExpressionSet{p, q}));
}

/// Fails on the number 0, and walks again for a negation.
class Choosy : public Recorder {
 public:
  using Recorder::Recorder;

 protected:
  int walk_integer_constant(Expression e) const override {
    if (text_of(e) == "0") throw InternalError("nought");
    return Recorder::walk_integer_constant(e);
  }
  int walk_not(Expression e) const override { return 10 * (*this)(e->child(0)->child(1)); }
};

TEST_F(ExpressionWalkerTest, AWalkMayBeginInsideAnotherOrAfterAFailure) {
  const Choosy walk(env);
  const Expression bad = ef().make_lt(ef().make_plus(num(0), x), num(1));
  EXPECT_EQ(error_of<InternalError>([&] { walk(ef().make_and(p, bad)); }), "nought");
  EXPECT_EQ(walk(ef().make_plus(x, y)), 3);
  const Expression negation = ef().make_not(ef().make_lt(x, ef().make_plus(y, num(2))));
  EXPECT_EQ(walk(ef().make_and(p, negation)), 1 + 1 + 30);
}

TEST_F(ExpressionWalkerTest, ValuesAreFoundAmongManyNodesInAnyOrder) {
  std::vector<Expression> nodes;
  for (int i = 0; i < 5000; ++i) nodes.push_back(num(i));
  const ExpressionIdentity walk(env);
  for (std::size_t i = 0; i < nodes.size(); ++i) walk(nodes[i * 2417 % nodes.size()]);
  for (const Expression e : nodes) ASSERT_EQ(walk.memoized_value(e), e);
  EXPECT_FALSE(walk.is_memoized(num(5000)));
  walk.clear_memoization();
  for (const Expression e : nodes) ASSERT_FALSE(walk.is_memoized(e));
}

TEST_F(ExpressionWalkerTest, ReferencesIntoTheMemoStayValid) {
  const Recorder walk(env);
  const int& value = walk(ef().make_plus(x, y));
  for (int i = 0; i < 1000; ++i) walk(num(i));
  EXPECT_EQ(value, 3);
}

TEST_F(ExpressionWalkerTest, IdentityKeepsAllButLongSumsAndProducts) {
  const ExpressionIdentity identity(env);
  const Expression set = ef().make_set_constant({x, num(2)});
  const Expression interval = ef().make_left_open_interval(start, end);
  const Expression kept[] = {
      ef().make_and({p, q, r}),
      ef().make_or({p}),
      ef().make_and(std::vector<Expression>()),
      ef().make_imply(ef().make_iff(p, q), ef().make_not(r)),
      ef().make_le(ef().make_minus(x, y), ef().make_div(x, y)),
      ef().make_in(x, ef().make_union(set, ef().make_difference(set, set))),
      at(start, ef().make_assign(apply(f, {x}), rat(1, 2))),
      ef().make_temporal_expression(ef().make_contains(interval, num(3), "l"), p),
      ef().make_in_assign(duration, ef().make_closed_interval(num(1), num(2))),
      ef().make_scoping(x, apply(f, {})),
      ef().make_times(x, y),
      ef().make_unresolved_symbol("s"),
  };
  for (const Expression e : kept) EXPECT_EQ(identity(e), e) << text_of(e);
  EXPECT_EQ(text_of(identity(ef().make_plus({x, y, num(1)}))), "((x + y) + 1)");
  for (const std::size_t arity : {0u, 1u}) {
    const std::vector<Expression> terms(arity, x);
    identity(ef().make_plus(terms));
    identity(ef().make_times(terms));
  }
}

TEST_F(ExpressionWalkerTest, DepthOfInputIsNoDepthOfCalls) {
  Expression deep = x;
  for (int i = 0; i < 100000; ++i) deep = ef().make_minus(deep, y);
  EXPECT_EQ(ExpressionIdentity(env)(deep), deep);
}

using SubstituterTest = ModelTest;

TEST_F(SubstituterTest, ReplacementsAreNotWalkedAgain) {
  const ExpressionSubstituter::Substitution swap = {{x, y}, {y, x}};
  EXPECT_EQ(text_of(ExpressionSubstituter(env, swap)(ef().make_plus(x, y))), "(y + x)");
}

TEST_F(SubstituterTest, LooksUpTheRebuiltOrTheWrittenForm) {
  const Expression fx = apply(f, {x});
  const ExpressionSubstituter::Substitution map = {{fx, y}, {x, num(3)}};
  EXPECT_EQ(text_of(ExpressionSubstituter(env, map)(fx)), "f(3)");
  EXPECT_EQ(text_of(ExpressionSubstituter(env, map, /*before_rebuild=*/true)(fx)), "y");
  const ExpressionSubstituter::Substitution rebuilt = {{apply(f, {num(3)}), y}, {x, num(3)}};
  EXPECT_EQ(text_of(ExpressionSubstituter(env, rebuilt)(fx)), "y");
  EXPECT_EQ(text_of(ExpressionSubstituter(env, rebuilt, true)(fx)), "f(3)");
}

TEST_F(SubstituterTest, FunctionsOfApplicationsAreReplacedToo) {
  const ExpressionSubstituter::Substitution map = {{f, x}};
  EXPECT_EQ(text_of(ExpressionSubstituter(env, map)(apply(f, {y}))), "x(y)");
  EXPECT_EQ(text_of(ExpressionSubstituter(env, map)(apply(f, {}))), "x()");
}

TEST_F(SubstituterTest, LaterEntriesNeedAClearedMemo) {
  ExpressionSubstituter::Substitution map;
  const ExpressionSubstituter substitute(env, map);
  EXPECT_EQ(substitute(ef().make_not(p)), ef().make_not(p));
  map[p] = q;
  EXPECT_EQ(substitute(ef().make_not(p)), ef().make_not(p));
  substitute.clear_memoization();
  EXPECT_EQ(substitute(ef().make_not(p)), ef().make_not(q));
}

TEST_F(SubstituterTest, FunctionValuesAreRewrittenInKeysAndValues) {
  ExpressionSubstituter::Substitution map = {{x, num(1)}, {p, q}};
  const FunctionValue value =
      substitute_function_value(env, table({{{x}, p}, {{num(2)}, r}, {{}, p}}), map);
  EXPECT_EQ(value->assignments().size(), 3u);
  EXPECT_EQ(value->assignment({num(1)}), q);
  EXPECT_EQ(value->assignment({num(2)}), r);
  EXPECT_EQ(value->default_value(), q);
}

using SmallWalkersTest = ModelTest;

TEST_F(SmallWalkersTest, ContainsLooksIntoOperandsButNotIntoArguments) {
  using Kind = ExpressionOperatorKind;
  const Expression anchored = ef().make_plus(start, num(1));
  const std::tuple<Expression, Kind, bool> cases[] = {
      {start, Kind::START, true},
      {start, Kind::END, false},
      {at(anchored, p), Kind::START, true},
      {at(anchored, p), Kind::PLUS, true},
      {at(anchored, p), Kind::TIMES, false},
      {ef().make_set_constant({p, start}), Kind::START, true},
      {ef().make_contains(ef().make_point_interval(p), start), Kind::START, true},
      {ef().make_scoping(p, start), Kind::START, true},
      {apply(f, {anchored}), Kind::START, false},
      {apply(f, {anchored}), Kind::FLUENT_FUN_APPLY, true},
      {ef().make_not(apply(f, {anchored})), Kind::START, false},
      {ef().make_equals(apply(f, {p}), p), Kind::FLUENT_REF, true},
  };
  for (const auto& [e, kind, expected] : cases) {
    EXPECT_EQ(CheckContainsWalker(env, kind)(e), expected) << text_of(e);
  }
}

TEST_F(SmallWalkersTest, ConstantSimplifierWantsIntegers) {
  const ExpressionConstantSimplifier simplify(env);
  EXPECT_EQ(simplify(ef().make_plus(rat(4), x)), ef().make_plus(num(4), x));
  EXPECT_EQ(error_of<TypeCheckingError>([&] { simplify(ef().make_not(rat(1, 2))); }),
            "Encountered a rational constant that cannot be simplified to an integer: 1/2");
}

}  // namespace
}  // namespace kelvo::model
