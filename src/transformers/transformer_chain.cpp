#include "transformers/transformer_chain.h"

#include <utility>

namespace kelvo {

TransformerChain::TransformerChain(model::ProblemInstance input_problem)
    : problem_(std::move(input_problem)) {}

void TransformerChain::apply(const Maker& maker) {
  std::shared_ptr<BasicTransformer> transformer = maker(problem_);
  problem_ = transformer->output_problem();
  transformers_.push_back(std::move(transformer));
}

std::shared_ptr<Plan> TransformerChain::map_back(std::shared_ptr<Plan> plan) const {
  for (auto transformer = transformers_.rbegin(); transformer != transformers_.rend();
       ++transformer) {
    plan = (*transformer)->map_back(plan);
  }
  return plan;
}

BasicTransformer::Step TransformerChain::map_back(BasicTransformer::Step step) const {
  for (auto transformer = transformers_.rbegin(); transformer != transformers_.rend();
       ++transformer) {
    const auto [object, action, parameters] = std::move(step);
    step = (*transformer)->map_back(object, action, parameters);
  }
  return step;
}

std::shared_ptr<TimeTriggeredPlan> TransformerChain::map_forward(
    std::shared_ptr<TimeTriggeredPlan> plan) const {
  for (const std::shared_ptr<BasicTransformer>& transformer : transformers_) {
    plan = transformer->map_forward(plan);
    if (plan == nullptr) return nullptr;
  }
  return plan;
}

std::vector<TransformerChain::ForwardStep> TransformerChain::map_forward(
    const BasicTransformer::Step& step) const {
  std::vector<ForwardStep> current{{step, {}}};
  for (const std::shared_ptr<BasicTransformer>& transformer : transformers_) {
    std::vector<ForwardStep> next;
    for (const ForwardStep& from : current) {
      const auto& [object, action, parameters] = from.step;
      for (const auto& [new_object, new_action, new_parameters, demand] :
           transformer->map_forward(object, action, parameters)) {
        ForwardStep& image = next.emplace_back();
        image.step = {new_object, new_action, new_parameters};
        image.demands = from.demands;
        if (demand != nullptr) image.demands.push_back(demand);
      }
    }
    current = std::move(next);
  }
  return current;
}

}  // namespace kelvo
