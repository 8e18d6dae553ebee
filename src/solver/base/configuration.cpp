#include "solver/base/configuration.h"

namespace ordax {

Configuration::Configuration() {
  theory.bv.lazydpll.branching_random_frequency = 0;
  theory.fp.dpll.restart_strategy = 3;
  theory.fp.dpll.branching_random_frequency = 0.01;
  theory.fp.dpll.branching_cache_phase = 1;
  theory.fp.dpll.glucose_var_activity = true;
  theory.fp.dpll.glucose_learnt_minimization = true;
  connect();
}

Configuration::Configuration(const Configuration& other) {
  *this = other;
}

Configuration& Configuration::operator=(const Configuration& other) {
  verbosity = other.verbosity;
  proof_generation = other.proof_generation;
  interpolation = other.interpolation;
  model_generation = other.model_generation;
  bool_model_generation = other.bool_model_generation;
  unsat_core_generation = other.unsat_core_generation;
  shallow_incrementality = other.shallow_incrementality;
  random_seed = other.random_seed;
  allow_bool_function_args = other.allow_bool_function_args;
  limits = other.limits;
  debug = other.debug;
  printer = other.printer;
  preprocessor = other.preprocessor;
  dpll = other.dpll;
  theory = other.theory;
  connect();
  return *this;
}

void Configuration::connect() {
  ConfigurationGroup* const groups[] = {
      &limits,    &debug,          &printer,    &preprocessor, &dpll,      &dpll.preprocessor,
      &theory,    &theory.la,      &theory.euf, &theory.arr,   &theory.bv, &theory.bv.lazydpll,
      &theory.fp, &theory.fp.dpll, &theory.na};
  for (ConfigurationGroup* group : groups) group->configuration = this;
}

}  // namespace ordax
