#include "model/print_expression.h"

#include "model_fixture.h"

namespace kelvo::model {
namespace {

using PrintExpressionTest = ModelTest;

TEST_F(PrintExpressionTest, EachKindHasItsForm) {
  const UserType robot = mf().make_user_type("Robot");
  const Expression i = instance_ref("wall_e", robot);
  const Expression set = ef().make_set_constant({num(1), x});
  const Expression c = constant_ref("c", mf().make_integer_type(), {}, {});
  const Parameter parameter = mf().make_parameter("who", robot);
  const Expression start_plus_5 = ef().make_plus(start, num(5));
  const std::pair<Expression, const char*> cases[] = {
      {ef().make_and({p, q, r}), "(p and q and r)"},
      {ef().make_or(p, ef().make_not(q)), "(p or (not q))"},
      {ef().make_and(std::vector<Expression>()), "()"},
      {ef().make_imply(p, q), "(p implies q)"},
      {ef().make_equals(x, num(3)), "(x == 3)"},
      {ef().make_iff(p, q), "(p == q)"},
      {ef().make_lt(x, y), "(x < y)"},
      {ef().make_le(x, y), "(x <= y)"},
      {ef().make_gt(x, y), "(x > y)"},
      {ef().make_ge(x, y), "(x >= y)"},
      {ef().make_times({x, y, num(2)}), "(x * y * 2)"},
      {ef().make_plus(x, y), "(x + y)"},
      {ef().make_div(x, y), "(x / y)"},
      {ef().make_minus(x, y), "(x - y)"},
      {ef().make_assign(x, num(1)), "(x := 1)"},
      {ef().make_closed_interval(start, end), "[all]"},
      {ef().make_open_interval(start, end), "(all)"},
      {ef().make_left_open_interval(start, end), "(all]"},
      {ef().make_right_open_interval(start, start_plus_5), "[start, (start + 5))"},
      {ef().make_closed_interval(end, start), "[end, start]"},
      {ef().make_point_interval(start), "[start]"},
      {at(start, ef().make_assign(p, tt)), "[start] (p := true)"},
      {duration, "duration"},
      {ef().make_scoping(i, x), "wall_e.x"},
      {rat(5), "5.0"},
      {rat(-1, 2), "-1/2"},
      {num(-5), "-5"},
      {ef().make_unresolved_symbol("foo"), "unresolved<foo>"},
      {c, "c"},
      {ef().make_parameter_reference(parameter), "who"},
      {ef().make_label_reference("l"), "start(l)"},
      {apply(f, {i, x}), "f(wall_e, x)"},
      {apply(f, {}), "f()"},
      {ef().make_contains(ef().make_closed_interval(start, end)), "[all] contains"},
      {ef().make_contains(ef().make_closed_interval(start, end), num(3), "lab"),
       "[all] contains [3] lab:"},
      {ef().make_in(x, set), "(x in {1, x})"},
      {ef().make_subset(set, set), "({1, x} subset {1, x})"},
      {ef().make_union(set, set), "({1, x} union {1, x})"},
      {ef().make_intersection(set, set), "({1, x} intersection {1, x})"},
      {ef().make_difference(set, ef().make_set_constant({})), "({1, x} \\ {})"},
  };
  for (const auto& [e, expected] : cases) EXPECT_EQ(text_of(e), expected);
}

TEST_F(PrintExpressionTest, DepthOfInputIsNoDepthOfCalls) {
  Expression deep = p;
  for (int i = 0; i < 100000; ++i) deep = ef().make_not(deep);
  EXPECT_EQ(text_of(deep).size(), 100000 * 6 + 1u);
}

}  // namespace
}  // namespace kelvo::model
