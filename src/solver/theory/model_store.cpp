#include "solver/theory/model_store.h"

#include <utility>

namespace ordax {

ModelStore::ModelStore(TermManager& terms, TheoryManager& theories, const DpllSolver& engine,
                       const EliminatedTerms* eliminated, bool with_numbers)
    : terms_(terms),
      theories_(theories),
      engine_(engine),
      eliminated_(eliminated),
      with_numbers_(with_numbers) {}

// Null says that all formulas have been told.
void ModelStore::add_formula(TermRef formula) {
  if (formula == nullptr) {
    complete_ = true;
  } else {
    formulas_.push_back(formula);
  }
}

// The first value asked for pays for the check of the whole model.
TermRef ModelStore::value(TermRef term) {
  if (!validated_) validate();
  const ModelValue& value = evaluate(term);
  switch (value.sort) {
    case ModelValue::Sort::BOOL:
      return terms_.make_bool(value.truth);
    case ModelValue::Sort::NUMBER:
      return terms_.make_number(value.number);
    default:
      return value.term;
  }
}

void ModelStore::validate() {
  // A model found wrong is told once more by the same failure.
  bool valid = !with_numbers_ || theories_.validate_models();
  if (with_numbers_) {
    for (const TermRef formula : formulas_) valid = valid && evaluate(formula).truth;
  }
  if (!valid) throw error("Invalid model");
  validated_ = true;
}

// Bottom-up with an explicit stack; a replaced variable waits for its replacement.
const ModelValue& ModelStore::evaluate(TermRef root) {
  stack_.clear();
  stack_.push_back(root);
  while (!stack_.empty()) {
    stop_.step();
    const TermRef term = stack_.back();
    if (memo_.contains(term)) {
      stack_.pop_back();
      continue;
    }
    // Preprocessing may have put a term in the place of a variable: its value is the term's.
    const TermRef replacement =
        eliminated_ != nullptr && is_variable(term) ? eliminated_->replacement(term) : nullptr;
    if (replacement != nullptr) {
      if (const ModelValue* const* known = memo_.find(replacement)) {
        const ModelValue* shared = *known;
        memo_.set(term, shared);
      } else {
        stack_.push_back(replacement);
      }
      continue;
    }
    // A leaf has its value from the search or from a theory. Without numbers an arithmetic atom is
    // a leaf, too: its truth is that of its variable in the search.
    const bool atom = is_leq(term) || (is_equal(term) && term->arg(0)->type()->is_arithmetic());
    if (term->kind() == Kind::USER || (!with_numbers_ && atom)) {
      values_.push_back(value_of_leaf(term));
      memo_.set(term, &values_.back());
      continue;
    }
    // Arguments first; the term is looked at again once all have values.
    const std::size_t before = stack_.size();
    for (std::uint32_t i = 0; i < term->arity(); ++i) {
      if (!memo_.contains(term->arg(i))) stack_.push_back(term->arg(i));
    }
    if (stack_.size() != before) continue;
    const ModelValue* args[3] = {nullptr, nullptr, nullptr};
    for (std::uint32_t i = 0; i < term->arity(); ++i) args[i] = *memo_.find(term->arg(i));
    ModelValue value = ModelTermSimplifier::evaluate(term, args);
    // What the model leaves open, such as a division by zero, may have any value.
    if (value.sort == ModelValue::Sort::NONE) value = default_value(term->type());
    values_.push_back(std::move(value));
    memo_.set(term, &values_.back());
  }
  return **memo_.find(root);
}

// A variable that no formula holds, or that the search left undefined, gets the default value: any
// would do.
ModelValue ModelStore::value_of_leaf(TermRef term) {
  if (term->type()->is_bool()) {
    const Var variable = engine_.find_variable(term);
    if (variable != kNoVar && engine_.model_value(variable) != kUndefined) {
      return ModelValue::of_bool(engine_.model_value(variable) == kTrue);
    }
    if (!with_numbers_ && term->kind() != Kind::USER) throw error("model generation not enabled");
    return ModelValue::of_bool(false);
  }
  if (term->type()->is_arithmetic()) {
    if (!with_numbers_) throw error("model generation not enabled");
    Number number;
    if (theories_.get_model_value(term, number)) return ModelValue::of_number(std::move(number));
  }
  return default_value(term->type());
}

// False, zero, or for a declared type one constant of the store's own, the same each time.
ModelValue ModelStore::default_value(const Type* type) {
  if (type->is_bool()) return ModelValue::of_bool(false);
  if (type->is_arithmetic()) return ModelValue::of_number(Number());
  TermRef& constant = defaults_[type->id];
  if (constant == nullptr) {
    std::string name(1, '@');
    name += std::to_string(defaults_.size());
    constant = terms_.make_internal_constant(name, type);
  }
  return ModelValue::of_term(constant);
}

}  // namespace ordax
