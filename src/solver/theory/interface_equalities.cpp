#include "solver/theory/interface_equalities.h"

namespace ordax {

void InterfaceEqualities::log(const char* text) {
  logger_.log(3, "THEORY", text);
}

int InterfaceEqualities::generate(bool equality_solver_enabled, bool all_enabled) {
  if (!all_enabled) {
    log("theory combination not needed because some theory solvers are not enabled, not collecting "
        "interface terms");
    return -1;
  }
  if (!equality_solver_enabled) {
    log("not generating interface equalities because the EUF solver is not enabled");
    return -1;
  }
  if (configuration_.interface_eq_policy == 3) {
    log("not generating interface equalities because policy is OFF in the configuration");
    return -1;
  }
  log("generated 0 interface equalities");
  return -1;
}

}  // namespace ordax
