#pragma once

#include <string>
#include <string_view>

#include "solver/api/option_table.h"
#include "solver/base/exception.h"

namespace ordax {

/// Reads option texts by the option table.
class OptionParser {
 public:
  class error : public Exception {
   public:
    using Exception::Exception;
  };

  /// What a name stands for; `negated` for the "no_" form of a Boolean option.
  struct Target {
    const OptionRow* row;
    bool negated;
  };

  /// Fails for an empty or unknown name.
  static Target find(std::string_view name);

  /// Stores a value text. Fails if it is not of the option's kind. False, with nothing stored, if
  /// the value is out of range.
  static bool apply(const Target& target, std::string_view value, Configuration& configuration);

  /// The value of an option as text.
  static std::string value_text(const OptionRow& row, const Configuration& configuration);

  /// The list of all options with their defaults, by heading.
  static std::string usage();

  /// True if the option is read nowhere: it belongs to a theory or a feature that is not built.
  static bool is_idle(const OptionRow& row);
};

}  // namespace ordax
