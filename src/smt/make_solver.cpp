#include "smt/ordax_solver.h"
#include "smt/smt_factory.h"

namespace kelvo::smt {

std::unique_ptr<SmtSolver> SmtFactory::make_solver() {
  return std::make_unique<OrdaxSolver>(*this);
}

}  // namespace kelvo::smt
