#include "plans/plan.h"

#include <ostream>

namespace kelvo {

std::ostream& operator<<(std::ostream& os, const Plan& plan) {
  return plan.print(os);
}

}  // namespace kelvo
