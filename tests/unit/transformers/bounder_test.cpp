#include "transformers/bounder.h"

#include "tests/unit/plans/plan_fixture.h"
#include "tests/unit/transformers/transformer_fixture.h"

namespace kelvo {
namespace {

using model::Expression;

class BounderTest : public TransformerFixture {
 protected:
  const std::string types =
      "type R; type L; fluent boolean at(R r, L l); fluent L home(R r);"
      "action go(R r, L l, integer n) { [end] at(r, l) := true; };";
};

TEST_F(BounderTest, MissingInstancesExistButAreSwitchedOff) {
  const auto input = parse(types + "instance R r1; instance L l1;");
  Bounder bounder(input, parse(types + "instance R r1, r2; instance L l1;"));
  const auto& output = bounder.output_problem();
  EXPECT_EQ(names(output->instances()), (Lines{"l1", "r1", "r2"}));
  const auto active = output->constants().at("_is_active_R")->value();
  EXPECT_EQ(active->assignment({instance(output, "r1")}), ef().make_true());
  EXPECT_EQ(active->assignment({instance(output, "r2")}), ef().make_false());
  const Lines go = statements(output, "go");
  for (const char* expected :
       {"[start] _is_active_R(r)", "[start] _is_active_L(l)", "[end] (at(r, l) := true)"}) {
    EXPECT_EQ(std::count(go.begin(), go.end(), expected), 1) << expected;
  }
  EXPECT_EQ(go.size(), 3u);
  EXPECT_EQ(texts(output->expressions()),
            (Lines{"[start] (at(r2, l1) := false)", "[start] (home(r2) := l1)"}));

  const Expression at = ef().make_fluent_reference(output->fluents().at("at"));
  const Expression l1 = instance(output, "l1");
  const Expression real = ef().make_functional_apply(at, {instance(output, "r1"), l1});
  const Expression padded = ef().make_functional_apply(at, {instance(output, "r2"), l1});
  const Expression real_value = ef().make_equals(real, ef().make_true());
  const Expression padded_value = ef().make_equals(padded, ef().make_false());
  auto plan = std::make_shared<POTPlan>(env);
  plan->add_step(rational(0), output->actions().at("go"), {}, rational(1),
                 ef().make_and(padded_value, real_value));
  const auto back =
      std::dynamic_pointer_cast<POTPlan>(bounder.map_back(std::shared_ptr<Plan>(plan)));
  EXPECT_EQ((*back->steps().begin())->action(), input->actions().at("go"));
  EXPECT_EQ(text((*back->steps().begin())->post_condition()), "((at(r1, l1) == true))");
}

TEST_F(BounderTest, AnEqualUniverseAddsNoAssignment) {
  const auto input = parse(types + "instance R r1; instance L l1;");
  Bounder bounder(input, input);
  EXPECT_TRUE(bounder.output_problem()->expressions().empty());
  expect_internal_error([&] { bounder.map_forward(nullptr, nullptr, {}); }, "Not supported!");
}

TEST_F(BounderTest, WhatTheUniverseLacksIsWarnedAbout) {
  const CapturedLog log(LogLevel::WARN);
  Bounder bounder(parse(types + "instance R r1, r9; instance L l1;"),
                  parse(types + "instance R r1, r2;"));
  EXPECT_EQ(names(bounder.output_problem()->instances()), (Lines{"r1", "r2"}));
  // There is no place to be the home of r2.
  EXPECT_TRUE(bounder.output_problem()->expressions().empty());
  for (const char* expected :
       {"Instance 'l1' of the problem is not in the bounding problem and is left out",
        "Instance 'r9' of the problem is not in the bounding problem and is left out",
        "The bounding problem has no instance of type 'L'", "No instance to initialise home(r2)"}) {
    EXPECT_NE(log.text().find(expected), std::string::npos) << expected;
  }
}

}  // namespace
}  // namespace kelvo
