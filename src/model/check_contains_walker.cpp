#include "model/check_contains_walker.h"

#include <algorithm>

namespace kelvo::model {

bool CheckContainsWalker::walk_default(Expression e) const {
  return kind_of(e) == kind_ ||
         std::ranges::any_of(e->children(), [this](Expression c) { return memoized_value(c); });
}

}  // namespace kelvo::model
