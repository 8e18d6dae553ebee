#pragma once

#include <cstddef>
#include <string>

#include "solver/terms/term.h"

namespace ordax {

/// The text of a term in prefix form. A term whose plain text would be long is printed with its
/// shared subterms named once by `let`, so the text stays linear in the number of distinct
/// subterms. With a `limit`, the text is cut off there and ends with "...".
std::string print_term(TermRef term, std::size_t limit = 0);

/// The same, in full, with the operators of SMT-LIB and symbols quoted as it wants. Numerals stand
/// as an integer or a fraction `p/q`.
std::string print_term_as_smtlib(TermRef term);

}  // namespace ordax
