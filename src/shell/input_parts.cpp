#include "shell/input_parts.h"

#include <algorithm>

namespace kelvo {

InputParts::Place InputParts::place_of(std::size_t line) const {
  // Two parts share a line when the first does not end in a newline; it counts for the second.
  const auto behind = std::upper_bound(first_lines_.begin(), first_lines_.end(), line);
  if (behind == first_lines_.begin()) return {"", line};
  const auto index = static_cast<std::size_t>(behind - first_lines_.begin()) - 1;
  return {name(index), line - first_lines_[index] + 1};
}

void InputParts::begin(std::size_t part, std::size_t line) {
  first_lines_.resize(std::max(first_lines_.size(), part + 1), line);
}

const std::string& InputParts::name(std::size_t part) const {
  static const std::string none;
  return part < names_.size() ? names_[part] : none;
}

}  // namespace kelvo
