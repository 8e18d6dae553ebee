#pragma once

#include "shell/option_table.h"

namespace kelvo {

/// The names that stand in the tables of planners, transformers, targets and trace formats, by the
/// option that chooses among them, in the order of the usage text.
OptionValues option_values();

}  // namespace kelvo
