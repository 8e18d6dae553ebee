#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "solver/base/configuration.h"
#include "solver/base/exception.h"

namespace ordax {

/// Keeps option texts until an environment is made, and puts them into a configuration then. A name
/// is checked when it is set, a value when it is applied.
class ConfigurationSetter {
 public:
  class error : public Exception {
   public:
    using Exception::Exception;
  };
  /// Carries the values out of range.
  class warning : public Exception {
   public:
    using Exception::Exception;
  };

  /// Fails for an unknown name. A later text for the same option wins.
  void set(std::string_view name, std::string_view value);

  /// Sets what a text of lines "name = value" says; empty lines and lines that start with "#" are
  /// skipped.
  void parse(std::string_view text);

  /// Writes the texts into a configuration. Fails for a value of the wrong form, for values out of
  /// range, and for values that ask for a feature that is not built.
  void apply(Configuration& configuration) const;

 private:
  std::vector<std::pair<std::string, std::string>> texts_;
};

}  // namespace ordax
