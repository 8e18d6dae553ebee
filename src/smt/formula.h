#pragma once

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include "model/node.h"
#include "shell/numbers.h"

namespace kelvo::smt {

/// A hash-consed formula or term, owned by its `SmtFactory`: equal formulas are one pointer.
/// Formulas share no node with the expressions of the model.
using Formula = Node*;

enum class FormulaOperatorKind {
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
  ITE,
  SMT_TRUE,
  SMT_FALSE,
  RATIONAL_CONSTANT,
  INTEGER_CONSTANT,
  VARIABLE,
  FUNCTION_APPLICATION,
};

/// Prints the kind's name. Throws `InternalError` for a value outside the enumeration.
std::ostream& operator<<(std::ostream& os, FormulaOperatorKind kind);

enum class SmtTypeKind { BOOLEAN, REAL, INTEGER };

/// The word for a kind in messages: "boolean", "real", "integer", else "unknown".
const char* kind_word(SmtTypeKind kind);

/// The type of a variable; with argument types, that of a function. Made and owned by the
/// `SmtFactory`; types are compared by address.
class SmtType {
 public:
  SmtType(SmtTypeKind kind, std::vector<const SmtType*> arguments)
      : kind_(kind), arguments_(std::move(arguments)) {}
  /// The kind of the value, of a function that of its result.
  SmtTypeKind kind() const { return kind_; }
  const std::vector<const SmtType*>& arguments() const { return arguments_; }
  bool is_function() const { return !arguments_.empty(); }

 private:
  SmtTypeKind kind_;
  std::vector<const SmtType*> arguments_;
};

class FormulaPayload : public Payload {
 public:
  explicit FormulaPayload(FormulaOperatorKind kind) : kind_(kind) {}
  FormulaOperatorKind kind() const { return kind_; }

 private:
  FormulaOperatorKind kind_;
};

class SymbolPayload : public FormulaPayload {
 public:
  SymbolPayload(std::string name, const SmtType* type)
      : FormulaPayload(FormulaOperatorKind::VARIABLE), name_(std::move(name)), type_(type) {}
  const std::string& name() const { return name_; }
  const SmtType* type() const { return type_; }

 private:
  std::string name_;
  const SmtType* type_;
};

class RationalPayload : public FormulaPayload {
 public:
  explicit RationalPayload(rational value)
      : FormulaPayload(FormulaOperatorKind::RATIONAL_CONSTANT), value_(std::move(value)) {}
  const rational& value() const { return value_; }

 private:
  rational value_;
};

class IntegerPayload : public FormulaPayload {
 public:
  explicit IntegerPayload(integer value)
      : FormulaPayload(FormulaOperatorKind::INTEGER_CONSTANT), value_(std::move(value)) {}
  const integer& value() const { return value_; }

 private:
  integer value_;
};

class FunctionApplicationPayload : public FormulaPayload {
 public:
  explicit FunctionApplicationPayload(Formula head)
      : FormulaPayload(FormulaOperatorKind::FUNCTION_APPLICATION), head_(head) {}
  Formula head() const { return head_; }

 private:
  Formula head_;
};

inline FormulaOperatorKind kind_of(Formula f) {
  return static_cast<const FormulaPayload*>(f->payload())->kind();
}

/// The payload of `f`, which must be of class `P`.
template <typename P>
const P& payload_of(Formula f) {
  return *static_cast<const P*>(f->payload());
}

/// `os << print_formula(f)` writes the text form of `f`, on an explicit stack. A shared subformula
/// prints as often as it is referred to.
struct print_formula {
  explicit print_formula(Formula formula) : f(formula) {}
  Formula f;
};

std::ostream& operator<<(std::ostream& os, const print_formula& p);

}  // namespace kelvo::smt
