#include "app/trace_to_plan.h"

#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "app/output.h"
#include "app/table.h"
#include "plans/time_triggered_plan.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/transformer_chain.h"
#include "translators/pelmo_encoder.h"
#include "translators/uppaal_trace.h"

namespace kelvo {

namespace {

using model::ProblemInstance;

struct TraceFormat {
  const char* name;
  std::shared_ptr<TimeTriggeredPlan> (*read)(const ProblemInstance&, std::istream&,
                                             std::string& note);
};

constexpr TraceFormat trace_formats[] = {
    {"uppaal", read_uppaal_trace},
    {"smv", read_pelmo_trace},
};

}  // namespace

std::vector<std::string> trace_format_names() {
  return names_of(trace_formats);
}

int trace_to_plan(Environment& env, const ProblemInstance&, const TransformerChain& chain) {
  const std::string& name = env.configuration().get_string_value("input-format");
  const std::string& trace_name = env.configuration().get_string_value("trace");
  if (trace_name.empty()) throw InvalidParameterError("No trace file provided!");
  std::ifstream trace(trace_name);
  if (!trace.is_open()) throw InvalidParameterError("The trace file does not exist!");
  const TraceFormat* format = find_row(trace_formats, name);
  if (format == nullptr) {
    throw InvalidParameterError() << "The trace format '" << name << "' is unknown!";
  }
  std::string note;
  const std::shared_ptr<TimeTriggeredPlan> plan = format->read(chain.problem(), trace, note);
  // A trace tells exact times: they are not rounded for print.
  write_output(env.configuration().get_string_value("output"), [&plan](std::ostream& out) {
    plan->is_changed_by_rounding() ? plan->print_exactly(out) : plan->print(out);
  });
  if (!note.empty()) std::cerr << "Note: " << note << ".\n";
  return 0;
}

}  // namespace kelvo
