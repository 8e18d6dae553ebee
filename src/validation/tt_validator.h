#pragma once

#include <memory>
#include <string>

#include "model/model_fwd.h"
#include "shell/env_object.h"
#include "transformers/transformer_chain.h"

namespace kelvo {

class TimeTriggeredPlan;

/// Decides whether time-triggered plans are solutions of a problem by simulating them. Neither
/// searches nor shares anything with the planners.
class TTValidator : public EnvObject {
 public:
  /// Compiles away what a simulation can't read: structure, uncertain durations and sets. Raises
  /// what the transformers raise.
  TTValidator(Environment& env, model::ProblemInstance problem);
  /// Whether the plan, whose actions are those of the problem given to the constructor, is valid.
  /// The reason why not stands in the log at `DEBUG`. Raises `InvalidParameterError` on what can't
  /// be brought to a constant.
  bool validate(std::shared_ptr<TimeTriggeredPlan> plan) const;
  /// As `validate`; fills `complaint` with the reason why not.
  bool validate(std::shared_ptr<TimeTriggeredPlan> plan, std::string& complaint) const;

 private:
  TransformerChain chain_;
};

}  // namespace kelvo
