#include "smt/formula.h"

#include <array>
#include <ostream>

#include "shell/errors.h"

namespace kelvo::smt {

namespace {

using Kind = FormulaOperatorKind;

struct KindText {
  const char* word;
  const char* token;  // null for a kind that is not printed as an operator
};

constexpr std::array<KindText, 21> kind_texts{{
    {"AND", "&"},
    {"OR", "|"},
    {"NOT", nullptr},
    {"IMPLY", "->"},
    {"EQUALS", "=="},
    {"IFF", "<->"},
    {"LT", "<"},
    {"LE", "<="},
    {"GT", ">"},
    {"GE", ">="},
    {"TIMES", "*"},
    {"PLUS", "+"},
    {"DIV", "/"},
    {"MINUS", "-"},
    {"ITE", nullptr},
    {"SMT_TRUE", nullptr},
    {"SMT_FALSE", nullptr},
    {"RATIONAL_CONSTANT", nullptr},
    {"INTEGER_CONSTANT", nullptr},
    {"VARIABLE", nullptr},
    {"FUNCTION_APPLICATION", nullptr},
}};

// Prints from a stack of what is still to come: formulas and texts.
class Printer {
 public:
  explicit Printer(std::ostream& os) : os_(os) {}

  void print(Formula root) {
    push(root);
    while (!todo_.empty()) {
      const Item item = todo_.back();
      todo_.pop_back();
      if (item.f != nullptr) {
        open(item.f);
      } else {
        os_ << item.text;
      }
    }
  }

 private:
  struct Item {
    Formula f;
    const char* text;
  };

  void push(Formula f) { todo_.push_back({f, nullptr}); }
  void push(const char* text) { todo_.push_back({nullptr, text}); }

  void operation(Formula f, const char* token) {
    os_ << '(';
    push(")");
    for (std::size_t i = f->arity(); i-- > 0;) {
      push(f->child(i));
      if (i > 0) {
        push(" ");
        push(token);
        push(" ");
      }
    }
  }

  void application(Formula f) {
    push(")");
    for (std::size_t i = f->arity(); i-- > 0;) {
      push(f->child(i));
      if (i > 0) push(", ");
    }
    push("(");
    push(payload_of<FunctionApplicationPayload>(f).head());
  }

  void if_then_else(Formula f) {
    os_ << '(';
    push(")");
    push(f->child(2));
    push(" : ");
    push(f->child(1));
    push(" ? ");
    push(f->child(0));
  }

  void open(Formula f) {
    const Kind kind = kind_of(f);
    switch (kind) {
      case Kind::NOT:
        os_ << "(! ";
        push(")");
        push(f->child(0));
        return;
      case Kind::ITE:
        return if_then_else(f);
      case Kind::SMT_TRUE:
        os_ << "true";
        return;
      case Kind::SMT_FALSE:
        os_ << "false";
        return;
      case Kind::RATIONAL_CONSTANT:
        os_ << payload_of<RationalPayload>(f).value();
        return;
      case Kind::INTEGER_CONSTANT:
        os_ << payload_of<IntegerPayload>(f).value();
        return;
      case Kind::VARIABLE:
        os_ << payload_of<SymbolPayload>(f).name();
        return;
      case Kind::FUNCTION_APPLICATION:
        return application(f);
      default:
        break;
    }
    const auto code = static_cast<std::size_t>(kind);
    if (code >= kind_texts.size()) {
      throw InternalError() << "Unknown Node type Encountered in Formula Printing: " << kind;
    }
    operation(f, kind_texts[code].token);
  }

  std::ostream& os_;
  std::vector<Item> todo_;
};

}  // namespace

std::ostream& operator<<(std::ostream& os, FormulaOperatorKind kind) {
  const auto code = static_cast<std::size_t>(kind);
  if (code >= kind_texts.size()) {
    throw InternalError("Unknown Node type Encountered in FormulaOperatorKind Printing: ");
  }
  return os << kind_texts[code].word;
}

const char* kind_word(SmtTypeKind kind) {
  switch (kind) {
    case SmtTypeKind::BOOLEAN:
      return "boolean";
    case SmtTypeKind::REAL:
      return "real";
    case SmtTypeKind::INTEGER:
      return "integer";
  }
  return "unknown";
}

std::ostream& operator<<(std::ostream& os, const print_formula& p) {
  Printer(os).print(p.f);
  return os;
}

}  // namespace kelvo::smt
