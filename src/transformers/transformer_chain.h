#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "model/expression.h"
#include "model/model_fwd.h"
#include "transformers/basic_transformer.h"

namespace kelvo {

/// Transformers one after another, each made on the output of the one before and run to completion
/// before the next is made. Whoever may still carry a plan through it keeps it alive.
class TransformerChain {
 public:
  using Maker =
      std::function<std::shared_ptr<BasicTransformer>(const model::ProblemInstance& problem)>;

  explicit TransformerChain(model::ProblemInstance input_problem);

  /// Raises what the transformer raises; then the chain is as it was.
  void apply(const Maker& maker);
  void apply_if(bool is_needed, const Maker& maker) {
    if (is_needed) apply(maker);
  }
  /// For a transformer whose constructor takes the problem alone.
  template <typename T>
  void apply() {
    apply([](const model::ProblemInstance& problem) { return std::make_shared<T>(problem); });
  }
  template <typename T>
  void apply_if(bool is_needed) {
    if (is_needed) apply<T>();
  }

  /// The output of the last transformer.
  const model::ProblemInstance& problem() const { return problem_; }
  const std::vector<std::shared_ptr<BasicTransformer>>& transformers() const {
    return transformers_;
  }

  /// From the output of the chain to its input, and the other way round. The forward form of plans
  /// is null for a plan with a step that can never be executed; the plan is null in neither.
  std::shared_ptr<Plan> map_back(std::shared_ptr<Plan> plan) const;
  BasicTransformer::Step map_back(BasicTransformer::Step step) const;
  std::shared_ptr<TimeTriggeredPlan> map_forward(std::shared_ptr<TimeTriggeredPlan> plan) const;
  /// All steps of the output that may stand for a step of the input, each with the demands that the
  /// transformers make on its duration.
  struct ForwardStep {
    BasicTransformer::Step step;
    std::vector<model::Expression> demands;
  };
  std::vector<ForwardStep> map_forward(const BasicTransformer::Step& step) const;

 private:
  model::ProblemInstance problem_;
  std::vector<std::shared_ptr<BasicTransformer>> transformers_;  // in the order of application
};

}  // namespace kelvo
