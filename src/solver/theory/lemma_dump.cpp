#include "solver/theory/lemma_dump.h"

#include "solver/terms/smtlib_text.h"
#include "solver/terms/term_walk.h"

namespace ordax {

namespace {

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
      out += smtlib_numeral(number_of(t), /*as_real=*/false);
    } else if (t->arity() == 0) {
      const char* const name = smtlib_operator(t->kind());
      out += name != nullptr ? name : smtlib_symbol(t->symbol);
    } else {
      out += '(';
      const char* const name = smtlib_operator(t->kind());
      out += name != nullptr ? name : smtlib_symbol(t->symbol);
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
          text += "(declare-fun " + smtlib_symbol(t->symbol) + " () " + t->type()->name + ")\n";
        });
  }
  text += "(assert (not (or false";
  for (const TermRef literal : literals) print(literal, text);
  return text + ")))\n(check-sat)\n";
}

}  // namespace ordax
