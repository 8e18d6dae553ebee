#include "translators/pddl_expression_printer.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "shell/errors.h"
#include "translators/pddl_names.h"

namespace kelvo {

using model::Expression;
using Kind = model::ExpressionOperatorKind;

namespace {

// How often `divisor` divides `number`, which loses these factors.
std::size_t take_factors(integer& number, int divisor) {
  std::size_t count = 0;
  while (number % divisor == 0) {
    number /= divisor;
    ++count;
  }
  return count;
}

// The absolute value in decimal notation where that is exact, else a quotient.
std::string magnitude(const rational& value) {
  const integer above = abs(numerator(value));
  const integer below = denominator(value);
  integer rest = below;
  const std::size_t twos = take_factors(rest, 2);
  const std::size_t fives = take_factors(rest, 5);
  if (rest != 1) return "(/ " + above.str() + " " + below.str() + ")";
  const std::size_t num_digits = std::max(twos, fives);
  integer scale = 1;
  for (std::size_t i = 0; i < num_digits; ++i) scale *= 10;
  const integer scaled = above * (scale / below);
  std::string digits = scaled.str();
  if (num_digits == 0) return digits;
  if (digits.size() <= num_digits) digits.insert(0, num_digits + 1 - digits.size(), '0');
  digits.insert(digits.size() - num_digits, ".");
  return digits;
}

// PDDL has neither signs nor fractions.
std::string number(const rational& value) {
  if (value < 0) return "(- 0 " + magnitude(value) + ")";
  return magnitude(value);
}

}  // namespace

std::string pddl_indent(int level) {
  return std::string(4 * static_cast<std::size_t>(level), ' ');
}

/// The printing of one expression.
class PddlExpressionPrinter::Run {
 public:
  explicit Run(const PddlExpressionPrinter& printer) : ef_(printer.ef_), names_(printer.names_) {}

  std::string print(Expression root) {
    push(root);
    while (!todo_.empty()) {
      const Item item = std::move(todo_.back());
      todo_.pop_back();
      if (item.e == nullptr) {
        text_ += item.text;
      } else {
        open(item.e);
      }
    }
    return std::move(text_);
  }

 private:
  void push(Expression e) { todo_.push_back({e, ""}); }
  void push(std::string text) { todo_.push_back({nullptr, std::move(text)}); }

  // "(" word, the children each after `separator`, ")".
  void list(const std::string& word, Expression e, const std::string& separator) {
    text_ += "(" + word;
    push(")");
    for (std::size_t i = e->arity(); i-- > 0;) {
      push(e->child(i));
      push(separator);
    }
  }
  void lines(const std::string& word, Expression e) { list(word, e, "\n" + pddl_indent(4)); }

  // Truth values are told by the expression alone.
  void equality(Expression e) {
    if (ef_.is_true(e->child(1))) return push(e->child(0));
    if (!ef_.is_false(e->child(1))) return list("=", e, " ");
    text_ += "(not ";
    push(")");
    push(e->child(0));
  }

  void interval(Expression e) {
    if (e->arity() == 1) {
      text_ += "at ";
      return push(e->child(0));
    }
    check_is_whole(e);
    text_ += "over all";
  }

  static void check_is_whole(Expression interval) {
    if (interval->arity() != 2) throw InternalError("Intermediate effects are forbidden!");
    if (model::kind_of(interval->child(0)) != Kind::START ||
        model::kind_of(interval->child(1)) != Kind::END) {
      throw InternalError("Intervals with arity greater than 1 must have START and END as bounds!");
    }
  }

  void temporal_expression(Expression e) {
    const Expression interval = e->child(0);
    const Expression body = e->child(1);
    if (ef_.is_temporal_expression(body)) fail();
    if (ef_.is_assign(body) && !ef_.is_point_interval(interval)) {
      throw InternalError("Temporal expression of an effect must has only point interval!");
    }
    if (interval->arity() == 1) {
      const Expression time = interval->child(0);
      if (!ef_.is_start_anchor(time) && !ef_.is_end_anchor(time)) {
        throw InternalError("Intermediate effects are forbidden!");
      }
      text_ += "(";
      push(")");
      push(body);
      push(" ");
      return push(interval);
    }
    check_is_whole(interval);
    durative_condition(interval, body);
  }

  // `over all` is the open interval, so closed ends are conditions of their own.
  void durative_condition(Expression interval, Expression body) {
    const auto& payload = model::payload_of<model::IntervalPayload>(interval);
    std::vector<std::string> times;
    if (payload.left_closed()) times.emplace_back("at start");
    times.emplace_back("over all");
    if (payload.right_closed()) times.emplace_back("at end");
    const bool is_conjunction = times.size() > 1;
    if (is_conjunction) {
      text_ += "(and ";
      push(")");
    }
    for (std::size_t i = times.size(); i-- > 0;) {
      push(")");
      push(body);
      push((i == 0 ? "(" : "\n" + pddl_indent(4) + "(") + times[i] + " ");
    }
  }

  void functional_apply(Expression e) {
    const Expression reference = ef_.get_reference_from_functional_apply(e);
    if (!ef_.is_fluent_reference(reference)) fail();
    list(names_(ef_.get_fluent_from_reference(reference)->name()), e, " ");
  }

  [[noreturn]] static void fail() {
    throw InternalError("Unknown Node type Encountered in Pddl Expression Printing");
  }

  void open(Expression e) {
    switch (model::kind_of(e)) {
      case Kind::AND:
        return lines("and", e);
      case Kind::OR:
        return lines("or", e);
      case Kind::TIMES:
        return lines("*", e);
      case Kind::PLUS:
        return lines("+", e);
      case Kind::NOT:
        return list("not", e, " ");
      case Kind::IMPLY:
        return list("imply", e, " ");
      case Kind::EQUALS:
      case Kind::IFF:
      case Kind::ASSIGN:
        return equality(e);
      case Kind::LT:
        return list("<", e, " ");
      case Kind::LE:
        return list("<=", e, " ");
      case Kind::GT:
        return list(">", e, " ");
      case Kind::GE:
        return list(">=", e, " ");
      case Kind::DIV:
        return list("/", e, " ");
      case Kind::MINUS:
        return list("-", e, " ");
      case Kind::INTERVAL:
        return interval(e);
      case Kind::TEMPORAL_EXPR:
        return temporal_expression(e);
      case Kind::START:
        return push("start");
      case Kind::END:
        return push("end");
      case Kind::DURATION:
        return push("?duration");
      case Kind::EXPR_TRUE:
        return push("true");
      case Kind::EXPR_FALSE:
        return push("false");
      case Kind::RATIONAL_CONSTANT:
      case Kind::INTEGER_CONSTANT:
        return push(number(ef_.get_number(e)));
      case Kind::FLUENT_REF:
        return push("(" + names_(ef_.get_fluent_from_reference(e)->name()) + ")");
      case Kind::PARAMETER_REF:
        return push("?" + ef_.get_parameter_from_reference(e)->name());
      case Kind::INSTANCE_REF:
        return push(names_(ef_.get_instance_from_reference(e)->name()));
      case Kind::FLUENT_FUN_APPLY:
        return functional_apply(e);
      default:
        fail();
    }
  }

  const model::ExpressionFactory& ef_;
  const PddlNames& names_;
  std::string text_;
  std::vector<Item> todo_;
};

std::string PddlExpressionPrinter::operator()(Expression e) const {
  return Run(*this).print(e);
}

}  // namespace kelvo
