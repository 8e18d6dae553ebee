#include "solver/base/logger.h"

#include <algorithm>
#include <cstdio>

namespace ordax {

Logger::Logger(int verbosity, std::string_view sections) : verbosity_(verbosity) {
  while (!sections.empty()) {
    const std::size_t comma = std::min(sections.find(','), sections.size());
    const std::string_view name = sections.substr(0, comma);
    sections.remove_prefix(std::min(comma + 1, sections.size()));
    if (name == "ALL") {
      sections_.clear();
      return;
    }
    if (!name.empty()) sections_.emplace_back(name);
  }
}

void Logger::log(int level, std::string_view section, std::string_view text) {
  if (!enabled(level, section)) return;
  std::fprintf(stderr, "[%.*s] %.*s\n", static_cast<int>(section.size()), section.data(),
               static_cast<int>(text.size()), text.data());
}

void Logger::flush() {
  std::fflush(stderr);
}

bool Logger::section_enabled(std::string_view section) const {
  return sections_.empty() ||
         std::find(sections_.begin(), sections_.end(), section) != sections_.end();
}

}  // namespace ordax
