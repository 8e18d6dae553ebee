#include "solver/preprocessing/polarity_checker.h"

namespace ordax {
namespace {

std::uint8_t opposite(std::uint8_t signs) {
  return static_cast<std::uint8_t>(((signs & 1) << 1) | ((signs & 2) >> 1));
}

void check_boolean(TermRef term) {
  if (!term->type()->is_bool()) {
    throw PolarityChecker::error("polarity information is meaningful only for terms of type Bool");
  }
}

}  // namespace

std::uint8_t PolarityChecker::polarity(TermRef term) const {
  check_boolean(term);
  return store_.get(term);
}

void PolarityChecker::add(TermRef formula, std::uint8_t signs, std::vector<TermRef>* relations) {
  check_boolean(formula);
  stack_.clear();
  stack_.emplace_back(formula, signs);
  while (!stack_.empty()) {
    const auto [term, term_signs] = stack_.back();
    stack_.pop_back();
    if (!store_.add(term, term_signs)) continue;
    if (relations != nullptr && (is_leq(term) || is_equal(term))) relations->push_back(term);
    if (is_not(term)) {
      stack_.emplace_back(term->arg(0), opposite(term_signs));
    } else if (is_and(term) || is_or(term)) {
      stack_.emplace_back(term->arg(0), term_signs);
      stack_.emplace_back(term->arg(1), term_signs);
    } else {
      // Both sides of an equivalence occur with both signs, and so does a Boolean argument of
      // anything else, such as the condition of an if-then-else.
      for (std::uint32_t i = 0; i < term->arity(); ++i) {
        if (term->arg(i)->type()->is_bool()) {
          stack_.emplace_back(term->arg(i), PolarityStore::BOTH);
        }
      }
    }
  }
}

}  // namespace ordax
