#pragma once

#include <cstddef>
#include <istream>
#include <string>

namespace kelvo {

class PddlBuilder;
struct PddlToken;

/// What a scanner of PDDL reads and what it knows of its place: one for each parse.
struct PddlSource {
  PddlSource(std::istream& source, PddlBuilder& token_builder)
      : stream(source), builder(token_builder) {}

  /// Fills `buffer`; 0 at the end of the input.
  std::size_t read(char* buffer, std::size_t max_size) {
    stream.read(buffer, static_cast<std::streamsize>(max_size));
    return static_cast<std::size_t>(stream.gcount());
  }
  /// Notes the token that is handed to the parser.
  int seen(int token) {
    previous = current;
    return current = token;
  }
  /// The same for a word that begins a part of a definition, such as `:metric`.
  int seen_section(int token) {
    section = token;
    return seen(token);
  }
  /// "file, line 3", or "line 3" when the input has no names.
  std::string place(std::size_t global_line) const;
  /// Whether the input consists of files with names.
  bool has_files() const;

  std::istream& stream;
  PddlBuilder& builder;
  std::size_t line = 1;

  // For explanations of syntax errors.
  int current = 0;
  int previous = 0;
  int section = 0;
  /// The last identifier and the one before; may be null.
  const PddlToken* identifier = nullptr;
  const PddlToken* identifier_before = nullptr;
};

}  // namespace kelvo
