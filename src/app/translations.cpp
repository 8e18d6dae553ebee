#include "app/translations.h"

#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "app/output.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "translators/ltl_encoder.h"
#include "translators/pddl_writer.h"
#include "translators/pelmo_encoder.h"
#include "translators/uppaal_encoder.h"
#include "translators/uppaal_trace.h"

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

struct TraceFormat {
  const char* name;
  std::shared_ptr<TimeTriggeredPlan> (*read)(const ProblemInstance&, std::istream&);
};

constexpr TraceFormat trace_formats[] = {
    {"uppaal", read_uppaal_trace},
    {"smv", read_pelmo_trace},
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
    const std::shared_ptr<TimeTriggeredPlan> plan = format.read(problem, trace);
    return write_output(env.configuration().get_string_value("output"),
                        [&plan](std::ostream& out) { plan->print(out); });
  }
  throw InvalidParameterError() << "The trace format '" << name << "' is unknown!";
}

}  // namespace kelvo
