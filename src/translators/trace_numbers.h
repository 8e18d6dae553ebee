#pragma once

#include <optional>
#include <string_view>

#include "shell/numbers.h"

namespace kelvo {

/// The exact value of a number in a trace: whole, a fraction, a decimal, or a decimal with an
/// exponent. Nothing for any other text, and for exponents that no trace has.
std::optional<rational> number_in_trace(std::string_view text);

}  // namespace kelvo
