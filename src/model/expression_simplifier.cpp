#include "model/expression_simplifier.h"

#include <functional>
#include <optional>

#include "model/constant.h"
#include "model/expression_evaluator.h"
#include "model/expression_factory.h"
#include "shell/environment.h"

namespace kelvo::model {

namespace {

bool both_constant(const ExpressionFactory& ef, Expression l, Expression r) {
  return ef.is_constant(l) && ef.is_constant(r);
}

/// The operands of a sum or product: its constants folded into one, the others as they stand.
template <typename Fold>
class FoldedOperands {
 public:
  FoldedOperands(int neutral, Fold fold) : neutral_(neutral), iconstant_(neutral), fold_(fold) {}

  void add(const ExpressionFactory& ef, Expression operand) {
    if (ef.is_rational_constant(operand)) {
      if (!rconstant_) rconstant_.emplace(neutral_);
      *rconstant_ = fold_(*rconstant_, ef.get_rational_constant(operand));
    } else if (ef.is_integer_constant(operand)) {
      iconstant_ = fold_(iconstant_, ef.get_integer_constant(operand));
    } else {
      others_.push_back(operand);
    }
  }

  /// The operands with the constant last. A neutral constant shows only when it is all there is.
  std::vector<Expression> result(ExpressionFactory& ef) {
    if (rconstant_ && *rconstant_ != neutral_) {
      others_.push_back(ef.make_rational_constant(fold_(*rconstant_, rational(iconstant_))));
    } else if (rconstant_ && others_.empty()) {
      others_.push_back(
          ef.make_rational_constant(rational(iconstant_)));  // its quotients are exact
    } else if (iconstant_ != neutral_ || others_.empty()) {
      others_.push_back(ef.make_integer_constant(iconstant_));
    }
    return others_;
  }

