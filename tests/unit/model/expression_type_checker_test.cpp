#include "model/expression_type_checker.h"

#include <cstdint>
#include <iterator>
#include <random>

#include "model/numeric_range.h"
#include "model_fixture.h"

namespace kelvo::model {
namespace {

class TypeCheckerTest : public ModelTest {
 protected:
  TypeCheckerTest() {
    small = fluent_ref("small", integer_range(0, 5));
    positive = fluent_ref("positive", mf().make_integer_type(integer(1), /*lower=*/true));
    half = fluent_ref("half", rational_range(0, rational(1, 2)));
    unit = fluent_ref("unit", rational_range(0, 1));
  }
  Type type(Expression e) { return env.type_checker()(e); }
  std::string name(Expression e) { return type(e)->reference_name(); }
  std::string failure(Expression e) {
    return error_of<TypeCheckingError>([&] { type(e); });
  }
  const std::vector<std::string>& warnings() { return env.warning_manager().warnings(); }

  Expression small, positive, half, unit;
};

TEST_F(TypeCheckerTest, NumericTypesCarryTheBoundsOfTheirOperands) {
  const std::pair<Expression, const char*> cases[] = {
      {small, "integer [0, 5]"},
      {ef().make_plus(small, num(1)), "integer [1, 6]"},
      {ef().make_plus(num(1), num(2)), "integer [3, 3]"},
      {ef().make_plus(small, rat(1, 2)), "float [1/2, 11/2]"},
      {ef().make_plus(positive, small), "integer [1, infinity]"},
      {ef().make_plus(start, num(3)), "float"},
      {ef().make_plus({small, small, small}), "integer [0, 15]"},
      {ef().make_minus(small, positive), "integer [-infinity, 4]"},
      {ef().make_minus(small, small), "integer [-5, 5]"},
      {ef().make_unary_minus(small), "integer [-5, 0]"},
      {ef().make_times(small, num(-3)), "integer [-15, 0]"},
      {ef().make_times(small, ef().make_minus(small, num(2))), "integer [-10, 15]"},
      {ef().make_times(positive, positive), "integer [1, infinity]"},
      {ef().make_div(num(5), num(2)), "integer [2, 2]"},
      {ef().make_div(rat(5), num(2)), "float [5/2, 5/2]"},
      {ef().make_div(num(-3), num(2)), "integer [-1, -1]"},
      {ef().make_div(small, num(-2)), "integer [-2, 0]"},
      {ef().make_div(num(8), small), "integer"},
      {ef().make_div(f, small), "float"},
      {ef().make_plus(std::vector<Expression>{x}), "integer"},
      {ef().make_plus(std::vector<Expression>()), "integer [0, 0]"},
      {ef().make_times(std::vector<Expression>()), "integer [1, 1]"},
      {rat(1, 3), "float [1/3, 1/3]"},
      {duration, "float"},
      {ef().make_label_reference("l"), "float"},
  };
  for (const auto& [e, expected] : cases) EXPECT_EQ(name(e), expected) << text_of(e);
  EXPECT_EQ(type(ef().make_plus(num(1), num(4))), integer_range(5, 5)) << "types are interned";
}

TEST_F(TypeCheckerTest, RangesWithoutAValueAreInternalErrors) {
  // The product of zero and an infinity counts as minus infinity, so no upper bound is left here.
  EXPECT_EQ(error_of<InternalError>([&] { type(ef().make_times(x, num(0))); }),
            "Inconsistent upper-lower bound in type-checking multiplication");
  EXPECT_NE(error_of<InternalError>([&] { type(ef().make_div(x, num(0))); }), "no error");
}

TEST_F(TypeCheckerTest, LargeBoundsStayExact) {
  const integer large = integer(1) << 62;
  const Expression wide = fluent_ref("wide", mf().make_integer_type(integer(-1), large));
  EXPECT_EQ(type(ef().make_plus(wide, wide)), mf().make_integer_type(integer(-2), 2 * large));
  EXPECT_EQ(type(ef().make_times(wide, wide)), mf().make_integer_type(-large, large * large));
  EXPECT_EQ(type(ef().make_minus(num(0), wide)), mf().make_integer_type(-large, integer(1)));
  const Expression medium = fluent_ref("medium", integer_range(0, 1L << 40));
  EXPECT_EQ(type(ef().make_times(medium, medium)),
            mf().make_integer_type(integer(0), integer(1) << 80));
  EXPECT_EQ(name(ef().make_assign(wide, medium)), "void");
  EXPECT_EQ(failure(ef().make_assign(wide, num(-2))),
            "Found an assign having non-compatible operands: (wide := -2)");
  EXPECT_TRUE(warnings().empty());
}

TEST(NumericRangeTest, SmallRangesAgreeWithExactOnes) {
  std::mt19937 random(3);
  const std::int64_t values[] = {-3, -1, 0, 1, 2, 6, std::int64_t{1} << 59};
  const auto bound = [&](bool positive_infinity) {
    const auto pick = random() % (std::size(values) + 2);
    return pick >= std::size(values) ? SmallBound::infinity(positive_infinity)
                                     : SmallBound(values[pick]);
  };
  const auto exact = [](const SmallBound& b) {
    return b.is_infinite() ? PossiblyInfiniteRational::infinity(b.is_positive())
                           : PossiblyInfiniteRational(rational(b.num()));
  };
  const auto text = [](const auto& b) {
    return b.is_infinite() ? std::string(b.is_positive() ? "inf" : "-inf")
                           : text_of(rational(b.num()));
  };
  const auto check = [&](const auto& small_operation, const auto& exact_operation,
                         const SmallRange& x, const SmallRange& y) {
    const SmallRange small = small_operation(x, y);
    if (!is_valid(small)) return false;
    const ExactRange result = exact_operation(ExactRange{exact(x.lower), exact(x.upper)},
                                              ExactRange{exact(y.lower), exact(y.upper)});
    EXPECT_EQ(text(small.lower), text(result.lower));
    EXPECT_EQ(text(small.upper), text(result.upper));
    return true;
  };
  int num_valid = 0;
  for (int round = 0; round < 3000; ++round) {
    const SmallRange x = {bound(false), bound(true)};
    SmallRange y = {bound(false), bound(true)};
    num_valid += check(sum_range<SmallBound>, sum_range<PossiblyInfiniteRational>, x, y);
    num_valid +=
        check(difference_range<SmallBound>, difference_range<PossiblyInfiniteRational>, x, y);
    num_valid += check(product_range<SmallBound>, product_range<PossiblyInfiniteRational>, x, y);
    if (round % 2 == 0) y.upper = y.lower;
    num_valid += check(quotient_range<SmallBound>, quotient_range<PossiblyInfiniteRational>, x, y);
  }
  EXPECT_GT(num_valid, 8000);
}

TEST_F(TypeCheckerTest, OperandsMustFitTheirOperator) {
  const UserType room = mf().make_user_type("Room");
  const Expression i = instance_ref("kitchen", room);
  const Expression set = ef().make_set_constant({i});
  const Expression interval = ef().make_closed_interval(start, end);
  const auto temporal = [&](Expression a, Expression b) {
    return ef().make_temporal_expression(a, b);
  };
  const std::pair<Expression, const char*> cases[] = {
      {ef().make_and(tt, num(1)), "Found an and having a non-boolean operand: (true and 1)"},
      {ef().make_or(x, tt), "Found an or having a non-boolean operand: (x or true)"},
      {ef().make_iff(p, x), "Found an iff having a non-boolean operand: (p == x)"},
      {ef().make_imply(x, p), "Found an imply having a non-boolean operand: (x implies p)"},
      {ef().make_not(x), "Found a not having a non-boolean operand: (not x)"},
      {ef().make_lt(p, x), "Found a '<' having a non-numeric operand: (p < x)"},
      {ef().make_le(p, x), "Found a '<=' having a non-numeric operand: (p <= x)"},
      {ef().make_gt(x, p), "Found a '>' having a non-numeric operand: (x > p)"},
      {ef().make_ge(x, p), "Found a '>=' having a non-numeric operand: (x >= p)"},
      {ef().make_plus(p, x), "Found a sum having a non-numeric operand: (p + x)"},
      {ef().make_minus(p, x), "Found a subtraction having a non-numeric operand: (p - x)"},
      {ef().make_times(x, p), "Found a multiplication having a non-numeric operand: (x * p)"},
      {ef().make_div(x, p), "Found a division having a non-numeric operand: (x / p)"},
      {ef().make_equals(p, x), "Found an equality having non-compatible operands: (p == x)"},
      {ef().make_in(x, set),
       "Found an expression having non-compatible operands: (x in {kitchen})"},
      {ef().make_in(x, y), "Found an expression having non-compatible operands: (x in y)"},
      {ef().make_subset(i, set),
       "Found an expression having non-compatible operands: (kitchen subset {kitchen})"},
      {ef().make_union(set, x),
       "Found an expression having non-compatible operands: ({kitchen} union x)"},
      {ef().make_set_constant({num(1), num(2)}),
       "Found an expression having non-compatible operands: {1, 2}"},
      {ef().make_assign(p, num(1)), "Found an assign having non-compatible operands: (p := 1)"},
      {ef().make_closed_interval(start, p),
       "Found an interval having a non-numeric bound: [start, p]"},
      {temporal(p, p), "Found a temporal expression having a non-interval as first operand: p p"},
      {temporal(interval, x),
       "Found a temporal expression having a non-boolean and non-void as second operand: [all] x"},
      {ef().make_contains(p),
       "Found a containment expression having a non-interval as first operand: p contains"},
      {ef().make_contains(interval, p),
       "Found a containment expression having a non-numeric as second operand: [all] contains [p]"},
      {apply(i, {x}),
       "Found a functional apply having no fluent or constant reference: kitchen(x)"},
  };
  for (const auto& [e, expected] : cases) EXPECT_EQ(failure(e), expected);
}

TEST_F(TypeCheckerTest, StatementsAreBooleanOrVoid) {
  const Expression interval = ef().make_left_open_interval(start, end);
  EXPECT_EQ(name(at(start, ef().make_assign(x, num(1)))), "void");
  EXPECT_EQ(name(at(start, p)), "boolean");
  EXPECT_EQ(name(interval), "interval");
  EXPECT_EQ(name(ef().make_contains(interval, num(3))), "interval");
  EXPECT_EQ(name(ef().make_in_assign(duration, ef().make_closed_interval(num(1), num(2)))), "void");
  EXPECT_EQ(type(ef().make_assign(p, tt)), env.type_checker().void_type());
}

TEST_F(TypeCheckerTest, AssignmentsAreTestedAgainstTheBounds) {
  EXPECT_EQ(name(ef().make_assign(small, num(5))), "void");
  EXPECT_EQ(name(ef().make_assign(f, small)), "void") << "a rational takes an integer";
  EXPECT_EQ(name(ef().make_assign(f, unit)), "void");
  EXPECT_TRUE(warnings().empty());
  EXPECT_EQ(failure(ef().make_assign(small, num(7))),
            "Found an assign having non-compatible operands: (small := 7)");
  EXPECT_NE(failure(ef().make_assign(x, rat(3, 2))), "no error");
  EXPECT_NE(failure(ef().make_assign(half, num(1))), "no error");
  EXPECT_TRUE(warnings().empty());
  EXPECT_EQ(name(ef().make_assign(small, x)), "void");
  EXPECT_EQ(name(ef().make_assign(half, unit)), "void");
  EXPECT_THAT(warnings(),
              testing::ElementsAre(
                  "Assignment operands bounds not compatible: integer [0, 5] and integer",
                  "Assignment operands bounds not compatible: float [0, 1/2] and float [0, 1]"));
}

TEST_F(TypeCheckerTest, EqualitiesOfDisjointRangesOnlyWarn) {
  EXPECT_EQ(name(ef().make_equals(small, x)), "boolean");
  EXPECT_EQ(name(ef().make_equals(small, rat(1, 2))), "boolean");
  EXPECT_TRUE(warnings().empty());
  EXPECT_EQ(name(ef().make_equals(small, num(7))), "boolean");
  EXPECT_THAT(warnings(),
              testing::ElementsAre("Equality operands bounds not compatible: integer [0, 5] and "
                                   "integer [7, 7]"));
}

TEST_F(TypeCheckerTest, SetsHaveElementTypes) {
  const UserType room = mf().make_user_type("Room");
  const Expression a = instance_ref("a", room);
  const Expression b = instance_ref("b", room);
  const Expression empty = ef().make_set_constant({});
  const Expression rooms = ef().make_set_constant({a, b});
  EXPECT_EQ(name(empty), "set(void)");
  EXPECT_EQ(type(rooms), mf().make_set_type(room));
  EXPECT_EQ(name(ef().make_set_constant({num(1), num(1)})), "set(integer [1, 1])");
  EXPECT_TRUE(warnings().empty());
  EXPECT_EQ(name(ef().make_set_constant({num(1), small})), "set(integer [1, 1])");
  EXPECT_EQ(warnings().size(), 1u);
  EXPECT_EQ(name(ef().make_in(x, empty)), "boolean");
  EXPECT_EQ(name(ef().make_in(x, ef().make_set_constant({num(1)}))), "boolean");
  EXPECT_EQ(name(ef().make_in(a, rooms)), "boolean");
  EXPECT_EQ(name(ef().make_subset(empty, rooms)), "boolean");
  EXPECT_EQ(name(ef().make_union(empty, rooms)), "set(Room)");
  EXPECT_EQ(name(ef().make_difference(rooms, empty)), "set(Room)");
  EXPECT_NE(failure(ef().make_in(num(1), rooms)), "no error");
}

TEST_F(TypeCheckerTest, ApplicationsMatchTheirParameters) {
  const UserType base = mf().make_user_type("Base");
  const UserType derived = mf().make_user_type("Derived");
  derived->add_base_type(base);
  const Expression b = instance_ref("b", base);
  const Expression d = instance_ref("d", derived);
  const Expression g = fluent_ref("g", mf().make_boolean_type(), {base, integer_range(0, 5)});
  const Expression c = constant_ref("c", mf().make_integer_type(), {base}, {});
  EXPECT_EQ(name(apply(g, {b, num(3)})), "boolean");
  EXPECT_EQ(name(apply(c, {b})), "integer");
  EXPECT_EQ(name(apply(ef().make_scoping(b, c), {b})), "integer");
  EXPECT_EQ(name(ef().make_scoping(b, x)), "integer");
  EXPECT_EQ(failure(apply(g, {b})), "Found a functional apply having wrong number of parameters");
  EXPECT_EQ(failure(apply(g, {d, num(3)})),
            "Found a functional apply having non-compatible children: g(d, 3) type of parameter 1 "
            "is Derived while it should be Base");
  EXPECT_EQ(failure(apply(g, {b, num(6)})),
            "Found a functional apply having non-compatible children: g(b, 6) type of parameter 2 "
            "is integer [6, 6] while it should be integer [0, 5]");
}

// The parameter takes, the argument gives: with the sides the other way round each row differs.
TEST_F(TypeCheckerTest, ArgumentsGoIntoParametersAndNotTheOtherWayRound) {
  const Type whole = mf().make_integer_type();
  const Type exact = mf().make_rational_type();
  const Type narrow = integer_range(1, 2);
  const Type wide = integer_range(0, 5);
  struct Case {
    Type formal, actual;
    bool is_accepted, is_doubtful;
  };
  const Case cases[] = {
      {exact, whole, true, false},   {whole, exact, false, false}, {exact, narrow, true, false},
      {narrow, exact, false, false}, {wide, narrow, true, false},  {narrow, wide, true, true},
      {whole, wide, true, false},    {wide, whole, true, true},
  };
  int number = 0;
  for (const auto& [formal, actual, is_accepted, is_doubtful] : cases) {
    const std::string suffix = std::to_string(++number);
    const Expression given = fluent_ref("given" + suffix, actual);
    const Expression taker = fluent_ref("taker" + suffix, mf().make_boolean_type(), {formal});
    const Expression table = constant_ref("table" + suffix, mf().make_boolean_type(), {formal}, {});
    for (const Expression e : {apply(taker, {given}), apply(table, {given})}) {
      const std::size_t num_warnings = warnings().size();
      EXPECT_EQ(failure(e) == "no error", is_accepted) << text_of(e);
      const bool is_warned = warnings().size() > num_warnings;
      EXPECT_EQ(is_warned, is_doubtful) << text_of(e);
      if (is_warned) {
        EXPECT_EQ(warnings().back(),
                  "Assignment operands bounds not compatible: " + formal->reference_name() +
                      " and " + actual->reference_name());
      }
    }
  }
}

TEST_F(TypeCheckerTest, SymbolsThatNobodyResolvedAreErrors) {
  EXPECT_EQ(error_of<InternalError>([&] { type(ef().make_unresolved_symbol("*")); }),
            "Symbol '*' used in a not allowed position");
  EXPECT_EQ(error_of<InternalError>([&] { type(ef().make_unresolved_symbol("foo")); }),
            "Not implemented 'unresolved_symbol': unresolved<foo>");
}

TEST_F(TypeCheckerTest, AFailureLeavesTheCheckerUsable) {
  const Expression good = ef().make_plus(x, y);
  const Expression bad = ef().make_and(ef().make_lt(good, num(3)), num(1));
  EXPECT_NE(failure(bad), "no error");
  EXPECT_NE(failure(bad), "no error") << "nothing is memoized for what failed";
  EXPECT_EQ(name(good), "integer");
}

}  // namespace
}  // namespace kelvo::model
