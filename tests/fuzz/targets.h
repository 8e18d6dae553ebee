#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kelvo::fuzz {

/// Something that takes any bytes at all and must neither crash nor hang nor leak. That it refuses
/// them by an exception, which `main` would report, is as it should be.
struct Target {
  const char* name;
  void (*run)(std::string_view input);
  /// Words worth trying.
  std::vector<std::string> words;
};

const std::vector<Target>& targets();

/// Null when there is none of the name.
const Target* find_target(std::string_view name);

}  // namespace kelvo::fuzz
