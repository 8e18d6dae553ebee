#pragma once

#include <array>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "model/model_fwd.h"
#include "model/node.h"
#include "model/node_manager.h"
#include "shell/numbers.h"

namespace kelvo::ltl {

/// A hash-consed formula of linear temporal logic over numbers, owned by its factory: equal
/// formulas are one pointer.
using LtlExpression = Node*;

enum class LtlOperatorKind {
  AND,
  OR,
  NOT,
  IMPLY,
  EQUALS,
  IFF,
  LT,
  LE,
  GT,
  GE,
  TIMES,
  PLUS,
  DIV,
  MINUS,
  LTL_TRUE,
  LTL_FALSE,
  RATIONAL,
  INTEGER,
  VARIABLE,
  NEXT,  // the value of a term in the next state
  X,     // in the next state
  G,     // in all states from here on
  F,     // in some state from here on
  U,     // the first until the second
};

/// A variable of a module. Its type is one of the model's: boolean, integer or rational.
class Variable {
 public:
  Variable(std::string name, model::Type type) : name_(std::move(name)), type_(std::move(type)) {}
  const std::string& name() const { return name_; }
  const model::Type& type() const { return type_; }

 private:
  std::string name_;
  model::Type type_;
};

class LtlExpressionPayload : public Payload {
 public:
  explicit LtlExpressionPayload(LtlOperatorKind kind) : kind_(kind) {}
  LtlOperatorKind kind() const { return kind_; }

 private:
  LtlOperatorKind kind_;
};

class RationalPayload : public LtlExpressionPayload {
 public:
  explicit RationalPayload(rational value)
      : LtlExpressionPayload(LtlOperatorKind::RATIONAL), value_(std::move(value)) {}
  const rational& value() const { return value_; }

 private:
  rational value_;
};

class IntegerPayload : public LtlExpressionPayload {
 public:
  explicit IntegerPayload(integer value)
      : LtlExpressionPayload(LtlOperatorKind::INTEGER), value_(std::move(value)) {}
  const integer& value() const { return value_; }

 private:
  integer value_;
};

class VariablePayload : public LtlExpressionPayload {
 public:
  explicit VariablePayload(const Variable& variable)
      : LtlExpressionPayload(LtlOperatorKind::VARIABLE), variable_(variable) {}
  const Variable& variable() const { return variable_; }

 private:
  const Variable& variable_;
};

inline LtlOperatorKind kind_of(LtlExpression e) {
  return static_cast<const LtlExpressionPayload*>(e->payload())->kind();
}

/// The payload of `e`, which must be of class `P`.
template <typename P>
const P& payload_of(LtlExpression e) {
  return *static_cast<const P*>(e->payload());
}

/// Builds formulas, and owns them with their variables. Nothing is simplified. A list of one
/// element is that element; an empty conjunction is true, an empty disjunction false, an empty sum
/// 0 and an empty product 1.
class LtlExpressionFactory {
 public:
  using Expressions = std::vector<LtlExpression>;

  LtlExpressionFactory();
  LtlExpressionFactory(const LtlExpressionFactory&) = delete;
  LtlExpressionFactory& operator=(const LtlExpressionFactory&) = delete;

  LtlExpression make_and(LtlExpression a, LtlExpression b) { return make(Kind::AND, a, b); }
  LtlExpression make_or(LtlExpression a, LtlExpression b) { return make(Kind::OR, a, b); }
  LtlExpression make_times(LtlExpression a, LtlExpression b) { return make(Kind::TIMES, a, b); }
  LtlExpression make_plus(LtlExpression a, LtlExpression b) { return make(Kind::PLUS, a, b); }
  LtlExpression make_and(const Expressions& list);
  LtlExpression make_or(const Expressions& list);
  LtlExpression make_times(const Expressions& list);
  LtlExpression make_plus(const Expressions& list);
  LtlExpression make_not(LtlExpression a) { return make(Kind::NOT, a); }
  LtlExpression make_imply(LtlExpression a, LtlExpression b) { return make(Kind::IMPLY, a, b); }
  LtlExpression make_iff(LtlExpression a, LtlExpression b) { return make(Kind::IFF, a, b); }
  LtlExpression make_equals(LtlExpression a, LtlExpression b) { return make(Kind::EQUALS, a, b); }
  LtlExpression make_lt(LtlExpression a, LtlExpression b) { return make(Kind::LT, a, b); }
  LtlExpression make_le(LtlExpression a, LtlExpression b) { return make(Kind::LE, a, b); }
  LtlExpression make_gt(LtlExpression a, LtlExpression b) { return make(Kind::GT, a, b); }
  LtlExpression make_ge(LtlExpression a, LtlExpression b) { return make(Kind::GE, a, b); }
  LtlExpression make_div(LtlExpression a, LtlExpression b) { return make(Kind::DIV, a, b); }
  LtlExpression make_minus(LtlExpression a, LtlExpression b) { return make(Kind::MINUS, a, b); }
  LtlExpression make_boolean_constant(bool value) {
    return make(value ? Kind::LTL_TRUE : Kind::LTL_FALSE);
  }
  LtlExpression make_rational_constant(const rational& value);
  LtlExpression make_integer_constant(const integer& value);
  /// A variable of its own for each call.
  LtlExpression make_variable(const std::string& name, const model::Type& type);
  LtlExpression make_next(LtlExpression a) { return make(Kind::NEXT, a); }
  LtlExpression make_x(LtlExpression a) { return make(Kind::X, a); }
  LtlExpression make_g(LtlExpression a) { return make(Kind::G, a); }
  LtlExpression make_f(LtlExpression a) { return make(Kind::F, a); }
  LtlExpression make_u(LtlExpression a, LtlExpression b) { return make(Kind::U, a, b); }

 private:
  using Kind = LtlOperatorKind;

  template <typename... Children>
  LtlExpression make(Kind kind, Children... children) {
    return nodes_.make_node(operators_[static_cast<std::size_t>(kind)].get(), children...);
  }
  LtlExpression make_list(Kind kind, const Expressions& list);

  NodeManager nodes_;
  // One payload for each kind; those of leaves with contents are not used.
  std::array<std::unique_ptr<LtlExpressionPayload>, 24> operators_;
  std::vector<std::unique_ptr<LtlExpressionPayload>> leaf_payloads_;
  std::vector<std::unique_ptr<Variable>> variables_;
  std::map<rational, LtlExpression> rationals_;
  std::map<integer, LtlExpression> integers_;
};

/// `os << print_ltl(e)` writes the formula, on an explicit stack.
struct print_ltl {
  explicit print_ltl(LtlExpression expression) : e(expression) {}
  LtlExpression e;
};

std::ostream& operator<<(std::ostream& os, const print_ltl& p);

/// A rational as the formulas write it: "f'", the numerator, and "/" and the denominator unless
/// that is 1.
void print_ltl_rational(std::ostream& os, const rational& value);

}  // namespace kelvo::ltl
