#pragma once

#include <iosfwd>

namespace kelvo {

class Configuration;

/// Writes a line for each number of the command line that is outside the range of its option.
/// Returns whether there is none.
bool check_option_numbers(const Configuration& configuration, std::ostream& errors);

/// Writes a line for each option of the command line that what was chosen by the others does not
/// read.
void tell_options_without_effect(const Configuration& configuration, std::ostream& errors);

/// Raises the error of what the options ask of `solve` and no planner of this program does.
void refuse_what_is_not_built(const Configuration& configuration);

}  // namespace kelvo
