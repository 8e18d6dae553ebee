// The enumeration of models.

#include <algorithm>

#include "solver/api/environment.h"

namespace ordax {

int Environment::all_sat(const std::vector<TermRef>& important, const ModelCallback& on_model) {
  for (const TermRef term : important) {
    if (!is_variable(term) || !term->type()->is_bool()) {
      throw error("allsat important symbols might only be Boolean constants");
    }
  }
  refuse_in_callback("all-sat");
  if (configuration_.proof_generation) {
    throw error("allsat is not compatible with proof generation");
  }
  // The enumeration runs on blocking clauses behind a backtrack point of its own. Numbers are
  // needed for atoms that preprocessing has put in the place of a Boolean constant.
  const bool with_model = configuration_.model_generation;
  const bool minimize = configuration_.dpll.minimize_model;
  configuration_.model_generation = true;
  if (configuration_.dpll.allsat_minimize_model) configuration_.dpll.minimize_model = true;
  const std::size_t points = num_points_;
  // What the caller asserts meanwhile would go with the backtrack point of the enumeration.
  std::vector<TermRef> asserted;
  const auto restore = [&] {
    in_callback_ = false;
    configuration_.model_generation = with_model;
    configuration_.dpll.minimize_model = minimize;
    if (num_points_ > points) pop_backtrack_point();
    for (const TermRef formula : asserted) assert_formula(formula);
  };
  const auto report = [&](const std::vector<TermRef>& literals) {
    const std::size_t before = assertions_.size();
    in_callback_ = true;
    const bool go_on = on_model(literals);
    in_callback_ = false;
    asserted.insert(asserted.end(), assertions_.begin() + static_cast<std::ptrdiff_t>(before),
                    assertions_.end());
    return go_on;
  };
  // With duplicates allowed, each assignment of all Boolean constants is a model of its own.
  std::vector<TermRef> others;
  if (configuration_.dpll.allsat_allow_duplicates) {
    for (const TermRef constant : declared_constants()) {
      const bool is_important =
          std::find(important.begin(), important.end(), constant) != important.end();
      if (constant->type()->is_bool() && !is_important) others.push_back(constant);
    }
  }
  int count = 0;
  try {
    push_backtrack_point();
    while (solve() == 1) {
      std::vector<TermRef> literals;
      TermRef block = terms_.make_false();
      for (const TermRef constant : important) {
        const Var variable = engine_->find_variable(constant);
        const bool dropped = configuration_.dpll.allsat_minimize_model && variable != kNoVar &&
                             engine_->model_value(variable) == kUndefined &&
                             (propagator_ == nullptr || !propagator_->replacement(constant));
        if (dropped) continue;
        const bool value = is_true(model().value(constant));
        literals.push_back(value ? constant : terms_.make_not(constant));
        const TermRef opposite = terms_.make_not(literals.back());
        block = terms_.make_or(block, opposite);
      }
      for (const TermRef constant : others) {
        const bool value = is_true(model().value(constant));
        block = terms_.make_or(block, value ? terms_.make_not(constant) : constant);
      }
      ++count;
      if (!report(literals) || is_false(block)) break;
      assert_formula(block);
    }
    if (status_ == kLimitReached) throw error("a limit ended the enumeration");
  } catch (...) {
    restore();
    throw;
  }
  restore();
  return count;
}

}  // namespace ordax
