#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace kelvo {

/// The parts that one text was put together from: their names, and the lines of the whole text on
/// which they begin. Without parts, the text is one without a name.
class InputParts {
 public:
  explicit InputParts(std::vector<std::string> names = {}) : names_(std::move(names)) {}

  /// A line of one of the parts, counted from 1. The name is empty when none was given.
  struct Place {
    std::string name;
    std::size_t line;
  };
  /// Where a line of the whole text, counted from 1, begins.
  Place place_of(std::size_t line) const;

  /// The part with this index begins on a line, and so do those before it that are not begun.
  void begin(std::size_t part, std::size_t line);
  /// Empty when it has none.
  const std::string& name(std::size_t part) const;

 private:
  std::vector<std::string> names_;
  std::vector<std::size_t> first_lines_;
};

}  // namespace kelvo
