#include "model/problem_instance.h"

#include "model/domains.h"
#include "model_fixture.h"

namespace kelvo::model {
namespace {

class ProblemInstanceTest : public ModelTest {
 protected:
  ProblemInstanceTest()
      : problem(std::make_shared<ProblemInstanceImpl>(env)),
        base(mf().make_user_type("Base")),
        derived(mf().make_user_type("Derived")) {
    derived->add_base_type(base);
    problem->add_user_type(base);
    problem->add_user_type(derived);
    problem->add_instance(mf().make_instance("b2", base));
    problem->add_instance(mf().make_instance("b1", base));
    problem->add_instance(mf().make_instance("d", derived));
  }
  std::vector<std::string> names(const ProblemInstanceImpl::InstanceMap& map) {
    std::vector<std::string> result;
    for (const auto& [name, instance] : map) result.push_back(name);
    return result;
  }

  ProblemInstance problem;
  UserType base, derived;
};

TEST_F(ProblemInstanceTest, NamesCoverInstancesAndLabels) {
  problem->add_label("l", start);
  for (const char* name : {"b1", "l", "Base"}) EXPECT_TRUE(problem->has_name(name)) << name;
  EXPECT_FALSE(problem->has_name("nothing"));
  EXPECT_EQ(error_of<RedefinitionError>(
                [&] { problem->add_instance(mf().make_instance("b1", derived)); }),
            "Instance 'b1' already defined");
  EXPECT_EQ(error_of<RedefinitionError>([&] { problem->add_label("l", end); }),
            "Label 'l' already defined");
  EXPECT_EQ(error_of<RedefinitionError>(
                [&] { problem->add_fluent(fluent("d", mf().make_boolean_type())); }),
            "Name 'd' already defined in this scope");
}

TEST_F(ProblemInstanceTest, InstancesOfATypeIncludeDerivedOnes) {
  EXPECT_THAT(names(problem->instances(base)), testing::ElementsAre("b1", "b2", "d"));
  EXPECT_THAT(names(problem->instances(derived)), testing::ElementsAre("d"));
  EXPECT_EQ(&problem->instances(base), &problem->instances(base)) << "computed once";
}

TEST_F(ProblemInstanceTest, GroundFluentsCoverTheExactDomains) {
  problem->add_fluent(fluent("at", mf().make_boolean_type(), {base, integer_range(1, 2)}));
  problem->add_fluent(fluents[3]);  // x
  EXPECT_THAT(
      texts_of(problem->all_ground_fluents(/*only_boolean=*/false)),
      testing::UnorderedElementsAre("at(b1, 1)", "at(b2, 1)", "at(b1, 2)", "at(b2, 2)", "x"));
  problem->add_fluent(fluent("load", mf().make_integer_type(), {mf().make_integer_type()}));
  EXPECT_EQ(problem->all_ground_fluents(/*only_boolean=*/true).size(), 4u);
  EXPECT_EQ(error_of<InvalidParameterError>([&] { problem->all_ground_fluents(false); }),
            "The problem instance contains a non-groundable fluent.");
  base->add_fluent(fluent("inner", mf().make_boolean_type()));
  EXPECT_FALSE(problem->is_flat());
  EXPECT_EQ(error_of<InvalidParameterError>([&] { problem->all_ground_fluents(true); }),
            "The problem instance is not flat!");
}

TEST_F(ProblemInstanceTest, PrintsAsDeclarationsInstancesValuesAndStatements) {
  problem->add_fluent(fluents[0]);
  ConstantImpl::Values values;
  values[""] = table(
      {{{ef().make_instance_reference(problem->instances().at("b1"))}, num(7)}, {{}, num(1)}});
  problem->add_constant(mf().make_constant("cost", mf().make_integer_type(), {},
                                           parameters({base, integer_range(0, 1)}), values));
  ConstantImpl::Values limit;
  limit[""] = table({{{}, rat(5, 2)}});
  problem->add_constant(mf().make_constant("limit", mf().make_rational_type(), {}, {}, limit));
  problem->add_action(action("go", {at(end, ef().make_assign(p, tt))}));
  problem->add_expression(at(start, ef().make_assign(p, ff)));
  problem->add_expression(p);
  EXPECT_EQ(text_of(problem),
            "constant integer cost(Base arg0, integer [0, 1] arg1);\n"
            "constant float limit;\n"
            "\n"
            "fluent boolean p;\n"
            "\n"
            "type Base;\n"
            "type Derived < Base;\n"
            "\n"
            "action go() {\n"
            "[end] (p := true);\n"
            "};\n"
            "\n"
            "instance Base b1;\n"
            "instance Base b2;\n"
            "instance Derived d;\n"
            "\n"
            "cost(b1, *) := 7;\n"
            "cost := 1;\n"
            "limit := 5/2;\n"
            "\n"
            "p;\n"
            "[start] (p := false);\n");
}

using ActionTest = ModelTest;

TEST_F(ActionTest, UncertaintyIsDecidedByTheFirstInAssign) {
  const auto in = [&](long low, long high) {
    return ef().make_in_assign(duration, ef().make_closed_interval(num(low), num(high)));
  };
  const Action fixed = action("fixed", {in(3, 3)});
  EXPECT_TRUE(fixed->is_temporally_uncertain());
  EXPECT_FALSE(fixed->is_temporally_uncertain(/*really_uncertain=*/true));
  EXPECT_TRUE(action("free", {in(3, 4)})->is_temporally_uncertain(true));
  EXPECT_TRUE(action("timed", {at(start, in(3, 4))})->is_temporally_uncertain(true));
  EXPECT_FALSE(action("none", {ef().make_assign(duration, num(3)), p})->is_temporally_uncertain());
}

TEST_F(ActionTest, IntermediateIsWhatIsNotAtAnAnchorItself) {
  const Expression at_ends[] = {
      at(start, p), at(end, ef().make_assign(p, tt)), p,
      ef().make_temporal_expression(ef().make_open_interval(start, end), q)};
  for (const Expression e : at_ends) EXPECT_FALSE(action("a", {e})->has_intermediate_effects());
  const Expression later = at(ef().make_plus(start, num(1)), ef().make_assign(p, tt));
  const Expression part = ef().make_temporal_expression(
      ef().make_closed_interval(start, ef().make_minus(end, num(1))), q);
  const Action a = action("a", {at_ends[0], later, at_ends[1], part});
  EXPECT_TRUE(a->has_intermediate_effects());
  EXPECT_EQ(a->intermediate_expressions(), (ExpressionSet{later, part}));
}

using FunctionValueTest = ModelTest;

TEST_F(FunctionValueTest, ShortKeysCoverAllThatTheyBegin) {
  const UserType room = mf().make_user_type("Room");
  const Expression a = instance_ref("a", room);
  const Expression b = instance_ref("b", room);
  const Parameter who = mf().make_parameter("who", room);
  const Expression parameter = ef().make_parameter_reference(who);
  const FunctionValue value = table({{{a, b}, num(0)}, {{a}, num(1)}, {{parameter}, num(2)}});
  EXPECT_EQ(value->assignment({a, b}), num(0));
  EXPECT_EQ(value->assignment({a, a}), num(1));
  EXPECT_EQ(value->assignment({b, b}), nullptr);
  EXPECT_EQ(value->assignment({parameter}), num(2)) << "an exact entry";
  EXPECT_EQ(value->assignment({a, parameter}), nullptr) << "no prefix of what is not constant";
  EXPECT_EQ(value->assignment({}), nullptr);
  EXPECT_EQ(value->default_value(), nullptr);
  value->default_value(num(4));
  EXPECT_EQ(value->default_value(), num(4));
  EXPECT_EQ(value->assignment({b, num(3)}), num(4));
  EXPECT_EQ(value->assignment({parameter, a}), nullptr);
  std::vector<std::size_t> lengths;
  for (const auto& [key, entry] : value->sorted_assignments()) lengths.push_back(key.size());
  EXPECT_THAT(lengths, testing::ElementsAre(0, 1, 1, 2));
}

using ModelFactoryTest = ModelTest;

TEST_F(ModelFactoryTest, EqualObjectsAreOne) {
  const Type boolean = mf().make_boolean_type();
  const Parameters own = parameters({boolean});
  const Parameters others = parameters({boolean});
  const Fluent g = mf().make_fluent("g", boolean, {"S"}, own);
  EXPECT_EQ(mf().make_fluent("g", boolean, {"S"}, own), g);
  EXPECT_NE(mf().make_fluent("g", boolean, {"S"}, others), g) << "parameters count by identity";
  EXPECT_NE(mf().make_fluent("g", boolean, {}, own), g);
  EXPECT_NE(mf().make_fluent("g", mf().make_integer_type(), {"S"}, own), g);
  EXPECT_NE(mf().make_fluent("h", boolean, {"S"}, own), g);

  const ConstantImpl::Values one = {{"", table({{{}, num(1)}})}};
  const ConstantImpl::Values also_one = {{"", table({{{}, num(1)}})}};
  const ConstantImpl::Values two = {{"", table({{{}, num(2)}})}};
  const Constant c = mf().make_constant("c", boolean, {}, {}, one);
  EXPECT_EQ(mf().make_constant("c", boolean, {}, {}, also_one), c) << "values count by content";
  EXPECT_NE(mf().make_constant("c", boolean, {}, {}, two), c);

  const Action a = action("a", {p, q});
  EXPECT_EQ(action("a", {q, p}), a);
  EXPECT_NE(action("a", {p}), a);

  const UserType room = mf().make_user_type("Room");
  const Instance i = mf().make_instance("i", room);
  EXPECT_EQ(mf().make_instance("i", room), i);
  EXPECT_NE(mf().make_instance("i", mf().make_user_type("Hall")), i);
}

TEST_F(ModelFactoryTest, ParametersGetTheirOwnerAndDistinctNames) {
  const Type boolean = mf().make_boolean_type();
  const Parameters own = parameters({boolean});
  const Fluent g = mf().make_fluent("g", boolean, {}, own);
  EXPECT_EQ(own.front()->owner(), g);
  EXPECT_EQ(own.front()->type(), boolean);
  const Parameters twice = {own.front(), mf().make_parameter("arg0", boolean)};
  const std::string message = "Parameter 'arg0' already defined for this ";
  EXPECT_EQ(error_of<RedefinitionError>([&] { mf().make_fluent("h", boolean, {}, twice); }),
            message + "fluent");
  EXPECT_EQ(error_of<RedefinitionError>([&] { mf().make_constant("h", boolean, {}, twice); }),
            message + "constant");
  EXPECT_EQ(error_of<RedefinitionError>([&] { action("h", {}, twice); }), message + "action");
}

TEST_F(ModelFactoryTest, WhatNobodyHoldsLeavesTheTables) {
  const std::size_t before = mf().num_actions();
  {
    const Action a = action("a", {p});
    EXPECT_EQ(mf().num_actions(), before + 1);
  }
  EXPECT_EQ(mf().num_actions(), before);
  EXPECT_EQ(action("a", {p})->name(), "a");
}

TEST_F(ModelFactoryTest, ProblemsAreInternedWithTheirOrderings) {
  const Expression l1 = ef().make_label_reference("l1");
  const Expression l2 = ef().make_label_reference("l2");
  const TypeScope::FluentMap fluent_map = {{"p", fluents[0]}};
  const auto make = [&](const ProblemInstanceImpl::LabelsOrderings& orderings) {
    return mf().make_problem_instance({}, fluent_map, {}, {}, {}, {p}, orderings);
  };
  const ProblemInstance problem = make({});
  EXPECT_EQ(make({}), problem);
  EXPECT_NE(make({{l1, l2}}), problem);
  EXPECT_EQ(problem->fluents().at("p"), fluents[0]);
  EXPECT_EQ(error_of<RedefinitionError>([&] {
              mf().make_problem_instance({{"p", action("p", {})}}, fluent_map, {}, {}, {}, {});
            }),
            "Name 'p' already defined in this scope");
}

TEST_F(ModelFactoryTest, ObjectsMayOutliveTheirEnvironment) {
  Fluent survivor;
  {
    Environment other;
    survivor = other.model_factory().make_fluent("s", other.model_factory().make_boolean_type());
  }
  EXPECT_EQ(survivor->name(), "s");
}

using DomainsTest = ProblemInstanceTest;

TEST_F(DomainsTest, ElementsComeInNumberingOrder) {
  const Domains domains(*problem);
  const std::pair<Type, std::vector<std::string>> cases[] = {
      {mf().make_boolean_type(), {"true", "false"}},
      {integer_range(-1, 1), {"-1", "0", "1"}},
      {integer_range(3, 2), {}},
      {rational_range(rational(1, 2), rational(1, 2)), {"1/2"}},
      {base, {"b1", "b2"}},
      {derived, {"d"}},
      {mf().make_user_type("Nobody"), {}},
  };
  for (const auto& [type, expected] : cases) {
    EXPECT_EQ(texts_of(domains.elements(type)), expected) << type->reference_name();
    EXPECT_EQ(domains.size(type), expected.size());
    EXPECT_EQ(error_of<InternalError>([&, t = type] { domains.element(t, domains.size(t)); }),
              "Required element is out-of-bounds!");
  }
  for (const Type& type :
       {mf().make_integer_type(), rational_range(0, 1), Type(mf().make_set_type(base))}) {
    EXPECT_EQ(error_of<InternalError>([&] { domains.size(type); }),
              "Found an undefined finite-domain type");
  }
}

TEST_F(DomainsTest, CombinationsVaryTheFirstParameterFastest) {
  const Domains domains(*problem);
  const auto combinations = [&](const std::vector<Type>& types) {
    const DomainProduct product(domains, parameters(types));
    std::vector<std::vector<std::string>> result;
    for (std::size_t i = 0; i < product.size(); ++i) {
      result.push_back(texts_of(product.combination(i)));
    }
    return result;
  };
  using Lists = std::vector<std::vector<std::string>>;
  EXPECT_EQ(combinations({base, mf().make_boolean_type()}),
            (Lists{{"b1", "true"}, {"b2", "true"}, {"b1", "false"}, {"b2", "false"}}));
  EXPECT_EQ(combinations({}), Lists{{}});
  EXPECT_EQ(combinations({base, mf().make_user_type("Nobody")}), Lists{});
  const Type wide = mf().make_integer_type(integer(0), integer(1) << 40);
  EXPECT_EQ(combinations({wide, mf().make_user_type("Nobody")}), Lists{});
  EXPECT_NE(error_of<InternalError>([&] { combinations({wide, wide}); }), "no error");
}

}  // namespace
}  // namespace kelvo::model
