#pragma once

#include <cstddef>
#include <unordered_map>
#include <utility>
#include <vector>

#include "model/expression.h"
#include "smt/formula.h"

namespace kelvo {
class Environment;
}

namespace kelvo::smt {

class SmtFactory;

/// The formulas of quotients. Arithmetic is linear, so a divisor has to be one of a few numbers: a
/// constant, a looked-up constant, or an expression of a small integer type; each of its values is
/// a case of its own. Two integers are divided by cutting off towards zero.
///
/// A quotient by zero is some number: who reads it must ask whether the divisor is zero.
class Quotients {
 public:
  /// What the quotients of integers need to be ones is put after `constraints`.
  Quotients(SmtFactory& factory, std::vector<Formula>& constraints)
      : factory_(factory), constraints_(constraints) {}

  /// `e` is the division `dividend / divisor`. Throws `InternalError` when the divisor can be more
  /// than a few numbers.
  Formula quotient(Environment& env, model::Expression e, Formula dividend, Formula divisor);

 private:
  struct PairHash {
    std::size_t operator()(const std::pair<Formula, Formula>& key) const;
  };

  Formula by_constant(Formula dividend, Formula divisor, bool is_integer);
  /// A variable that is `dividend / divisor` cut off towards zero.
  Formula cut_off(Formula dividend, const rational& divisor);

  SmtFactory& factory_;
  std::vector<Formula>& constraints_;
  std::unordered_map<std::pair<Formula, Formula>, Formula, PairHash> cut_off_;
};

}  // namespace kelvo::smt
