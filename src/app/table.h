#pragma once

#include <string>
#include <vector>

namespace kelvo {

/// The names of a table's rows, in its order: what the option that chooses among them allows.
template <typename Rows>
std::vector<std::string> names_of(const Rows& rows) {
  std::vector<std::string> names;
  for (const auto& row : rows) names.emplace_back(row.name);
  return names;
}

/// The row of that name, or null.
template <typename Rows>
auto find_row(const Rows& rows, const std::string& name) -> decltype(&rows[0]) {
  for (const auto& row : rows) {
    if (name == row.name) return &row;
  }
  return nullptr;
}

}  // namespace kelvo
