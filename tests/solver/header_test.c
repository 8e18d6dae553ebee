/* The public header alone has to satisfy a C compiler. */
#include "solver/api/ordax.h"

int main(void) {
  ordax_config config = ordax_create_config();
  ordax_env env = ordax_create_env(config);
  ordax_result result = ordax_solve(env);
  ordax_destroy_env(env);
  ordax_destroy_config(config);
  return result == ORDAX_SAT ? 0 : 1;
}
