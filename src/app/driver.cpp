#include "app/driver.h"

#include <ios>
#include <iostream>

#include "app/functions.h"
#include "app/output.h"
#include "app/transformer_factory.h"
#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "parsers/pddl/pddl_parser.h"
#include "shell/concat_stream.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "transformers/transformer_chain.h"

namespace kelvo {

namespace {

using model::ProblemInstance;

ProblemInstance read_problem(Environment& env, std::istream& source) {
  if (env.configuration().get_boolean_value("pddl")) return PddlParser(env).parse(source);
  return AnmlParser(env).parse(source);
}

/// Applies the transformers of the command line, each to completion before the next is made.
TransformerChain apply_transformers(Environment& env, const ProblemInstance& problem) {
  TransformerChain chain(problem);
  for (const std::string& name : env.configuration().get_vector_string_value("transformer")) {
    chain.apply([&](const ProblemInstance& input) { return make_transformer(env, name, input); });
  }
  return chain;
}

int run_with_files(Environment& env, const std::vector<std::string>& input_files) {
  ConcatIfStream files(input_files);
  files.stream().unsetf(std::ios_base::skipws);
  return process_problem(env, files.stream());
}

int run_with_standard_input(Environment& env) {
  std::cin.exceptions(std::ios_base::badbit);
  try {
    return process_problem(env, std::cin);
  } catch (const std::ios_base::failure& error) {
    throw InvalidParameterError() << "Standard input cannot be read: " << error.code().message();
  }
}

}  // namespace

int run_with_input_files(Environment& env, const std::vector<std::string>& input_files) {
  check_outputs(env.configuration(), input_files);
  const int status =
      input_files.empty() ? run_with_standard_input(env) : run_with_files(env, input_files);
  LOG(LogLevel::DEBUG) << "KELVO Quitting!";
  return status;
}

int process_problem(Environment& env, std::istream& source) {
  const Configuration& configuration = env.configuration();
  const ProblemInstance as_read = read_problem(env, source);
  const TransformerChain chain = apply_transformers(env, as_read);
  if (configuration.get_boolean_value("showproblem")) std::cout << *chain.problem() << '\n';
  return run_function(env, configuration.get_string_value("function"), as_read, chain);
}

}  // namespace kelvo
