#include "app/plan_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "plans/plan_reader.h"
#include "plans/pot_plan.h"
#include "shell/environment.h"
#include "transformers/flattener.h"
#include "transformers/transformer_chain.h"

namespace kelvo {
namespace {

using testing::HasSubstr;

constexpr const char* kLifts =
    "type Place; instance Place hall, roof;"
    "type Lift with { fluent Place at; action move(Place a, Place b) { duration := 4;"
    "[start] at == a; [end] at := b; }; };"
    "instance Lift l; [start] l.at := hall; goal [end] l.at == hall;";

class PlanCheckTest : public testing::Test {
 protected:
  PlanCheckTest() {
    std::istringstream source(kLifts);
    problem_ = AnmlParser(env_).parse(source);
    chain_ = std::make_unique<TransformerChain>(problem_);
    chain_->apply<Flattener>();
  }

  std::shared_ptr<Plan> flat_plan(const std::string& text) {
    std::istringstream source(text);
    return PlanReader(env_, chain_->problem()).read(source).plan;
  }

  Environment env_;
  model::ProblemInstance problem_;
  std::unique_ptr<TransformerChain> chain_;
};

constexpr const char* kThereAndBack =
    "0: _Lift_move(l, hall, roof) [4]\n5: _Lift_move(l, roof, hall) [4]\n";

TEST_F(PlanCheckTest, JudgesPlansOnTheProblemAsItWasRead) {
  PlanCheck check(env_, problem_, *chain_);
  EXPECT_TRUE(check.passes(flat_plan(kThereAndBack)));
  std::ostringstream confirmed;
  check.confirmed()->print(confirmed);
  EXPECT_EQ(confirmed.str(), "0: l.move(hall, roof) [4]\n5: l.move(roof, hall) [4]\n");
  std::ostringstream report;
  check.explain_first_refusal(report);
  EXPECT_EQ(report.str(), "");
}

TEST_F(PlanCheckTest, JudgesTheScheduleOfAPartialOrderPlan) {
  PlanCheck check(env_, problem_, *chain_);
  // The start times become delays, which hold the schedule.
  EXPECT_TRUE(check.passes(std::make_shared<POTPlan>(flat_plan(kThereAndBack))));
  EXPECT_FALSE(
      check.passes(std::make_shared<POTPlan>(flat_plan("0: _Lift_move(l, hall, roof) [4]\n"))));
}

TEST_F(PlanCheckTest, TellsThatAllPlansWereRefusedAndWhyTheFirst) {
  PlanCheck check(env_, problem_, *chain_);
  EXPECT_FALSE(check.passes(flat_plan("0: _Lift_move(l, roof, hall) [4]\n")));
  EXPECT_FALSE(check.passes(flat_plan("0: _Lift_move(l, hall, roof) [5]\n")));
  EXPECT_EQ(check.confirmed(), nullptr);
  std::ostringstream report;
  check.explain_first_refusal(report);
  EXPECT_EQ(check.num_refused(), 2u);
  EXPECT_THAT(report.str(), HasSubstr("Why: the condition does not hold, at time 0.\n"
                                      "  Step: 0: l.move(roof, hall) [4]\n"));
  EXPECT_THAT(report.str(), HasSubstr("l.at is hall"));
}

}  // namespace
}  // namespace kelvo