 private:
  int neutral_;
  std::optional<rational> rconstant_;  // rarely any
  integer iconstant_;
  Fold fold_;
  std::vector<Expression> others_;
};

struct Multiply {
  template <typename Number>
  Number operator()(const Number& a, const Number& b) const {
    return a * b;
  }
};

struct Add {
  template <typename Number>
  Number operator()(const Number& a, const Number& b) const {
    return a + b;
  }
};

}  // namespace

Expression ExpressionSimplifier::junction(Expression e, bool conjunction) const {
  ExpressionFactory& ef = environment().expression_factory();
  std::vector<Expression> operands;
  for (const Expression child : e->children()) {
    const Expression value = memoized_value(child);
    if (!ef.is_boolean_constant(value)) {
      operands.push_back(value);
    } else if (ef.is_true(value) != conjunction) {
      return value;
    }
  }
  if (operands.empty()) return ef.make_boolean_constant(conjunction);
  if (operands.size() == 1) return operands.front();
  return conjunction ? ef.make_and(operands) : ef.make_or(operands);
}

Expression ExpressionSimplifier::walk_and(Expression e) const {
  return junction(e, /*conjunction=*/true);
}

Expression ExpressionSimplifier::walk_or(Expression e) const {
  return junction(e, /*conjunction=*/false);
}

Expression ExpressionSimplifier::negate(Expression e) const {
  ExpressionFactory& ef = environment().expression_factory();
  if (ef.is_boolean_constant(e)) return ef.make_boolean_constant(ef.is_false(e));
  return ef.make_not(e);
}

Expression ExpressionSimplifier::walk_not(Expression e) const {
  return negate(memoized_value(e->child(0)));
}

Expression ExpressionSimplifier::walk_imply(Expression e) const {
  ExpressionFactory& ef = environment().expression_factory();
  const Expression l = memoized_value(e->child(0));
  const Expression r = memoized_value(e->child(1));
  if (ef.is_boolean_constant(l)) return ef.is_true(l) ? r : ef.make_true();
  if (ef.is_boolean_constant(r)) return ef.is_true(r) ? r : ef.make_not(l);
  return ef.make_imply(l, r);
}

Expression ExpressionSimplifier::walk_iff(Expression e) const {
  ExpressionFactory& ef = environment().expression_factory();
  const Expression l = memoized_value(e->child(0));
  const Expression r = memoized_value(e->child(1));
  if (ef.is_boolean_constant(l)) return ef.is_true(l) ? r : negate(r);
  if (ef.is_boolean_constant(r)) return ef.is_true(r) ? l : negate(l);
  return ef.make_iff(l, r);
}

Expression ExpressionSimplifier::walk_equals(Expression e) const {
  ExpressionFactory& ef = environment().expression_factory();
  const Expression l = memoized_value(e->child(0));
  const Expression r = memoized_value(e->child(1));
  if (l == r) return ef.make_true();
  if (both_constant(ef, l, r)) {
    // Two different nodes are equal only as a rational and an integer.
    const bool equal = ef.is_number(l) && ef.is_number(r) && ef.get_number(l) == ef.get_number(r);
    return ef.make_boolean_constant(equal);
  }
  if (ef.is_instance_reference(l) && ef.is_instance_reference(r)) return ef.make_false();
  return ef.make_equals(l, r);
}

template <typename Compare>
Expression ExpressionSimplifier::compare_constants(Expression e, const Compare& compare) const {
  ExpressionFactory& ef = environment().expression_factory();
  const Expression l = memoized_value(e->child(0));
  const Expression r = memoized_value(e->child(1));
  if (!both_constant(ef, l, r)) return nullptr;
  if (ef.is_integer_constant(l) && ef.is_integer_constant(r)) {
    return ef.make_boolean_constant(
        compare(ef.get_integer_constant(l), ef.get_integer_constant(r)));
  }
  return ef.make_boolean_constant(compare(ef.get_number(l), ef.get_number(r)));
}

Expression ExpressionSimplifier::walk_lt(Expression e) const {
  const Expression value = compare_constants(e, std::less<>());
  return value != nullptr ? value : ExpressionIdentity::walk_lt(e);
}

Expression ExpressionSimplifier::walk_le(Expression e) const {
  const Expression value = compare_constants(e, std::less_equal<>());
  return value != nullptr ? value : ExpressionIdentity::walk_le(e);
}

Expression ExpressionSimplifier::walk_gt(Expression e) const {
  const Expression value = compare_constants(e, std::greater<>());
  return value != nullptr ? value : ExpressionIdentity::walk_gt(e);
}

Expression ExpressionSimplifier::walk_ge(Expression e) const {
  const Expression value = compare_constants(e, std::greater_equal<>());
  return value != nullptr ? value : ExpressionIdentity::walk_ge(e);
}

Expression ExpressionSimplifier::walk_times(Expression e) const {
  ExpressionFactory& ef = environment().expression_factory();
  FoldedOperands operands(1, Multiply());
  for (const Expression child : e->children()) operands.add(ef, memoized_value(child));
  const std::vector<Expression> folded = operands.result(ef);
  if (folded.size() == 1 && ef.is_number(folded.front())) return folded.front();
  return ef.make_times(folded);
}

Expression ExpressionSimplifier::walk_plus(Expression e) const {
  ExpressionFactory& ef = environment().expression_factory();
  FoldedOperands operands(0, Add());
  for (const Expression child : e->children()) operands.add(ef, memoized_value(child));
  const std::vector<Expression> folded = operands.result(ef);
  if (folded.size() == 1 && ef.is_number(folded.front())) return folded.front();
  return ef.make_plus(folded);
}

Expression ExpressionSimplifier::walk_div(Expression e) const {
  ExpressionFactory& ef = environment().expression_factory();
  const Expression l = memoized_value(e->child(0));
  const Expression r = memoized_value(e->child(1));
  if (!both_constant(ef, l, r)) return ef.make_div(l, r);
  if (ef.is_integer_constant(l) && ef.is_integer_constant(r)) {
    // Truncated, yet a rational constant.
    const integer quotient = ef.get_integer_constant(l) / ef.get_integer_constant(r);
    return ef.make_rational_constant(rational(quotient));
  }
  return ef.make_rational_constant(ef.get_number(l) / ef.get_number(r));
}

Expression ExpressionSimplifier::walk_minus(Expression e) const {
  ExpressionFactory& ef = environment().expression_factory();
  const Expression l = memoized_value(e->child(0));
  const Expression r = memoized_value(e->child(1));
  if (!both_constant(ef, l, r)) return ef.make_minus(l, r);
  if (ef.is_integer_constant(l) && ef.is_integer_constant(r)) {
    return ef.make_integer_constant(ef.get_integer_constant(l) - ef.get_integer_constant(r));
  }
  return ef.make_rational_constant(ef.get_number(l) - ef.get_number(r));
}

Expression ExpressionSimplifier::walk_constant_reference(Expression e) const {
  const Constant constant = environment().expression_factory().get_constant_from_reference(e);
  const FunctionValue value = constant->value();
  const Expression folded = value == nullptr ? nullptr : value->default_value();
  if (folded == nullptr) return e;
  return as_stored(environment().expression_factory(), constant->type(), folded);
}

Expression ExpressionSimplifier::walk_functional_apply(Expression e) const {
  ExpressionFactory& ef = environment().expression_factory();
  const Expression reference = ef.get_reference_from_functional_apply(e);
  const std::vector<Expression> arguments = walked_children(e);
  if (ef.is_constant_reference(reference)) {
    // The value of the reference alone may be the default, which must not be applied.
    const Constant constant = ef.get_constant_from_reference(reference);
    const FunctionValue value = constant->value();
    const Expression folded = value == nullptr ? nullptr : value->assignment(arguments);
    if (folded != nullptr) return as_stored(ef, constant->type(), folded);
    return ef.make_functional_apply(reference, arguments);
  }
  if (ef.is_fluent_reference(reference)) return ef.make_functional_apply(reference, arguments);
  return ExpressionIdentity::walk_functional_apply(e);
}

}  // namespace kelvo::model
