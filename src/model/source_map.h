#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>

#include "model/expression.h"

namespace kelvo::model {

/// Where a statement begins in the input.
struct SourcePosition {
  std::string file;  // empty for standard input
  std::size_t line = 0;
  std::size_t column = 0;  // 0 where it is not known
};

/// Where the statements of the problems that were read stand. Readers fill it while they build
/// resolved problems; messages read it. What transformers make has no entry.
///
/// Equal statements are one expression, so an entry is found by the owner of the statement, too:
/// "" for the problem, the name of an action, or "type.action" for an action of a user type. Of
/// equal statements of one owner the first position counts.
class SourceMap {
 public:
  void note(const std::string& owner, Expression statement, SourcePosition position) {
    positions_.try_emplace({owner, statement->id()}, std::move(position));
  }

  /// Null where the statement was not read from a file.
  const SourcePosition* find(const std::string& owner, Expression statement) const {
    const auto found = positions_.find({owner, statement->id()});
    return found == positions_.end() ? nullptr : &found->second;
  }

 private:
  std::map<std::pair<std::string, std::size_t>, SourcePosition> positions_;
};

}  // namespace kelvo::model
