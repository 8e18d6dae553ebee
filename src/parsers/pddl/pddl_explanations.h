#pragma once

#include <cstddef>
#include <string>

namespace kelvo {

class PddlBuilder;
struct PddlSource;

// Second lines of messages: what stands at the place of an error, and what can be written instead.
// Each function gives "", or a line with a newline before it.

/// Whether the character belongs to a word whose first character is known.
bool continues_word(int character);
/// For a word that begins with a character of no token, such as `:adl`.
std::string explain_unknown_word(const PddlSource& source, const std::string& word,
                                 std::size_t line);
/// For a failure of the grammar with this message, at the token that was read last.
std::string explain_parser_error(const PddlSource& source, const std::string& message);
/// For the message of a failure after the grammar.
std::string explain_failure(const PddlSource& source, const PddlBuilder& builder,
                            const std::string& message);

}  // namespace kelvo
