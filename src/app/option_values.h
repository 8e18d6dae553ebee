#pragma once

#include "shell/option_table.h"

namespace kelvo {

/// The names that stand in the tables of the program, by the option that chooses among them, in the
/// order of the usage text. The option `function` is the first word of the command line.
OptionValues option_values();

}  // namespace kelvo
