#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace kelvo {

class Environment;

/// One run over the files read end to end, or over standard input when there are none. Returns the
/// exit status: 0, but 1 for a plan that is not valid by the strict judge; what fails is thrown.
int run_with_input_files(Environment& env, const std::vector<std::string>& input_files);

/// Reads one problem, pushes it through the transformers of the command line, and does the one
/// thing that the option `function` names. Returns the exit status.
int process_problem(Environment& env, std::istream& source);

}  // namespace kelvo
