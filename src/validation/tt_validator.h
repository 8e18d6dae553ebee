#pragma once

#include <memory>
#include <vector>

#include "model/model_fwd.h"
#include "shell/env_object.h"

namespace kelvo {

class BasicTransformer;
class TimeTriggeredPlan;

/// Decides whether time-triggered plans are solutions of a problem by simulating them. Neither
/// searches nor shares anything with the planners.
class TTValidator : public EnvObject {
 public:
  /// Compiles away what a simulation can't read: structure, uncertain durations and sets. Raises
  /// what the transformers raise.
  TTValidator(Environment& env, model::ProblemInstance problem);
  ~TTValidator() override;

  /// Whether the plan, whose actions are those of the problem given to the constructor, is valid.
  /// The reason why not stands in the log at `DEBUG`. Raises `InvalidParameterError` on what can't
  /// be brought to a constant.
  bool validate(std::shared_ptr<TimeTriggeredPlan> plan) const;

 private:
  void apply(std::shared_ptr<BasicTransformer> transformer);
  std::shared_ptr<TimeTriggeredPlan> map_forward(std::shared_ptr<TimeTriggeredPlan> plan) const;

  model::ProblemInstance problem_;
  std::vector<std::shared_ptr<BasicTransformer>> transformers_;  // in application order
};

}  // namespace kelvo
