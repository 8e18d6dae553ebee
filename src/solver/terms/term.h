#pragma once

#include <cstdint>

#include "solver/terms/signature.h"

namespace ordax {

/// A perfectly shared, immutable term: two equal terms are one record, so pointers are compared.
/// The arguments stand behind the record, as many as the symbol's arity. Ids count from 1 in order
/// of creation, so an argument's id is below that of the term around it; sorting by id is the
/// canonical order of arguments.
struct Term {
  std::uint64_t id;
  const Symbol* symbol;

  const Term* const* args() const { return reinterpret_cast<const Term* const*>(this + 1); }
  const Term* arg(std::size_t i) const { return args()[i]; }
  std::uint32_t arity() const { return symbol->arity; }
  Kind kind() const { return symbol->kind; }
  const Type* type() const { return symbol->result; }
};
static_assert(sizeof(Term) == 16, "arguments follow inline");

/// Borrowed from the `TermManager`, valid as long as it lives; null stands for no term.
using TermRef = const Term*;

/// Hash of tables keyed by term: ids are the same in every run, addresses are not.
struct TermHash {
  std::uint64_t operator()(TermRef term) const { return term->id * 0x9e3779b97f4a7c15ULL >> 16; }
};

inline bool is_true(TermRef t) {
  return t->kind() == Kind::TRUE;
}
inline bool is_false(TermRef t) {
  return t->kind() == Kind::FALSE;
}
inline bool is_not(TermRef t) {
  return t->kind() == Kind::NOT;
}
inline bool is_and(TermRef t) {
  return t->kind() == Kind::AND;
}
inline bool is_or(TermRef t) {
  return t->kind() == Kind::OR;
}
inline bool is_iff(TermRef t) {
  return t->kind() == Kind::IFF;
}
inline bool is_leq(TermRef t) {
  return t->kind() == Kind::LEQ;
}
inline bool is_equal(TermRef t) {
  return t->kind() == Kind::EQUAL;
}
inline bool is_term_ite(TermRef t) {
  return t->kind() == Kind::TERM_ITE;
}
inline bool is_plus(TermRef t) {
  return t->kind() == Kind::PLUS;
}
inline bool is_times(TermRef t) {
  return t->kind() == Kind::TIMES;
}
inline bool is_divide(TermRef t) {
  return t->kind() == Kind::DIVIDE;
}
inline bool is_floor(TermRef t) {
  return t->kind() == Kind::FLOOR;
}
inline bool is_number(TermRef t) {
  return t->kind() == Kind::NUMERAL;
}
/// A constant that the user or the encoder declared, of any type.
inline bool is_variable(TermRef t) {
  return t->kind() == Kind::USER && t->arity() == 0;
}
/// An application of an uninterpreted function.
inline bool is_uf(TermRef t) {
  return t->kind() == Kind::USER && t->arity() > 0;
}
/// True for the Boolean connectives; such a term gets a label, not a theory atom.
inline bool is_connective(TermRef t) {
  return t->kind() >= Kind::AND && t->kind() <= Kind::IFF;
}

/// The value of a numeral.
inline const Number& number_of(TermRef t) {
  return *t->symbol->number;
}

}  // namespace ordax
