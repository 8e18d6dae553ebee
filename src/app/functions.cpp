#include "app/functions.h"

#include "app/convert_to.h"
#include "app/not_built.h"
#include "app/solve.h"
#include "app/table.h"
#include "app/trace_to_plan.h"
#include "app/transform.h"
#include "app/validate.h"
#include "shell/errors.h"

namespace kelvo {

namespace {

struct Row {
  const char* name;
  int (*run)(Environment&, const model::ProblemInstance&, const TransformerChain&);
  const char* missing = nullptr;  // what lacks when there is nothing to run
};

constexpr Row rows[] = {
    {"code-generate", nullptr, "code generator"},
    {"solve", solve},
    {"convert-to", convert_to},
    {"trace-to-plan", trace_to_plan},
    {"transform", transform},
    {"validate", validate},
    {"repl", nullptr, "REPL"},
};

}  // namespace

std::vector<std::string> function_names() {
  return names_of(rows);
}

bool is_function_built(const std::string& name) {
  const Row* row = find_row(rows, name);
  return row != nullptr && row->run != nullptr;
}

int run_function(Environment& env, const std::string& name, const model::ProblemInstance& as_read,
                 const TransformerChain& chain) {
  const Row* row = find_row(rows, name);
  if (row == nullptr) throw InvalidParameterError() << "Unknown function: " << name;
  if (row->run == nullptr) not_built(row->missing);
  return row->run(env, as_read, chain);
}

}  // namespace kelvo
