#pragma once

#include <map>
#include <string>
#include <vector>

namespace kelvo {

class Configuration;

/// By option: the values that it may have. What an option chooses among, as planners, is listed in
/// the table of those things alone, which whoever builds the program hands in here.
using OptionValues = std::map<std::string, std::vector<std::string>>;

/// Registers every option of the program, in the order of the usage text, after the functions,
/// which are the values of `function`. An option that chooses by name and is not among `values`
/// takes any text.
void register_options(Configuration& configuration, const OptionValues& values);

/// An option and one of the functions that have it: "generic" for all, empty for none.
struct OptionName {
  std::string name;
  std::string group;
  /// What part of such a run reads it, or empty when each does.
  std::string reader;
};

/// The rows of the option table.
std::vector<OptionName> option_names();

}  // namespace kelvo
