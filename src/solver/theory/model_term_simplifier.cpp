#include "solver/theory/model_term_simplifier.h"

#include <utility>

namespace ordax {
namespace {

bool equal(const ModelValue& a, const ModelValue& b) {
  switch (a.sort) {
    case ModelValue::Sort::BOOL:
      return a.truth == b.truth;
    case ModelValue::Sort::NUMBER:
      return a.number == b.number;
    default:
      return a.term == b.term;
  }
}

}  // namespace

ModelValue ModelTermSimplifier::evaluate(TermRef term, const ModelValue* const* args) {
  switch (term->kind()) {
    case Kind::TRUE:
      return ModelValue::of_bool(true);
    case Kind::FALSE:
      return ModelValue::of_bool(false);
    case Kind::NUMERAL:
      return ModelValue::of_number(number_of(term));
    case Kind::NOT:
      return ModelValue::of_bool(!args[0]->truth);
    case Kind::AND:
      return ModelValue::of_bool(args[0]->truth && args[1]->truth);
    case Kind::OR:
      return ModelValue::of_bool(args[0]->truth || args[1]->truth);
    case Kind::IFF:
      return ModelValue::of_bool(args[0]->truth == args[1]->truth);
    case Kind::LEQ:
      return ModelValue::of_bool(args[0]->number <= args[1]->number);
    case Kind::EQUAL:
      return ModelValue::of_bool(equal(*args[0], *args[1]));
    case Kind::TERM_ITE:
      return args[0]->truth ? *args[1] : *args[2];
    case Kind::PLUS:
      return ModelValue::of_number(args[0]->number + args[1]->number);
    case Kind::TIMES:
      return ModelValue::of_number(args[0]->number * args[1]->number);
    case Kind::DIVIDE:
      if (args[1]->number.is_zero()) return {};
      return ModelValue::of_number(args[0]->number / args[1]->number);
    case Kind::FLOOR:
      return ModelValue::of_number(args[0]->number.floor());
    default:
      return {};
  }
}

}  // namespace ordax
