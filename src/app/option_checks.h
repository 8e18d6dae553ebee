#pragma once

#include <iosfwd>
#include <string>

namespace kelvo {

class Configuration;

/// Writes a line for each number of the command line that is outside the range of its option.
/// Returns whether there is none.
bool check_option_numbers(const Configuration& configuration, std::ostream& errors);

/// Writes a line for each option of the command line that what was chosen by the others does not
/// read.
void tell_options_without_effect(const Configuration& configuration, std::ostream& errors);

/// Whether the checks know what a row of the option table names as the option's reader: a planner,
/// or another part of a run.
bool is_reader_known(const std::string& reader);

}  // namespace kelvo
