#pragma once

#include <cstddef>
#include <string>

#include "solver/base/configuration.h"

namespace ordax {

enum class OptionKind { BOOL, INT, ENUM, FLOAT, STR };

enum class OptionGroup { GENERAL, DEBUG, PRINTER, PREPROCESSOR, DPLL, THEORY };

/// One option: its name, its limits, and where its value stands in a configuration. The defaults
/// are those of a new `Configuration`.
struct OptionRow {
  OptionGroup group;
  const char* name;
  OptionKind kind;
  double least;  // of the numeric kinds
  double most;
  const char* help;
  // Exactly one is set, by the kind.
  bool& (*bool_value)(Configuration&);
  int& (*int_value)(Configuration&);
  double& (*float_value)(Configuration&);
  std::string& (*string_value)(Configuration&);
};

/// All options in their fixed order. Static data: making a configuration registers nothing.
struct OptionTable {
  const OptionRow* rows;
  std::size_t size;

  const OptionRow* begin() const { return rows; }
  const OptionRow* end() const { return rows + size; }
};
OptionTable option_table();

/// The heading of a group in the usage text.
const char* heading(OptionGroup group);

}  // namespace ordax
