#include "transformers/basic_transformer.h"

#include "model/problem_instance.h"

namespace kelvo {

BasicTransformer::BasicTransformer(const model::ProblemInstance& input_problem)
    : input_problem_(input_problem) {}

BasicTransformer::~BasicTransformer() = default;

const model::ProblemInstance& BasicTransformer::output_problem() {
  if (output_problem_ == nullptr) do_computation();
  return output_problem_;
}

Environment& BasicTransformer::environment() const {
  return static_cast<const model::TypeScope&>(*input_problem_).environment();
}

}  // namespace kelvo
