#pragma once

#include <fstream>
#include <functional>
#include <iostream>
#include <string>

#include "shell/log.h"

namespace kelvo {

/// Writes into the file of the name. A file that cannot be opened gets a log line at `ERR` only.
inline void write_file(const std::string& name, const std::function<void(std::ostream&)>& write) {
  std::ofstream file(name);
  if (!file.is_open()) LOG(LogLevel::ERR) << "Output file '" << name << "' cannot be opened";
  write(file);
}

/// As `write_file`; an empty name stands for standard output.
inline void write_output(const std::string& name, const std::function<void(std::ostream&)>& write) {
  if (name.empty()) {
    write(std::cout);
  } else {
    write_file(name, write);
  }
}

}  // namespace kelvo
