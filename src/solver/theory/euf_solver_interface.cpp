#include "solver/theory/euf_solver_interface.h"

namespace ordax {

bool EufSolverInterface::tell_atom(Var /*variable*/, TermRef atom) {
  if (is_uf(atom)) throw error("missing feature: equality solver");
  if (is_equal(atom)) {
    for (std::uint32_t i = 0; i < atom->arity(); ++i) {
      const std::string& type = atom->arg(i)->type()->name;
      if (type != "Real" && type != "Int") throw error("missing feature: equality solver");
    }
  }
  return false;
}

}  // namespace ordax
