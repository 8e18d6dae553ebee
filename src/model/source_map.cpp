#include "model/source_map.h"

#include <algorithm>
#include <utility>

#include "model/node.h"

namespace kelvo::model {

void sort_lines(std::vector<StatementLine>& lines) {
  const auto before = [](const StatementLine& a, const StatementLine& b) {
    if (a.statement != b.statement) return a.statement->id() < b.statement->id();
    return a.line < b.line;
  };
  // Nodes are numbered as they are made, so that the statements of a text mostly are in order.
  if (!std::ranges::is_sorted(lines, before)) std::ranges::sort(lines, before);
}

void SourceMap::add(StatementLines lines, InputParts parts) {
  for (auto& [owner, list] : lines) {
    sort_lines(list);
    sections_[owner].push_back({std::move(list), inputs_.size()});
  }
  inputs_.push_back(std::move(parts));
}

std::optional<SourcePosition> SourceMap::find(const std::string& owner,
                                              Expression statement) const {
  const auto found = sections_.find(owner);
  if (found == sections_.end()) return std::nullopt;
  for (const Section& section : found->second) {
    const auto id = [](const StatementLine& line) { return line.statement->id(); };
    const auto line = std::ranges::lower_bound(section.lines, statement->id(), {}, id);
    if (line == section.lines.end() || line->statement != statement) continue;
    const InputParts::Place place = inputs_[section.input].place_of(line->line);
    return SourcePosition{place.name, place.line};
  }
  return std::nullopt;
}

}  // namespace kelvo::model
