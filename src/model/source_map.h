#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/expression.h"
#include "shell/input_parts.h"

namespace kelvo::model {

/// Where a statement begins in the input.
struct SourcePosition {
  std::string file;  // empty for standard input
  std::size_t line = 0;
};

/// A statement and the line on which it begins, counted through all parts of its input.
struct StatementLine {
  Expression statement;
  std::size_t line;
};

/// The lines of statements by their owners: "" for the problem, the name of an action, or
/// "type.action" for an action of a user type.
using StatementLines = std::unordered_map<std::string, std::vector<StatementLine>>;

/// Sorts by the numbers of the statements, equal statements by their lines.
void sort_lines(std::vector<StatementLine>& lines);

/// Where the statements of the problems that were read stand. Readers fill it when they have
/// resolved a problem; messages read it. What transformers make has no entry.
///
/// Equal statements are one expression, so an entry is found by the owner, too. Of equal statements
/// of one owner the first position counts.
class SourceMap {
 public:
  /// The statements of one input, which consists of `parts`.
  void add(StatementLines lines, InputParts parts);

  /// Nothing where the statement was not read from a file.
  std::optional<SourcePosition> find(const std::string& owner, Expression statement) const;

 private:
  /// One for each owner and input, sorted.
  struct Section {
    std::vector<StatementLine> lines;
    std::size_t input;
  };

  std::vector<InputParts> inputs_;
  std::unordered_map<std::string, std::vector<Section>> sections_;  // by owner
};

}  // namespace kelvo::model
