#include "solver/theory/lemma_dump.h"

#include "solver/terms/number.h"
#include "solver/terms/term_walk.h"

namespace ordax {

namespace {

const char* operator_name(Kind kind) {
  switch (kind) {
    case Kind::AND:
      return "and";
    case Kind::OR:
      return "or";
    case Kind::NOT:
      return "not";
    case Kind::IFF:
    case Kind::EQUAL:
      return "=";
    case Kind::PLUS:
      return "+";
    case Kind::TIMES:
      return "*";
    case Kind::DIVIDE:
      return "/";
    case Kind::LEQ:
      return "<=";
    case Kind::TERM_ITE:
      return "ite";
    default:
      return "unknown";
  }
}

std::string number_text(const Number& n) {
  const std::string top = n.numerator().abs().to_string();
  std::string text = n.is_integer() ? top : "(/ " + top + " " + n.denominator().to_string() + ")";
  return n.sign() < 0 ? "(- " + text + ")" : text;
}

// Prints with an explicit stack: a null entry closes a bracket.
void print(TermRef term, std::string& out) {
  std::vector<TermRef> stack{term};
  while (!stack.empty()) {
    const TermRef t = stack.back();
    stack.pop_back();
    if (t == nullptr) {
      out += ')';
      continue;
    }
    if (out.back() != '(' && out.back() != ' ') out += ' ';
    if (is_number(t)) {
      out += number_text(number_of(t));
    } else if (t->arity() == 0) {
      out += '|' + std::string(t->symbol->name) + '|';
    } else {
      out += '(';
      out += is_uf(t) ? '|' + std::string(t->symbol->name) + '|' : operator_name(t->kind());
      stack.push_back(nullptr);
      for (std::uint32_t i = t->arity(); i-- > 0;) stack.push_back(t->arg(i));
    }
  }
}

}  // namespace

std::string lemma_script(const std::vector<TermRef>& literals) {
  std::string text = "(set-logic QF_LIRA)\n";
  TermSet seen;
  std::vector<TermRef> stack;
  for (const TermRef literal : literals) {
    walk_post_order(
        literal, stack, [&seen](TermRef t) { return seen.contains(t); },
        [&seen, &text](TermRef t) {
          seen.insert(t);
          if (!is_variable(t)) return;
          text +=
              "(declare-fun |" + std::string(t->symbol->name) + "| () " + t->type()->name + ")\n";
        });
  }
  text += "(assert (not (or false";
  for (const TermRef literal : literals) print(literal, text);
  return text + ")))\n(check-sat)\n";
}

}  // namespace ordax
