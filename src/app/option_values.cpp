#include "app/option_values.h"

#include "app/convert_to.h"
#include "app/functions.h"
#include "app/planner_factory.h"
#include "app/trace_to_plan.h"
#include "app/transformer_factory.h"
#include "planners/ftp/ftp_options.h"
#include "planners/ftp/relaxation/heuristic_table.h"
#include "planners/heuristics/heuristic_names.h"

namespace kelvo {

OptionValues option_values() {
  return {{"algorithm", planner_names()},           {"ftp-heuristic", ftp::heuristic_names()},
          {"ftp-search", ftp::search_names()},      {"function", function_names()},
          {"input-format", trace_format_names()},   {"target", target_names()},
          {"tsimple-heuristic", heuristic_names()}, {"transformer", transformer_names()}};
}

}  // namespace kelvo
