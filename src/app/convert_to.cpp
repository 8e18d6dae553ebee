#include "app/convert_to.h"

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "app/output.h"
#include "app/table.h"
#include "model/problem_instance.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/transformer_chain.h"
#include "translators/ltl_encoder.h"
#include "translators/pddl_writer.h"
#include "translators/pelmo_encoder.h"
#include "translators/uppaal_encoder.h"

namespace kelvo {

namespace {

using model::ProblemInstance;

struct Target {
  const char* name;
  void (*write)(Environment&, const ProblemInstance&);
};

void write_pddl(Environment& env, const ProblemInstance& problem) {
  const PddlWriter writer(problem, "pddldomain", "pddlproblem");
  const std::string& domain_file = env.configuration().get_string_value("domain");
  const std::string& problem_file = env.configuration().get_string_value("problem");
  // Both texts first: a refusal leaves nothing behind.
  std::ostringstream domain_text;
  writer.print_domain(domain_text);
  std::ostringstream problem_text;
  writer.print_problem(problem_text);
  if (domain_file.empty() || problem_file.empty()) {
    std::cout << "Domain:\n" << domain_text.str() << "\nProblem:\n" << problem_text.str() << '\n';
    return;
  }
  write_file(domain_file, [&](std::ostream& out) { out << domain_text.str(); });
  write_file(problem_file, [&](std::ostream& out) { out << problem_text.str(); });
}

// The whole text first: a refusal leaves nothing behind.
template <typename Encoder>
std::string text_of(Environment& env, const ProblemInstance& problem) {
  std::ostringstream text;
  Encoder(env, problem).print(text);
  return text.str();
}

template <typename Encoder>
void write_encoding(Environment& env, const ProblemInstance& problem) {
  const std::string text = text_of<Encoder>(env, problem);
  write_output(env.configuration().get_string_value("output"),
               [&text](std::ostream& out) { out << text; });
}

void write_uppaal(Environment& env, const ProblemInstance& problem) {
  const UppaalEncoder encoder(env, problem);
  std::ostringstream model;
  encoder.print(model);
  write_output(env.configuration().get_string_value("model"),
               [&model](std::ostream& out) { out << model.str(); });
  write_output(env.configuration().get_string_value("query"),
               [&encoder](std::ostream& out) { encoder.print_query(out); });
}

constexpr Target targets[] = {
    {"pddl", write_pddl},
    {"ltl", write_encoding<LtlEncoder>},
    {"uppaal", write_uppaal},
    {"smv", write_encoding<PelmoEncoder>},
};

}  // namespace

std::vector<std::string> target_names() {
  return names_of(targets);
}

int convert_to(Environment& env, const ProblemInstance&, const TransformerChain& chain) {
  const std::string& name = env.configuration().get_string_value("target");
  const Target* target = find_row(targets, name);
  if (target == nullptr) {
    throw InvalidParameterError() << "The target '" << name << "' is unknown!";
  }
  target->write(env, chain.problem());
  return 0;
}

}  // namespace kelvo
