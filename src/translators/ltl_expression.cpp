#include "translators/ltl_expression.h"

#include <cassert>
#include <ostream>

namespace kelvo::ltl {

LtlExpressionFactory::LtlExpressionFactory() {
  for (std::size_t kind = 0; kind < operators_.size(); ++kind) {
    operators_[kind] = std::make_unique<LtlExpressionPayload>(static_cast<Kind>(kind));
  }
}

LtlExpression LtlExpressionFactory::make_list(Kind kind, const Expressions& list) {
  assert(!list.empty());
  if (list.size() == 1) return list.front();
  return nodes_.make_node(operators_[static_cast<std::size_t>(kind)].get(), list.size(),
                          list.begin(), list.end());
}

LtlExpression LtlExpressionFactory::make_and(const Expressions& list) {
  return list.empty() ? make_boolean_constant(true) : make_list(Kind::AND, list);
}

LtlExpression LtlExpressionFactory::make_or(const Expressions& list) {
  return list.empty() ? make_boolean_constant(false) : make_list(Kind::OR, list);
}

LtlExpression LtlExpressionFactory::make_times(const Expressions& list) {
  return list.empty() ? make_integer_constant(1) : make_list(Kind::TIMES, list);
}

LtlExpression LtlExpressionFactory::make_plus(const Expressions& list) {
  return list.empty() ? make_integer_constant(0) : make_list(Kind::PLUS, list);
}

LtlExpression LtlExpressionFactory::make_rational_constant(const rational& value) {
  LtlExpression& known = rationals_[value];
  if (known == nullptr) {
    leaf_payloads_.push_back(std::make_unique<RationalPayload>(value));
    known = nodes_.make_node(leaf_payloads_.back().get());
  }
  return known;
}

LtlExpression LtlExpressionFactory::make_integer_constant(const integer& value) {
  LtlExpression& known = integers_[value];
  if (known == nullptr) {
    leaf_payloads_.push_back(std::make_unique<IntegerPayload>(value));
    known = nodes_.make_node(leaf_payloads_.back().get());
  }
  return known;
}

LtlExpression LtlExpressionFactory::make_variable(const std::string& name,
                                                  const model::Type& type) {
  variables_.push_back(std::make_unique<Variable>(name, type));
  leaf_payloads_.push_back(std::make_unique<VariablePayload>(*variables_.back()));
  return nodes_.make_node(leaf_payloads_.back().get());
}

// --- printing ---

void print_ltl_rational(std::ostream& os, const rational& value) {
  os << "f'" << numerator(value);
  if (denominator(value) != 1) os << '/' << denominator(value);
}

namespace {

using Kind = LtlOperatorKind;

// Prints from a stack of what is still to come: formulas and texts.
class Printer {
 public:
  explicit Printer(std::ostream& os) : os_(os) {}

  void print(LtlExpression root) {
    push(root);
    while (!todo_.empty()) {
      const Item item = todo_.back();
      todo_.pop_back();
      if (item.e != nullptr) {
        open(item.e);
      } else {
        os_ << item.text;
      }
    }
  }

 private:
  struct Item {
    LtlExpression e;
    const char* text;
  };

  void push(LtlExpression e) { todo_.push_back({e, nullptr}); }
  void push(const char* text) { todo_.push_back({nullptr, text}); }

  void list(const char* opening, LtlExpression e, const char* separator, const char* closing) {
    os_ << opening;
    push(closing);
    for (std::size_t i = e->arity(); i-- > 0;) {
      push(e->child(i));
      if (i > 0) push(separator);
    }
  }

  void open(LtlExpression e) {
    switch (kind_of(e)) {
      case Kind::AND:
        return list("(", e, " & ", ")");
      case Kind::OR:
        return list("(", e, " | ", ")");
      case Kind::NOT:
        return list("!", e, "", "");
      case Kind::IMPLY:
        return list("(", e, " -> ", ")");
      case Kind::EQUALS:
      case Kind::IFF:
        return list("(", e, " = ", ")");
      case Kind::LT:
        return list("(", e, " < ", ")");
      case Kind::LE:
        return list("(", e, " <= ", ")");
      case Kind::GT:
        return list("(", e, " > ", ")");
      case Kind::GE:
        return list("(", e, " >= ", ")");
      case Kind::TIMES:
        return list("(", e, " * ", ")");
      case Kind::PLUS:
        return list("(", e, " + ", ")");
      case Kind::DIV:
        return list("(", e, " / ", ")");
      case Kind::MINUS:
        return list("(", e, " - ", ")");
      case Kind::LTL_TRUE:
        os_ << "TRUE";
        return;
      case Kind::LTL_FALSE:
        os_ << "FALSE";
        return;
      case Kind::RATIONAL:
        return print_ltl_rational(os_, payload_of<RationalPayload>(e).value());
      case Kind::INTEGER:
        os_ << payload_of<IntegerPayload>(e).value();
        return;
      case Kind::VARIABLE:
        os_ << payload_of<VariablePayload>(e).variable().name();
        return;
      case Kind::NEXT:
        return list("next(", e, "", ")");
      case Kind::X:
        return list("(X ", e, "", ")");
      case Kind::G:
        return list("(G ", e, "", ")");
      case Kind::F:
        return list("(F ", e, "", ")");
      case Kind::U:
        return list("(", e, " U ", ")");
    }
  }

  std::ostream& os_;
  std::vector<Item> todo_;
};

}  // namespace

std::ostream& operator<<(std::ostream& os, const print_ltl& p) {
  Printer(os).print(p.e);
  return os;
}

}  // namespace kelvo::ltl
