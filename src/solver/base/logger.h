#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ordax {

/// Prints progress on standard error. A message belongs to a section and has a level; it appears
/// when the level is within the verbosity and its section is enabled. An empty list of sections
/// and "ALL" enable every section.
class Logger {
 public:
  Logger(int verbosity, std::string_view sections);

  int verbosity() const { return verbosity_; }

  /// Test this before a text is put together: at verbosity 0 it is one comparison.
  bool enabled(int level, std::string_view section) const {
    return level <= verbosity_ && section_enabled(section);
  }

  /// Writes the line if it is enabled.
  void log(int level, std::string_view section, std::string_view text);

  void flush();

 private:
  bool section_enabled(std::string_view section) const;

  int verbosity_;
  std::vector<std::string> sections_;  // empty: all
};

}  // namespace ordax
