#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "shell/numbers.h"

namespace kelvo {

/// The exact value of a number in a trace: whole, a fraction, a decimal, or a decimal with an
/// exponent. Nothing for any other text, and for exponents that no trace has.
std::optional<rational> number_in_trace(std::string_view text);

/// An action of a trace: when and where it began.
struct TraceExecution {
  rational time = 0;
  std::size_t line = 0;
  bool is_running = false;
};

/// About actions that run where the trace ends, as one that was cut off does; empty for none.
std::string unfinished_note(const std::map<std::string, TraceExecution>& executions);

}  // namespace kelvo
