#include "model/timed_effect.h"

#include "model_fixture.h"

namespace kelvo {
namespace {

using model::error_of;
using model::Expression;
using model::text_of;
using model::texts_of;

class TimedEffectTest : public model::ModelTest {
 protected:
  std::optional<Effect> effect(Expression e) { return get_effect(ef(), e); }
};

TEST_F(TimedEffectTest, AssignmentsAreTakenApart) {
  const model::UserType robot = mf().make_user_type("Robot");
  const Expression i = instance_ref("r2", robot);
  const Expression j = instance_ref("arm", robot);
  const Expression pos = fluent_ref("pos", mf().make_integer_type(), {robot});
  const Expression scoped_call = ef().make_scoping(i, apply(pos, {j}));
  const Expression call_of_scoped = apply(ef().make_scoping(i, pos), {j});
  const Expression twice = ef().make_scoping(ef().make_scoping(i, j), x);
  struct Case {
    Expression left;
    const char* fluent;
    std::vector<std::string> arguments;
    const char* path;
  };
  const Case cases[] = {
      {x, "x", {}, ""},
      {apply(pos, {i}), "pos", {"r2"}, ""},
      {ef().make_scoping(i, x), "x", {}, "r2"},
      {scoped_call, "pos", {"arm"}, "r2"},
      {call_of_scoped, "pos", {"arm"}, "r2"},
      {twice, "x", {}, "r2.arm"},
  };
  const Expression time = ef().make_plus(start, num(2));
  const model::Action owner = action("owner", {});
  for (const Case& c : cases) {
    const Expression statement = at(time, ef().make_assign(c.left, num(1)));
    const std::optional<Effect> result = get_effect(ef(), statement, owner);
    ASSERT_TRUE(result.has_value()) << text_of(statement);
    EXPECT_EQ(result->timing(), time);
    EXPECT_EQ(result->fluent()->name(), c.fluent);
    EXPECT_EQ(result->value(), num(1));
    EXPECT_EQ(result->action(), owner);
    EXPECT_EQ(texts_of(result->actual_parameters()), c.arguments);
    EXPECT_EQ(result->path(), c.path);
    EXPECT_TRUE(is_effect(ef(), statement));
  }
  EXPECT_EQ(assigned_fluent(ef(), *effect(at(start, ef().make_assign(x, num(1))))), x);
  const Expression at_pos = at(start, ef().make_assign(apply(pos, {i}), num(1)));
  EXPECT_EQ(assigned_fluent(ef(), *effect(at_pos)), apply(pos, {i}));
}

TEST_F(TimedEffectTest, ConditionsAndDurationsAreNoEffects) {
  const Expression cases[] = {
      p, at(start, ef().make_equals(x, num(1))), ef().make_assign(duration, num(3)),
      at(start, ef().make_assign(duration, num(3))),
      ef().make_in_assign(duration, ef().make_closed_interval(num(1), num(2)))};
  for (const Expression e : cases) {
    EXPECT_FALSE(effect(e).has_value()) << text_of(e);
    EXPECT_FALSE(is_effect(ef(), e)) << text_of(e);
  }
}

TEST_F(TimedEffectTest, BrokenEffectsAreRefused) {
  const Expression c = constant_ref("c", mf().make_integer_type(), {mf().make_boolean_type()}, {});
  const Expression window = ef().make_closed_interval(start, end);
  const Expression assign = ef().make_assign(x, num(1));
  EXPECT_EQ(error_of<InternalError>([&] { effect(ef().make_temporal_expression(window, assign)); }),
            "Found an effect over a non-punctual interval");
  EXPECT_EQ(error_of<InternalError>([&] { effect(assign); }), "Found an untimed effect: (x := 1)");
  EXPECT_EQ(error_of<InternalError>([&] { effect(at(start, ef().make_assign(c, num(1)))); }),
            "Found an unknown effect kind: [start] (c := 1)");
  const Expression call = at(start, ef().make_assign(apply(c, {tt}), num(1)));
  EXPECT_EQ(error_of<InvalidParameterError>([&] { effect(call); }),
            "Constant assignments are not possible inside actions: [start] (c(true) := 1)");
  EXPECT_TRUE(is_effect(ef(), assign)) << "the test does not judge";
}

TEST_F(TimedEffectTest, FixedDurationsAreRationalConstants) {
  const Expression five = constant_ref("five", mf().make_integer_type(), {}, {{{}, num(5)}});
  const std::pair<Expression, Expression> cases[] = {
      {ef().make_assign(duration, ef().make_plus(num(1), num(2))), rat(3)},
      {ef().make_equals(duration, rat(1, 2)), rat(1, 2)},
      {ef().make_assign(duration, five), rat(5)},
      {ef().make_assign(duration, x), nullptr},
      {ef().make_le(duration, num(3)), nullptr},
      {ef().make_equals(num(3), duration), nullptr},
      {p, nullptr},
  };
  for (const auto& [e, expected] : cases) {
    const Expression value = get_fixed_duration(env, ef(), action("a", {e}));
    EXPECT_EQ(value, expected) << text_of(e);
  }
}

TEST_F(TimedEffectTest, TimesAreAnchorsAndOffsets) {
  const auto plus = [&](Expression a, Expression b) { return ef().make_plus(a, b); };
  const auto minus = [&](Expression a, Expression b) { return ef().make_minus(a, b); };
  const std::pair<Expression, AnchoredTime> cases[] = {
      {start, {true, 0}},
      {end, {false, 0}},
      {num(4), {true, 4}},
      {rat(1, 2), {true, rational(1, 2)}},
      {plus(start, num(3)), {true, 3}},
      {plus(num(3), start), {true, 3}},
      {plus(start, num(0)), {true, 0}},
      {plus(start, plus(num(2), rat(1, 2))), {true, rational(5, 2)}},
      {plus(plus(start, num(1)), num(2)), {true, 3}},
      {minus(plus(start, num(3)), num(1)), {true, 2}},
      {plus(start, num(-2)), {true, -2}},
      {minus(end, num(3)), {false, 3}},
      {minus(minus(end, num(3)), rat(1, 2)), {false, rational(7, 2)}},
      {plus(end, num(0)), {false, 0}},
      {ef().make_times(num(2), num(3)), {true, 6}},
  };
  for (const auto& [time, expected] : cases)
    EXPECT_EQ(timing(ef(), time), expected) << text_of(time);

  const Expression others[] = {plus(end, num(1)),     minus(start, num(1)),
                               minus(num(3), end),    plus(start, end),
                               plus(start, x),        x,
                               plus(start, duration), ef().make_times(start, num(2))};
  for (const Expression time : others) {
    EXPECT_FALSE(try_timing(ef(), time).has_value()) << text_of(time);
    EXPECT_EQ(error_of<InternalError>([&] { timing(ef(), time); }),
              "Found an unsupported timing: " + text_of(time));
  }
}

TEST_F(TimedEffectTest, TheStartMayBeWrittenInManyWays) {
  for (const Expression time : {start, num(0), rat(0), ef().make_plus(start, num(0)),
                                ef().make_minus(num(2), ef().make_plus(num(1), num(1)))}) {
    EXPECT_TRUE(is_at_start(ef(), time)) << text_of(time);
  }
  for (const Expression time : {end, num(1), ef().make_plus(start, num(1)), x}) {
    EXPECT_FALSE(is_at_start(ef(), time)) << text_of(time);
  }
}

TEST_F(TimedEffectTest, StatementsHaveBoundsAndBody) {
  const TimedStatement plain = decompose_statement(p);
  EXPECT_FALSE(plain.is_timed());
  EXPECT_FALSE(plain.is_point());
  EXPECT_EQ(plain.body, p);

  const TimedStatement point = decompose_statement(at(end, p));
  EXPECT_TRUE(point.is_point());
  EXPECT_EQ(point.left, end);
  EXPECT_EQ(point.right, end);

  const Expression half_open = ef().make_left_open_interval(start, end);
  const TimedStatement window = decompose_statement(ef().make_temporal_expression(half_open, p));
  EXPECT_FALSE(window.is_point());
  EXPECT_FALSE(window.left_closed);
  EXPECT_TRUE(window.right_closed);
  EXPECT_EQ(window.left, start);
  EXPECT_EQ(window.right, end);
  EXPECT_FALSE(window.is_contains);

  const Expression contains = ef().make_contains(half_open, num(3), "l");
  const TimedStatement wrapped = decompose_statement(ef().make_temporal_expression(contains, p));
  EXPECT_TRUE(wrapped.is_contains);
  EXPECT_EQ(wrapped.interval, half_open);
  EXPECT_NE(
      error_of<InternalError>([&] { decompose_statement(ef().make_temporal_expression(p, q)); }),
      "no error");
}

}  // namespace
}  // namespace kelvo
