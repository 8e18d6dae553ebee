#pragma once

#include <string>
#include <vector>

#include "solver/terms/term.h"

namespace ordax {

/// An SMT-LIB v2 script that is unsatisfiable if the clause holds in the theory.
std::string lemma_script(const std::vector<TermRef>& literals);

}  // namespace ordax
