#include "model/print_expression.h"

#include <ostream>
#include <string>
#include <vector>

#include "model/action.h"
#include "model/constant.h"
#include "model/expression_payloads.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "shell/errors.h"
#include "shell/numbers.h"

namespace kelvo::model {

namespace {

using Kind = ExpressionOperatorKind;

// Prints from a stack of what is still to come: expressions and texts.
class Printer {
 public:
  explicit Printer(std::ostream& os) : os_(os) {}

  void print(Expression root) {
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
    Expression e;
    const char* text;
  };

  void push(Expression e) { todo_.push_back({e, nullptr}); }
  void push(const char* text) { todo_.push_back({nullptr, text}); }

  // The children with `separator` between them and `closing` after them, after `opening` at once.
  void list(Expression e, const char* opening, const char* separator, const char* closing) {
    os_ << opening;
    push(closing);
    for (std::size_t i = e->arity(); i-- > 0;) {
      push(e->child(i));
      if (i > 0) push(separator);
    }
  }

  void binary(Expression e, const char* separator) { list(e, "(", separator, ")"); }

  void interval(Expression e) {
    const auto& payload = payload_of<IntervalPayload>(e);
    os_ << (payload.left_closed() ? '[' : '(');
    const char* closing = payload.right_closed() ? "]" : ")";
    if (e->arity() == 2 && kind_of(e->child(0)) == Kind::START &&
        kind_of(e->child(1)) == Kind::END) {
      os_ << "all" << closing;
    } else {
      list(e, "", ", ", closing);
    }
  }

  void contains(Expression e) {
    const std::string& label = payload_of<IdentifierPayload>(e).name();
    if (!label.empty()) {
      push(":");
      push(label.c_str());
      push(" ");
    }
    if (e->arity() == 2) {
      push("]");
      push(e->child(1));
      push(" [");
    }
    push(" contains");
    push(e->child(0));
  }

  void rational_constant(const rational& value) {
    os_ << to_text(value);
    if (denominator(value) == 1) os_ << ".0";
  }

  void action_status_is(const ActionStatusIsPayload& payload) {
    if (const Instance instance = payload.instance()) os_ << instance->name() << '.';
    os_ << payload.action()->name() << ".action_status_is(" << payload.status() << ')';
  }

  void open(Expression e) {
    switch (kind_of(e)) {
      case Kind::AND:
        return binary(e, " and ");
      case Kind::OR:
        return binary(e, " or ");
      case Kind::NOT:
        return list(e, "(not ", "", ")");
      case Kind::IMPLY:
        return binary(e, " implies ");
      case Kind::EQUALS:
      case Kind::IFF:
        return binary(e, " == ");
      case Kind::LT:
        return binary(e, " < ");
      case Kind::LE:
        return binary(e, " <= ");
      case Kind::GT:
        return binary(e, " > ");
      case Kind::GE:
        return binary(e, " >= ");
      case Kind::TIMES:
        return binary(e, " * ");
      case Kind::PLUS:
        return binary(e, " + ");
      case Kind::DIV:
        return binary(e, " / ");
      case Kind::MINUS:
        return binary(e, " - ");
      case Kind::ASSIGN:
        return binary(e, " := ");
      case Kind::IN_ASSIGN:
        return binary(e, " :in ");
      case Kind::INTERVAL:
        return interval(e);
      case Kind::TEMPORAL_EXPR:
        return list(e, "", " ", "");
      case Kind::START:
        os_ << "start";
        return;
      case Kind::END:
        os_ << "end";
        return;
      case Kind::DURATION:
        os_ << "duration";
        return;
      case Kind::DOT:
        return list(e, "", ".", "");
      case Kind::EXPR_TRUE:
        os_ << "true";
        return;
      case Kind::EXPR_FALSE:
        os_ << "false";
        return;
      case Kind::RATIONAL_CONSTANT:
        return rational_constant(payload_of<RationalPayload>(e).value());
      case Kind::INTEGER_CONSTANT:
        os_ << to_text(payload_of<IntegerPayload>(e).value());
        return;
      case Kind::UNRESOLVED_SYMBOL:
        os_ << "unresolved<" << payload_of<IdentifierPayload>(e).name() << '>';
        return;
      case Kind::FLUENT_REF:
        os_ << payload_of<FluentPayload>(e).fluent()->name();
        return;
      case Kind::CONSTANT_REF:
        os_ << payload_of<ConstantPayload>(e).constant()->name();
        return;
      case Kind::PARAMETER_REF:
        os_ << payload_of<ParameterPayload>(e).parameter()->name();
        return;
      case Kind::INSTANCE_REF:
        os_ << payload_of<InstancePayload>(e).instance()->name();
        return;
      case Kind::LABEL_REF:
        os_ << "start(" << payload_of<IdentifierPayload>(e).name() << ')';
        return;
      case Kind::FLUENT_FUN_APPLY:
        list(e, "", ", ", ")");
        push("(");
        push(payload_of<FluentFunApplyPayload>(e).reference());
        return;
      case Kind::ACTION_STATUS_IS:
        return action_status_is(payload_of<ActionStatusIsPayload>(e));
      case Kind::CONTAINS:
        return contains(e);
      case Kind::IN:
        return binary(e, " in ");
      case Kind::SUBSET:
        return binary(e, " subset ");
      case Kind::UNION:
        return binary(e, " union ");
      case Kind::INTERSECTION:
        return binary(e, " intersection ");
      case Kind::DIFFERENCE:
        return binary(e, " \\ ");
      case Kind::SET_CONSTANT:
        return list(e, "{", ", ", "}");
    }
    throw InternalError("Unknown Node type Encountered in Expression Printing");
  }

  std::ostream& os_;
  std::vector<Item> todo_;
};

}  // namespace

std::ostream& operator<<(std::ostream& os, const print_expression& p) {
  Printer(os).print(p.e);
  return os;
}

}  // namespace kelvo::model
