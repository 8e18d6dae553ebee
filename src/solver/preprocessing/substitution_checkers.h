#pragma once

#include <memory>
#include <vector>

#include "solver/preprocessing/toplevel_propagator.h"

namespace ordax {

/// The checkers of toplevel propagation, in the order in which a conjunct is offered to them.
std::vector<std::unique_ptr<ToplevelPropagator::subst_check_fun>> make_substitution_checkers(
    TermManager& terms);

}  // namespace ordax
