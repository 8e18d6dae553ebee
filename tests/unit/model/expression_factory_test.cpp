#include "model/expression_factory.h"

#include <functional>
#include <utility>

#include "model_fixture.h"

namespace kelvo::model {
namespace {

using ExpressionFactoryTest = ModelTest;

TEST_F(ExpressionFactoryTest, OneLabelIsOneNode) {
  const Fluent x_object = fluents[3];
  const std::pair<Expression, Expression> equal[] = {
      {rat(1, 2), rat(2, 4)},
      {num(5), num(5)},
      {ef().make_fluent_reference(x_object), x},
      {ef().make_unresolved_symbol("s"), ef().make_unresolved_symbol("s")},
      {ef().make_label_reference("s"), ef().make_label_reference("s")},
      {ef().make_and(p, q), ef().make_and({p, q})},
      {ef().make_boolean_constant(true), tt},
      {apply(x, {p}), apply(x, {p})},
      {ef().make_contains(ef().make_point_interval(start), nullptr, "l"),
       ef().make_contains(ef().make_point_interval(start), nullptr, "l")},
  };
  for (const auto& [a, b] : equal) EXPECT_EQ(a, b) << text_of(a);

  const std::pair<Expression, Expression> different[] = {
      {num(5), rat(5)},
      {ef().make_unresolved_symbol("s"), ef().make_label_reference("s")},
      {ef().make_and(p, ef().make_and(q, r)), ef().make_and({p, q, r})},
      {apply(x, {p}), apply(y, {p})},
      {apply(x, {}), x},
      {ef().make_or(p, q), ef().make_or(q, p)},
      {ef().make_equals(p, q), ef().make_iff(p, q)},
      {ef().make_contains(ef().make_point_interval(start), nullptr, "l"),
       ef().make_contains(ef().make_point_interval(start), nullptr, "m")},
  };
  for (const auto& [a, b] : different) EXPECT_NE(a, b) << text_of(a);
}

TEST_F(ExpressionFactoryTest, BuildersAddNoLogic) {
  EXPECT_EQ(text_of(ef().make_and(p, tt)), "(p and true)");
  EXPECT_EQ(text_of(ef().make_plus(num(1), num(2))), "(1 + 2)");
  EXPECT_EQ(ef().make_and(std::vector<Expression>())->arity(), 0u);
  const Expression minus = ef().make_unary_minus(x);
  ASSERT_TRUE(ef().is_times(minus));
  EXPECT_EQ(minus->child(0), x);
  EXPECT_EQ(minus->child(1), num(-1));
}

TEST_F(ExpressionFactoryTest, IntervalTestsLookAtTheFlags) {
  const Expression point = ef().make_point_interval(start);
  const Expression closed = ef().make_closed_interval(start, start);
  EXPECT_TRUE(ef().is_point_interval(point));
  EXPECT_TRUE(ef().is_closed_interval(point));
  EXPECT_TRUE(ef().is_closed_interval(closed));
  EXPECT_FALSE(ef().is_point_interval(closed));
  EXPECT_TRUE(ef().is_open_interval(ef().make_open_interval(start, end)));
  const Expression left_open = ef().make_left_open_interval(start, end);
  const Expression right_open = ef().make_right_open_interval(start, end);
  EXPECT_TRUE(ef().is_left_open_interval(left_open));
  EXPECT_FALSE(ef().is_right_open_interval(left_open));
  EXPECT_TRUE(ef().is_right_open_interval(right_open));
  EXPECT_FALSE(ef().is_open_interval(right_open));
}

TEST_F(ExpressionFactoryTest, ConstantsAndZero) {
  const Expression set = ef().make_set_constant({num(1)});
  for (const Expression e : {tt, ff, num(1), rat(1), set}) {
    EXPECT_TRUE(ef().is_constant(e)) << text_of(e);
  }
  for (const Expression e : {p, start, ef().make_not(tt)}) EXPECT_FALSE(ef().is_constant(e));
  EXPECT_TRUE(ef().is_zero(num(0)));
  EXPECT_TRUE(ef().is_zero(rat(0, 3)));
  for (const Expression e : {ff, num(1), start}) EXPECT_FALSE(ef().is_zero(e));
  EXPECT_EQ(ef().get_number(rat(1, 2)), rational(1, 2));
  EXPECT_EQ(ef().get_number(num(3)), 3);
}

TEST_F(ExpressionFactoryTest, GettersTellWhatTheyExpected) {
  ExpressionFactory& factory = ef();
  using Case = std::pair<std::function<void(Expression)>, const char*>;
  const Case cases[] = {
      {[&](Expression e) { factory.get_fluent_from_reference(e); },
       "A fluent reference was expected"},
      {[&](Expression e) { factory.get_constant_from_reference(e); },
       "A constant reference was expected"},
      {[&](Expression e) { factory.get_parameter_from_reference(e); },
       "A parameter reference was expected"},
      {[&](Expression e) { factory.get_instance_from_reference(e); },
       "An instance reference was expected"},
      {[&](Expression e) { factory.get_boolean_constant(e); }, "A boolean constant was expected"},
      {[&](Expression e) { factory.get_rational_constant(e); },
       "A rational constant was expected, got 7"},
      {[&](Expression) { factory.get_integer_constant(tt); }, "An integer constant was expected"},
      {[&](Expression e) { factory.get_reference_from_functional_apply(e); },
       "A functional apply node was expected"},
      {[&](Expression e) { factory.get_name_from_label_reference(e); },
       "A label reference node was expected"},
      {[&](Expression e) { factory.get_label_from_contains(e); }, "A contains node was expected"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(error_of<InvalidParameterError>([&] { c.first(num(7)); }), c.second);
  }
  EXPECT_EQ(factory.get_fluent_from_reference(x)->name(), "x");
  EXPECT_TRUE(factory.get_boolean_constant(tt));
  EXPECT_EQ(factory.get_reference_from_functional_apply(apply(x, {p})), x);
}

TEST_F(ExpressionFactoryTest, InAssignTakesTheDurationAndAClosedInterval) {
  const Expression closed = ef().make_closed_interval(num(1), num(2));
  EXPECT_EQ(text_of(ef().make_in_assign(duration, closed)), "(duration :in [1, 2])");
  const char* const message = "Found an :in assign having non-compatible operands: ";
  const Expression open = ef().make_open_interval(num(1), num(2));
  EXPECT_EQ(error_of<InternalError>([&] { ef().make_in_assign(duration, open); }),
            message + std::string("(1, 2)"));
  EXPECT_EQ(error_of<InternalError>([&] { ef().make_in_assign(start, closed); }),
            message + std::string("[1, 2]"));
}

TEST_F(ExpressionFactoryTest, ReferencesDoNotKeepObjectsAlive) {
  const Expression gone =
      ef().make_fluent_reference(mf().make_fluent("gone", mf().make_boolean_type()));
  const char* const message = "Trying to lock an expired weak_ptr!";
  EXPECT_EQ(error_of<InternalError>([&] { ef().get_fluent_from_reference(gone); }), message);
  EXPECT_EQ(error_of<InternalError>([&] { text_of(gone); }), message);
}

TEST_F(ExpressionFactoryTest, ActionStatusWithoutInstanceIsNoExpiredReference) {
  const Action a = action("go", {});
  const Instance i = mf().make_instance("i", mf().make_user_type("T"));
  const Expression none = ef().make_action_status_is(nullptr, a, "running");
  const Expression some = ef().make_action_status_is(i, a, "running");
  EXPECT_EQ(text_of(none), "go.action_status_is(running)");
  EXPECT_EQ(text_of(some), "i.go.action_status_is(running)");
  EXPECT_EQ(ef().make_action_status_is(nullptr, a, "running"), none);
  EXPECT_NE(ef().make_action_status_is(nullptr, a, "ended"), none);
  EXPECT_EQ(payload_of<ActionStatusIsPayload>(none).instance(), nullptr);
}

}  // namespace
}  // namespace kelvo::model
