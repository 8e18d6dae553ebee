#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace kelvo {

class Configuration;

/// Writes into the file of the name. One that cannot be opened or written is an
/// `InvalidParameterError`, and what a failed write has left of it is removed.
void write_file(const std::string& name, const std::function<void(std::ostream&)>& write);

/// As `write_file`; an empty name stands for standard output.
void write_output(const std::string& name, const std::function<void(std::ostream&)>& write);

/// Refuses, by an `InvalidParameterError`, a command line whose outputs would overwrite one of its
/// inputs, or each other, under whatever name. Without input files standard input is one.
void check_outputs(const Configuration& configuration, const std::vector<std::string>& input_files);

/// Takes the numbers of standard streams that the caller closed, so that no file that is opened
/// later passes for one of them. Using such a stream is still an error.
void occupy_closed_standard_streams();

/// Flushes standard output. Returns false, with a line on standard error, if any of what was
/// written to it is lost.
bool finish_standard_output();

}  // namespace kelvo
