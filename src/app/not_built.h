#pragma once

#include <string>

#include "shell/errors.h"

namespace kelvo {

/// Raises the error of a feature that this executable lacks. Called where the feature would be
/// made, after the checks that the command line gets in any case.
[[noreturn]] inline void not_built(const std::string& what) {
  throw InternalError() << "This executable of KELVO has no " << what << "!";
}

}  // namespace kelvo
