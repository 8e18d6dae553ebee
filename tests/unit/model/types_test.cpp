#include "model/types.h"

#include "model_fixture.h"

namespace kelvo::model {
namespace {

using TypesTest = ModelTest;

TEST_F(TypesTest, NamesAndFinitenessFollowTheBounds) {
  struct Case {
    Type type;
    const char* name;
    bool finite;
  };
  const UserType room = mf().make_user_type("Room");
  const Case cases[] = {
      {mf().make_boolean_type(), "boolean", true},
      {mf().make_integer_type(), "integer", false},
      {integer_range(0, 5), "integer [0, 5]", true},
      {mf().make_integer_type(integer(-3), true), "integer [-3, infinity]", false},
      {mf().make_integer_type(integer(7), false), "integer [-infinity, 7]", false},
      {mf().make_rational_type(), "float", false},
      {rational_range(0, 1), "float [0, 1]", false},
      {rational_range(2, 2), "float [2, 2]", true},
      {mf().make_rational_type(rational(1, 2), true), "float [1/2, infinity]", false},
      {mf().make_rational_type(rational(1, 2), false), "float [-infinity, 1/2]", false},
      {room, "Room", true},
      {mf().make_object_type(), "object", true},
      {mf().make_unresolved_type("Later"), "unresolved<Later>", true},
      {mf().make_set_type(room), "set(Room)", true},
      {mf().make_set_type(mf().make_integer_type()), "set(integer)", false},
      {mf().make_set_type(mf().make_unresolved_type("Later")), "set(unresolved<Later>)", true},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(text_of(c.type), c.name);
    EXPECT_EQ(c.type->is_finite_domain(), c.finite) << c.name;
  }
}

TEST_F(TypesTest, TypesAreInterned) {
  const UserType room = mf().make_user_type("Room");
  EXPECT_EQ(integer_range(0, 5), integer_range(0, 5));
  EXPECT_EQ(mf().make_user_type("Room"), room);
  EXPECT_EQ(mf().make_set_type(room), mf().make_set_type(room));
  EXPECT_EQ(mf().make_object_type(), mf().make_user_type("object"));
  EXPECT_EQ(mf().make_unresolved_type("A"), mf().make_unresolved_type("A"));
  const std::pair<Type, Type> different[] = {
      {integer_range(0, 5), rational_range(0, 5)},
      {integer_range(0, 5), integer_range(0, 6)},
      {mf().make_integer_type(integer(5), true), mf().make_integer_type(integer(5), false)},
      {mf().make_unresolved_type("Room"), room},
  };
  for (const auto& [a, b] : different) {
    EXPECT_FALSE(a->is_equal(b)) << a->reference_name();
    EXPECT_TRUE(a->is_equal(a));
  }
}

TEST_F(TypesTest, BoundsThatAreNotThereAreErrors) {
  const Type open = mf().make_integer_type(integer(2), true);
  EXPECT_EQ(as_integer_type(open).lower_bound(), 2);
  EXPECT_EQ(error_of<InvalidParameterError>([&] { as_integer_type(open).upper_bound(); }),
            "No upper bound exists.");
  const Type closed = mf().make_rational_type(rational(2), false);
  EXPECT_EQ(error_of<InvalidParameterError>([&] { as_rational_type(closed).lower_bound(); }),
            "No lower bound exists.");
  EXPECT_NE(error_of<InternalError>([&] { as_integer_type(closed); }), "no error");
}

TEST_F(TypesTest, DerivationIsTransitiveAndNotReflexive) {
  const UserType base = mf().make_user_type("A");
  const UserType middle = mf().make_user_type("B");
  const UserType leaf = mf().make_user_type("C");
  middle->add_base_type(base);
  leaf->add_base_type(middle);
  EXPECT_TRUE(leaf->is_derived_from(base));
  EXPECT_FALSE(leaf->is_derived_from(base, /*recursive=*/false));
  EXPECT_TRUE(leaf->is_derived_from(middle, false));
  EXPECT_FALSE(base->is_derived_from(leaf));
  EXPECT_FALSE(leaf->is_derived_from(leaf));
  base->add_base_type(leaf);  // a reader refuses such a hierarchy; the question must end
  EXPECT_FALSE(leaf->is_derived_from(mf().make_user_type("D")));
}

TEST_F(TypesTest, BaseTypesKeepTheirOrderWhenResolved) {
  const UserType type = mf().make_user_type("T");
  const UserType a = mf().make_user_type("A");
  const UserType b = mf().make_user_type("B");
  const Type later = mf().make_unresolved_type("A");
  type->add_base_type(later);
  type->add_base_type(b);
  type->add_base_type(b);
  type->resolve_base_type(later, a);
  EXPECT_EQ(type->base_types(), (std::vector<Type>{a, b}));
  EXPECT_EQ(text_of(*type), "type T < A < B;");
}

using TypeScopeTest = ModelTest;

TEST_F(TypeScopeTest, ANameIsTakenOnce) {
  const UserType scope = mf().make_user_type("Scope");
  scope->add_action(action("a", {}));
  const char* const message = "Name 'a' already defined in this scope";
  EXPECT_EQ(error_of<RedefinitionError>([&] { scope->add_action(action("a", {})); }), message);
  EXPECT_EQ(error_of<RedefinitionError>(
                [&] { scope->add_fluent(fluent("a", mf().make_boolean_type())); }),
            message);
  EXPECT_EQ(error_of<RedefinitionError>(
                [&] { scope->add_constant(mf().make_constant("a", mf().make_boolean_type())); }),
            message);
  EXPECT_EQ(error_of<RedefinitionError>([&] { scope->add_user_type(mf().make_user_type("a")); }),
            message);
  const SetType set = mf().make_set_type(mf().make_user_type("E"));
  scope->add_set_type(set);
  EXPECT_EQ(error_of<RedefinitionError>([&] { scope->add_set_type(set); }),
            "Set type 'set(E)' already defined in this scope");
  EXPECT_TRUE(scope->has_name("a"));
  EXPECT_TRUE(scope->has_action("a"));
  EXPECT_FALSE(scope->has_fluent("a"));
}

TEST_F(TypeScopeTest, StructureIsActionsTypesAndFluents) {
  const UserType constants_only = mf().make_user_type("K");
  constants_only->add_constant(mf().make_constant("k", mf().make_integer_type()));
  EXPECT_FALSE(constants_only->is_structured());
  const UserType with_type = mf().make_user_type("O");
  with_type->add_user_type(mf().make_user_type("I"));
  EXPECT_TRUE(with_type->is_structured());
  const UserType with_fluent = mf().make_user_type("F");
  with_fluent->add_fluent(fluent("v", mf().make_integer_type()));
  EXPECT_TRUE(with_fluent->is_structured());
}

TEST_F(TypeScopeTest, QuestionsReachNestedTypes) {
  const UserType outer = mf().make_user_type("Outer");
  const UserType inner = mf().make_user_type("Inner");
  outer->add_user_type(inner);
  EXPECT_TRUE(outer->is_ground(false));
  EXPECT_FALSE(outer->has_sets());
  inner->add_fluent(fluent("s", mf().make_set_type(mf().make_boolean_type())));
  EXPECT_TRUE(outer->has_sets());
  inner->add_fluent(fluent("g", mf().make_boolean_type(), {mf().make_boolean_type()}));
  EXPECT_FALSE(outer->is_ground(false));
  EXPECT_TRUE(outer->is_ground(/*only_action=*/true));
  const Expression window = ef().make_closed_interval(num(1), num(2));
  inner->add_action(action("wait", {ef().make_in_assign(duration, window)}));
  EXPECT_TRUE(outer->has_temporal_uncertainty());
  EXPECT_FALSE(outer->has_intermediate_effects());
  const Expression midway = ef().make_plus(start, num(1));
  inner->add_action(action("blink", {at(midway, ef().make_assign(p, tt))}));
  EXPECT_TRUE(outer->has_intermediate_effects());
  inner->add_action(action("go", {}, parameters({mf().make_boolean_type()})));
  EXPECT_FALSE(outer->is_ground(true));
}

TEST_F(TypeScopeTest, PrintsItsMembersInNameOrder) {
  const UserType room = mf().make_user_type("Room");
  const UserType type = mf().make_user_type("House");
  type->add_fluent(fluent("warm", mf().make_boolean_type(), {room, integer_range(0, 3)}));
  type->add_fluent(fluent("size", mf().make_integer_type()));
  ConstantImpl::Values values;
  values["villa"] = table({{{num(1)}, num(4)}, {{}, num(2)}});
  const Constant doors = mf().make_constant("doors", mf().make_integer_type(), {},
                                            parameters({integer_range(0, 3)}), values);
  type->add_constant(doors);
  type->add_user_type(room);
  type->add_action(action("lock", {at(start, p)}, parameters({room})));
  EXPECT_EQ(text_of(*type),
            "type House with {\n"
            "constant integer doors(integer [0, 3] arg0);\n"
            "\n"
            "fluent integer size;\n"
            "fluent boolean warm(Room arg0, integer [0, 3] arg1);\n"
            "\n"
            "type Room;\n"
            "\n"
            "action lock(Room arg0) {\n"
            "[start] p;\n"
            "};\n"
            "};\n"
            "villa.doors(1) := 4;\n"
            "villa.doors := 2;\n");
}

}  // namespace
}  // namespace kelvo::model
