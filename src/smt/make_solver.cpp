#include "smt/ordax_solver.h"
#include "smt/smt_factory.h"

namespace kelvo::smt {

std::unique_ptr<SmtSolver> SmtFactory::make_solver(const SolverLimits& limits) {
  return std::make_unique<OrdaxSolver>(*this, limits);
}

}  // namespace kelvo::smt
