#include "app/transform.h"

#include <ostream>
#include <string>

#include "app/output.h"
#include "model/problem_instance.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "transformers/transformer_chain.h"

namespace kelvo {

int transform(Environment& env, const model::ProblemInstance&, const TransformerChain& chain) {
  const Configuration& configuration = env.configuration();
  const std::string& output = configuration.get_string_value("output");
  // With `showproblem` it is on standard output already.
  if (output.empty() && configuration.get_boolean_value("showproblem")) return 0;
  write_output(output, [&chain](std::ostream& out) { out << *chain.problem() << '\n'; });
  return 0;
}

}  // namespace kelvo
