#pragma once

#include <memory>
#include <tuple>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"

namespace kelvo {

class Environment;
class Plan;
class TimeTriggeredPlan;

/// Turns one problem into an equivalent or more restricted one, and keeps what it takes to carry
/// plans of its output back to its input.
///
/// The work is done on the first `output_problem()`, so that a refusal surfaces there. A
/// transformer must live as long as a plan may still come back through it.
class BasicTransformer {
 public:
  /// One step: the executing instance (null for none), the action and its actual parameters.
  using Step = std::tuple<model::Instance, model::Action, std::vector<model::Expression>>;
  /// A step of the output problem with what must hold for the duration of a step for this one to
  /// be its image: a boolean expression over the `duration` anchor, or null for no demand.
  using ForwardStep =
      std::tuple<model::Instance, model::Action, std::vector<model::Expression>, model::Expression>;

  explicit BasicTransformer(const model::ProblemInstance& input_problem);
  BasicTransformer(const BasicTransformer&) = delete;
  BasicTransformer& operator=(const BasicTransformer&) = delete;
  virtual ~BasicTransformer();

  /// The plan of the input problem that a plan of the output problem stands for. The given plan
  /// stays as it is. Throws `InternalError` on an unknown kind of plan and on an action that is
  /// none of the output's.
  virtual std::shared_ptr<Plan> map_back(const std::shared_ptr<Plan>& plan) const = 0;
  /// The same for one step. Throws `InternalError` where steps can't be carried one by one, as all
  /// transformers do that don't say otherwise.
  virtual Step map_back(const model::Instance& object, const model::Action& action,
                        const std::vector<model::Expression>& parameters) const;
  /// All steps of the output problem that may stand for a step of the input problem. Throws as
  /// `map_back` of one step.
  virtual std::vector<ForwardStep> map_forward(
      const model::Instance& object, const model::Action& action,
      const std::vector<model::Expression>& parameters) const;
  /// The plan of the output problem that a plan of the input problem becomes: unless a transformer
  /// says otherwise, each step becomes the first of its images whose demand on the duration holds.
  /// Null if some step has none, because its action can never be executed with its parameters; the
  /// log says which at `DEBUG`.
  virtual std::shared_ptr<TimeTriggeredPlan> map_forward(
      const std::shared_ptr<TimeTriggeredPlan>& plan) const;
  /// The plans that the output has when it does not have all plans of the input, as "that the
  /// ... keeps"; else empty. Then an output without a plan proves nothing of the input, and a plan
  /// of the output may be none of the input. Asked once the output is there.
  virtual std::string kept_plans() const { return {}; }

  /// Whether any plan of the input problem that a user writes can be carried forward.
  virtual bool carries_all_plans_forward() const { return false; }

  const model::ProblemInstance& input_problem() const { return input_problem_; }
  /// Computes the output on the first call.
  const model::ProblemInstance& output_problem();

 protected:
  /// Makes `output_problem_` and fills all that mapping needs.
  virtual void do_computation() = 0;

  /// False for a step that has no image because the transformer has left its action out.
  virtual bool has_image(const model::Action& action,
                         const std::vector<model::Expression>& parameters) const;
  /// What the refusal of single steps says.
  virtual const char* step_refusal() const { return "Not supported!"; }

  Environment& environment() const;

  model::ProblemInstance output_problem_;

 private:
  model::ProblemInstance input_problem_;
};

}  // namespace kelvo
