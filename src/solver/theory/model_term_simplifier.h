#pragma once

#include "solver/terms/number.h"
#include "solver/terms/term.h"

namespace ordax {

/// The value of a term in a model: a truth value, a number, or for any other type a constant.
struct ModelValue {
  enum class Sort : unsigned char { NONE, BOOL, NUMBER, TERM };

  Sort sort = Sort::NONE;
  bool truth = false;
  TermRef term = nullptr;
  Number number;

  static ModelValue of_bool(bool value) {
    ModelValue result;
    result.sort = Sort::BOOL;
    result.truth = value;
    return result;
  }
  static ModelValue of_number(Number value) {
    ModelValue result;
    result.sort = Sort::NUMBER;
    result.number = std::move(value);
    return result;
  }
  static ModelValue of_term(TermRef value) {
    ModelValue result;
    result.sort = Sort::TERM;
    result.term = value;
    return result;
  }
};

/// Computes interpreted functions on values. It works on values and makes no terms: one numeral at
/// the end of an evaluation is enough.
class ModelTermSimplifier {
 public:
  /// The value of `term`, an interpreted function, on the values of its arguments. No value if the
  /// function has none there (a division by zero, or a function without a theory).
  static ModelValue evaluate(TermRef term, const ModelValue* const* args);
};

}  // namespace ordax
