#include "model/expression_evaluator.h"

#include "model/all_values_evaluator.h"
#include "model_fixture.h"

namespace kelvo::model {
namespace {

class EvaluatorTest : public ModelTest {
 protected:
  EvaluatorTest() {
    room = mf().make_user_type("Room");
    a = instance_ref("a", room);
    g = fluent_ref("g", mf().make_integer_type(), {integer_range(0, 5)});
    at_room = fluent_ref("at_room", mf().make_boolean_type(), {room});
    cost = constant_ref("cost", mf().make_integer_type(), {integer_range(0, 5)},
                        {{{num(1)}, num(10)}, {{num(2)}, num(20)}});
    open = constant_ref("open", mf().make_integer_type(), {}, {});
    parameter = mf().make_parameter("who", room);
    who = ef().make_parameter_reference(parameter);
  }

  UserType room;
  Expression a, g, at_room, cost, open;
  Parameter parameter;
  Expression who;
};

TEST_F(EvaluatorTest, ReadsTheState) {
  const Expression keys[] = {p, x, apply(g, {num(2)}), apply(at_room, {a}), q};
  ExpressionEvaluator::Index index;
  for (const Expression key : keys) index.emplace(key, index.size());
  const ExpressionEvaluator::Values values = {tt, num(2), num(7), ff, nullptr};
  const ExpressionEvaluator evaluate(env, index, values);
  const std::pair<Expression, Expression> cases[] = {
      {ef().make_and(p, ef().make_not(apply(at_room, {a}))), tt},
      {ef().make_plus(apply(g, {x}), num(1)), num(8)},
      {apply(g, {ef().make_div(num(4), x)}), num(7)},  // an integral rational names the same slot
      {apply(cost, {ef().make_minus(x, num(1))}), num(10)},
      {a, a},
  };
  for (const auto& [e, expected] : cases) EXPECT_EQ(evaluate(e), expected) << text_of(e);

  const std::pair<Expression, const char*> internal_errors[] = {
      {y, "Found an unexpected fluent: y"},
      {q, "Found an unexpected fluent: q"},
      {apply(g, {num(3)}), "Found an unexpected fluent: g(3)"},
      {who, "Found a parameter reference while FTP planning!"},
      {ef().make_unresolved_symbol("s"), "Found an unresolved symbol while planning!"},
      {ef().make_plus(g, num(1)), "Found an expression without a value: g"},
      {ef().make_plus(apply(cost, {num(4)}), num(1)),
       "Found an expression without a value: cost(4)"},
  };
  for (const auto& [e, message] : internal_errors) {
    EXPECT_EQ(error_of<InternalError>([&, broken = e] { evaluate(broken); }), message);
  }
  EXPECT_EQ(error_of<InvalidParameterError>([&] { evaluate(open); }),
            "Found uninitialized constant in the model: open");
  EXPECT_EQ(error_of<InvalidParameterError>([&] { evaluate(apply(a, {num(1)})); }),
            "Unhandled reference found in the model: a");
}

TEST_F(EvaluatorTest, ArgumentsOutsideTheParameterSignalThemselves) {
  const ExpressionEvaluator::Index index;
  const ExpressionEvaluator::Values values;
  const ExpressionEvaluator evaluate(env, index, values);
  for (const Expression argument : {num(6), num(-1), rat(11, 2)}) {
    EXPECT_EQ(error_of<OutOfBoundsValue>([&] { evaluate(apply(g, {argument})); }), "");
    EXPECT_EQ(error_of<OutOfBoundsValue>([&] { evaluate(apply(cost, {argument})); }), "");
  }
}

TEST_F(EvaluatorTest, ReadsAMapWithoutTestingArguments) {
  const ExpressionEvaluatorFromMap::Values values = {
      {x, num(6)}, {apply(g, {num(6)}), num(1)}, {p, nullptr}};
  const ExpressionEvaluatorFromMap evaluate(env, values);
  EXPECT_EQ(evaluate(ef().make_plus(apply(g, {x}), num(1))), num(2));
  EXPECT_EQ(evaluate(apply(cost, {num(2)})), num(20));
  EXPECT_EQ(error_of<InternalError>([&] { evaluate(ef().make_not(p)); }),
            "Found an unexpected fluent: p");
  EXPECT_EQ(error_of<InternalError>([&] { evaluate(who); }),
            "Found a parameter reference while FTP planning!");
}

class AllValuesTest : public EvaluatorTest {
 protected:
  std::vector<std::string> values(Expression e) {
    return texts_of(AllValuesEvaluator(env, assignments)(e));
  }
  AllValuesEvaluator::Assignments assignments = {{x, {num(1), num(2)}},
                                                 {y, {num(3), num(9)}},
                                                 {f, {rat(1, 2)}},
                                                 {p, {tt, ff}},
                                                 {q, {tt}},
                                                 {r, {}},
                                                 {apply(g, {num(1)}), {num(4)}},
                                                 {apply(g, {num(2)}), {num(4), num(5)}},
                                                 {apply(g, {num(3)}), {num(6)}}};
};

TEST_F(AllValuesTest, CombinesAllValuesOfTheOperands) {
  using testing::UnorderedElementsAre;
  const auto both = UnorderedElementsAre("true", "false");
  const auto yes = UnorderedElementsAre("true");
  const auto no = UnorderedElementsAre("false");
  const std::pair<Expression, testing::Matcher<std::vector<std::string>>> cases[] = {
      {ef().make_gt(x, num(1)), both},
      {ef().make_lt(x, y), yes},
      {ef().make_ge(x, y), no},
      {ef().make_le(f, x), yes},
      {ef().make_equals(x, rat(2)), both},
      {ef().make_equals(x, y), no},
      {ef().make_and(p, q), both},
      {ef().make_and(q, tt), yes},
      {ef().make_and(p, ff), no},
      {ef().make_and(p, r), no},  // the empty set counts as all false
      {ef().make_or(p, q), yes},
      {ef().make_or(p, ff), both},
      {ef().make_or(p, r), yes},
      {ef().make_or(ff, ff), no},
      {ef().make_not(p), both},
      {ef().make_not(q), no},
      {ef().make_imply(p, ff), both},
      {ef().make_imply(ff, p), yes},
      {ef().make_iff(p, p), both},  // the two sides vary independently
      {ef().make_iff(q, tt), yes},
      {ef().make_plus({x, y, num(1)}), UnorderedElementsAre("5", "6", "11", "12")},
      {ef().make_times(x, f), UnorderedElementsAre("1/2", "1.0")},
      {ef().make_minus(x, x), UnorderedElementsAre("0", "1", "-1")},
      {ef().make_div(num(7), num(2)), UnorderedElementsAre("3")},
      {ef().make_div(rat(7), x), UnorderedElementsAre("7.0", "7/2")},
      {ef().make_plus(std::vector<Expression>()), UnorderedElementsAre("0")},
      {ef().make_times(std::vector<Expression>{x}), UnorderedElementsAre("1", "2")},
      {g, UnorderedElementsAre()},
      {apply(g, {x}), UnorderedElementsAre("4", "5")},
      {apply(g, {y}), UnorderedElementsAre("6")},  // 9 is outside the parameter's type
      {apply(cost, {x}), UnorderedElementsAre("10", "20")},
      {apply(cost, {y}), UnorderedElementsAre()},
      {a, UnorderedElementsAre("a")},
  };
  for (const auto& [e, expected] : cases) EXPECT_THAT(values(e), expected) << text_of(e);
}

TEST_F(AllValuesTest, RefusesWhatHasNoValues) {
  const Expression set = ef().make_set_constant({num(1)});
  const Expression interval = ef().make_point_interval(num(1));
  const Action go = action("go", {});
  const std::pair<Expression, const char*> cases[] = {
      {fluent_ref("z", mf().make_integer_type()), "Missing value for fluent: z"},
      {open, "Unknown value for constant: open"},
      {apply(g, {num(5)}), "Missing value for fluent function: g(5)"},
      {set, "Trying to evaluate a set constant expression"},
      {interval, "Trying to evaluate an interval expression"},
      {start, "Trying to evaluate a start expression"},
      {end, "Trying to evaluate an end expression"},
      {duration, "Trying to evaluate a duration expression"},
      {who, "Trying to evaluate a parameter reference"},
      {ef().make_unresolved_symbol("s"), "Trying to evaluate an unresolved symbol expression"},
      {ef().make_label_reference("l"), "Trying to evaluate a label expression"},
      {ef().make_assign(x, num(1)), "Trying to evaluate an assign expression"},
      {ef().make_scoping(a, x), "Trying to evaluate a dot expression"},
      {ef().make_action_status_is(nullptr, go, "ended"),
       "Trying to evaluate an action status is expression"},
  };
  for (const auto& [e, message] : cases) {
    EXPECT_EQ(error_of<InvalidParameterError>([&, broken = e] { values(broken); }), message);
  }
  // Operands come first in a walk, so seed them to reach the operators.
  const Expression s = fluent_ref("s", mf().make_set_type(room));
  const std::pair<Expression, const char*> operators[] = {
      {ef().make_in(a, s), "Trying to evaluate an set in expression"},
      {ef().make_subset(s, s), "Trying to evaluate a set subset expression"},
      {ef().make_union(s, s), "Trying to evaluate a set union expression"},
      {ef().make_intersection(s, s), "Trying to evaluate a set intersection expression"},
      {ef().make_difference(s, s), "Trying to evaluate a set difference expression"},
      {ef().make_in_assign(duration, interval), "Trying to evaluate an in-assign expression"},
      {at(num(1), p), "Trying to evaluate a temporal expression"},
      {ef().make_contains(interval), "Trying to evaluate a contains expression"},
  };
  for (const auto& [e, message] : operators) {
    const AllValuesEvaluator evaluate(env, assignments);
    for (const Expression child : e->children()) evaluate.do_memoize_value(child, {});
    EXPECT_EQ(error_of<InvalidParameterError>([&, broken = e] { evaluate(broken); }), message);
  }
}

}  // namespace
}  // namespace kelvo::model
