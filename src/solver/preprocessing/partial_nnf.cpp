#include "solver/preprocessing/partial_nnf.h"

#include <utility>

namespace ordax {

TermRef PartialNnf::convert(TermRef formula) {
  positive_.clear();
  negative_.clear();
  std::vector<std::pair<TermRef, bool>> stack{{formula, false}};
  while (!stack.empty()) {
    stop_.step();
    const auto [term, negated] = stack.back();
    if (memo(term, negated) != nullptr) {
      stack.pop_back();
      continue;
    }
    TermMap<TermRef>& results = negated ? negative_ : positive_;
    if (is_not(term)) {
      if (const TermRef* result = memo(term->arg(0), !negated)) {
        results.set(term, *result);
        stack.pop_back();
      } else {
        stack.emplace_back(term->arg(0), !negated);
      }
    } else if (is_and(term) || is_or(term)) {
      const TermRef* first = memo(term->arg(0), negated);
      const TermRef* second = memo(term->arg(1), negated);
      if (first == nullptr) stack.emplace_back(term->arg(0), negated);
      if (second == nullptr) stack.emplace_back(term->arg(1), negated);
      if (first == nullptr || second == nullptr) continue;
      results.set(term, is_and(term) != negated ? terms_.make_and(*first, *second)
                                                : terms_.make_or(*first, *second));
      stack.pop_back();
    } else if (is_iff(term)) {
      const TermRef* first = memo(term->arg(0), negated);
      const TermRef* second = memo(term->arg(1), false);
      if (first == nullptr) stack.emplace_back(term->arg(0), negated);
      if (second == nullptr) stack.emplace_back(term->arg(1), false);
      if (first == nullptr || second == nullptr) continue;
      results.set(term, terms_.make_iff(*first, *second));
      stack.pop_back();
    } else {
      results.set(term, negated ? terms_.make_not(term) : term);
      stack.pop_back();
    }
  }
  return *memo(formula, false);
}

}  // namespace ordax
