#pragma once

#include <istream>

#include "parsers/reader_support.h"

namespace kelvo {

class AnmlBuilder;

/// What a scanner of ANML reads and what it knows of its place: one for each reading.
struct AnmlSource : ScannedText<AnmlBuilder> {
  using ScannedText::ScannedText;

  /// The last token, 0 before the first.
  int previous = 0;
  /// Whether the next token is the first of a statement.
  bool begins_statement = true;
};

}  // namespace kelvo
