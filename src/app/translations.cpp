#include "app/translations.h"

#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "app/not_built.h"
#include "app/output.h"
#include "model/problem_instance.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "translators/pddl_writer.h"

namespace kelvo {

namespace {

using model::ProblemInstance;

struct Target {
  const char* name;
  void (*write)(Environment&, const ProblemInstance&);  // null: not built
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

constexpr Target targets[] = {
    {"pddl", write_pddl},
    {"ltl", nullptr},
    {"uppaal", nullptr},
    {"smv", nullptr},
};

struct TraceFormat {
  const char* name;
  void (*read)(Environment&, const ProblemInstance&, std::istream&);  // null: not built
};

constexpr TraceFormat trace_formats[] = {
    {"uppaal", nullptr},
    {"smv", nullptr},
};

}  // namespace

std::vector<std::string> target_names() {
  std::vector<std::string> names;
  for (const auto& row : targets) names.emplace_back(row.name);
  return names;
}

std::vector<std::string> trace_format_names() {
  std::vector<std::string> names;
  for (const auto& row : trace_formats) names.emplace_back(row.name);
  return names;
}

void convert(Environment& env, const ProblemInstance& problem) {
  const std::string& name = env.configuration().get_string_value("target");
  for (const Target& target : targets) {
    if (name != target.name) continue;
    if (target.write == nullptr) not_built("writer for '" + name + "'");
    return target.write(env, problem);
  }
  throw InvalidParameterError() << "The target '" << name << "' is unknown!";
}

void convert_trace(Environment& env, const ProblemInstance& problem) {
  const std::string& name = env.configuration().get_string_value("input-format");
  const std::string& trace_name = env.configuration().get_string_value("trace");
  if (trace_name.empty()) throw InvalidParameterError("No trace file provided!");
  std::ifstream trace(trace_name);
  if (!trace.is_open()) throw InvalidParameterError("The trace file does not exist!");
  for (const TraceFormat& format : trace_formats) {
    if (name != format.name) continue;
    if (format.read == nullptr) not_built("reader of '" + name + "' traces");
    return format.read(env, problem, trace);
  }
  throw InvalidParameterError() << "The trace format '" << name << "' is unknown!";
}

}  // namespace kelvo
