#pragma once

#include <string>
#include <vector>

namespace kelvo::ftp {

/// The searches of the planner, in the order of the usage text.
std::vector<std::string> search_names();

}  // namespace kelvo::ftp
