#include "transformers/transformer_chain.h"

#include "tests/unit/transformers/transformer_fixture.h"
#include "transformers/empty_conditions_compiler.h"
#include "transformers/flattener.h"
#include "transformers/grounder.h"

namespace kelvo {
namespace {

const char* const ROBOTS =
    "type Robot with { fluent integer[0, 9] load; action put(integer[0, 3] k)"
    " { duration :in [1, 2]; [end] load := k; }; }; instance Robot r, s;"
    "[start] r.load := 0; [start] s.load := 0; goal r.load == 3;";

class TransformerChainTest : public TransformerFixture {};

TEST_F(TransformerChainTest, PlansAndStepsGoThroughAllTransformersBothWays) {
  const std::string free_duration =
      "type Robot with { fluent integer[0, 9] load; action put(integer[0, 3] k)"
      " { duration >= 1; duration <= 2; [end] load := k; }; }; instance Robot r, s;"
      "[start] r.load := 0; [start] s.load := 0; goal [end] r.load == 3;";
  const model::ProblemInstance input = parse(free_duration);
  TransformerChain chain(input);
  chain.apply_if<Flattener>(!chain.problem()->is_flat());
  chain.apply_if<Flattener>(!chain.problem()->is_flat());  // is flat already
  chain.apply([](const model::ProblemInstance& p) { return std::make_shared<Grounder>(p); });
  chain.apply<EmptyConditionsCompiler>();
  ASSERT_EQ(chain.transformers().size(), 3u);

  const std::string plan_text = "1: r.put(3) [3/2]\n1: s.put(0) [1]\n";
  const auto forward = chain.map_forward(parse_plan(input, plan_text));
  ASSERT_NE(forward, nullptr);
  const auto& steps = forward->plan().at(1);
  ASSERT_EQ(steps.size(), 2u);
  for (const auto& step : steps) {
    EXPECT_EQ(chain.problem()->actions().at(step->action()->name()), step->action());
    EXPECT_TRUE(step->actual_parameters().empty());
  }
  EXPECT_EQ(text(*chain.map_back(forward)), text(*parse_plan(input, plan_text)));

  const auto& put = input->user_types().at("Robot")->actions().at("put");
  const BasicTransformer::Step step{
      input->instances().at("r"), put, {ef().make_integer_constant(3)}};
  const auto images = chain.map_forward(step);
  ASSERT_FALSE(images.empty());
  for (const auto& [image, demands] : images) {
    EXPECT_FALSE(demands.empty());
    EXPECT_EQ(chain.map_back(image), step);
  }
}

TEST_F(TransformerChainTest, AStepThatWasPrunedHasNoImage) {
  const model::ProblemInstance input = parse(
      "constant integer limit; limit := 2; fluent integer[0, 9] x; [start] x := 0;"
      "action put(integer[0, 3] k) { duration := 1; [start] k <= limit; [end] x := k; };");
  TransformerChain chain(input);
  chain.apply<Grounder>();
  EXPECT_NE(chain.map_forward(parse_plan(input, "1: put(2) [1]\n")), nullptr);
  EXPECT_EQ(chain.map_forward(parse_plan(input, "1: put(2) [1]\n2: put(3) [1]\n")), nullptr);
}

TEST_F(TransformerChainTest, ARefusalLeavesTheChainAsItWas) {
  const model::ProblemInstance input = parse(ROBOTS);
  TransformerChain chain(input);
  EXPECT_THROW(chain.apply<Grounder>(), InternalError);
  EXPECT_EQ(chain.problem(), input);
  EXPECT_TRUE(chain.transformers().empty());
}

}  // namespace
}  // namespace kelvo
