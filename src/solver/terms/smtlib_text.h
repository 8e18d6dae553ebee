#pragma once

#include <string>

#include "solver/terms/number.h"
#include "solver/terms/term.h"

namespace ordax {

/// The operator of a kind in SMT-LIB v2; null for numerals, constants and declared functions.
const char* smtlib_operator(Kind kind);

/// A declared symbol as the language reads it: as it is where that is allowed, else between bars.
/// What cannot be written even so is replaced, and the id keeps the name apart from others.
std::string smtlib_symbol(const Symbol* symbol);

/// A number as a term of the language; `as_real` writes "2.0" for 2.
std::string smtlib_numeral(const Number& value, bool as_real);

/// A text between bars.
std::string between_bars(const std::string& text);

}  // namespace ordax
