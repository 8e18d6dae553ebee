#pragma once

#include <iosfwd>
#include <memory>
#include <optional>

#include "model/model_fwd.h"
#include "shell/env_object.h"
#include "validation/strict_verdict.h"

namespace kelvo {

class Plan;
class StrictJudge;
class TransformerChain;

/// Has the strict judge confirm what a planner found, on the problem as it was read.
class PlanCheck : public EnvObject {
 public:
  /// `chain` leads from the problem as it was read to the one that the planner is asked; borrowed.
  PlanCheck(Environment& env, model::ProblemInstance problem, const TransformerChain& chain);
  ~PlanCheck() override;

  /// Whether a plan of the chain's output is one of the problem. Of a partial-order plan its
  /// schedule is judged.
  bool passes(const std::shared_ptr<Plan>& plan);
  /// The last plan that passed, as one of the problem.
  const std::shared_ptr<Plan>& confirmed() const { return confirmed_; }

  /// Whether a plan of the problem as it was read is valid.
  bool is_valid(const TimeTriggeredPlan& plan);

  /// How many plans did not pass.
  std::size_t num_refused() const { return num_refused_; }
  /// Says why the first that did not pass did not, if there is one.
  void explain_first_refusal(std::ostream& os) const;

 private:
  StrictJudge& judge();
  bool judge_plan(const std::shared_ptr<Plan>& plan);

  model::ProblemInstance problem_;
  const TransformerChain& chain_;
  std::unique_ptr<StrictJudge> judge_;
  std::shared_ptr<Plan> confirmed_;
  std::size_t num_refused_ = 0;
  std::optional<StrictFault> first_fault_;
};

}  // namespace kelvo
