#include "app/option_values.h"

#include "app/planner_factory.h"
#include "app/transformer_factory.h"
#include "app/translations.h"

namespace kelvo {

OptionValues option_values() {
  return {{"algorithm", planner_names()},
          {"input-format", trace_format_names()},
          {"target", target_names()},
          {"transformer", transformer_names()}};
}

}  // namespace kelvo
