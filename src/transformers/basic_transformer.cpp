#include "transformers/basic_transformer.h"

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/expression_substituter.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "transformers/duration_constraint.h"

namespace kelvo {

using model::Expression;

BasicTransformer::BasicTransformer(const model::ProblemInstance& input_problem)
    : input_problem_(input_problem) {}

BasicTransformer::~BasicTransformer() = default;

const model::ProblemInstance& BasicTransformer::output_problem() {
  if (output_problem_ == nullptr) do_computation();
  return output_problem_;
}

BasicTransformer::Step BasicTransformer::map_back(const model::Instance&, const model::Action&,
                                                  const std::vector<Expression>&) const {
  throw InternalError(step_refusal());
}

std::vector<BasicTransformer::ForwardStep> BasicTransformer::map_forward(
    const model::Instance&, const model::Action&, const std::vector<Expression>&) const {
  throw InternalError(step_refusal());
}

bool BasicTransformer::has_image(const model::Action&, const std::vector<Expression>&) const {
  return true;
}

std::shared_ptr<TimeTriggeredPlan> BasicTransformer::map_forward(
    const std::shared_ptr<TimeTriggeredPlan>& plan) const {
  // Null if there is none.
  const auto image_of = [this](const TimeTriggeredStep& step) {
    std::shared_ptr<TimeTriggeredStep> image;
    if (!has_image(step.action(), step.actual_parameters())) return image;
    for (const auto& [object, action, parameters, demand] :
         map_forward(step.object(), step.action(), step.actual_parameters())) {
      if (!admits_duration(environment(), demand, step.duration())) continue;
      image = std::make_shared<TimeTriggeredStep>(step.start_time(), action, parameters,
                                                  step.optional_duration(), step.post_condition(),
                                                  object);
      break;
    }
    return image;
  };
  auto result = std::make_shared<TimeTriggeredPlan>(plan->environment());
  for (const auto& [time, steps] : plan->plan()) {
    for (const std::shared_ptr<TimeTriggeredStep>& step : steps) {
      auto image = image_of(*step);
      if (image == nullptr) {
        LOG(LogLevel::DEBUG) << "The step of action " << step->action()->name() << " at time "
                             << time << " can never be executed!";
        return nullptr;
      }
      result->add_step(std::move(image));
    }
  }
  return result;
}

Environment& BasicTransformer::environment() const {
  return static_cast<const model::TypeScope&>(*input_problem_).environment();
}

}  // namespace kelvo
