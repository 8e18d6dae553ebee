#include "planners/ftp/event_template.h"

#include <algorithm>

namespace kelvo::ftp {

bool FluentSet::contains(std::uint32_t fluent) const {
  if ((signature >> (fluent % 64) & 1) == 0) return false;
  return std::binary_search(members.begin(), members.end(), fluent);
}

bool have_common_fluent(const FluentSet& a, const FluentSet& b) {
  if ((a.signature & b.signature) == 0) return false;
  auto left = a.members.begin();
  auto right = b.members.begin();
  while (left != a.members.end() && right != b.members.end()) {
    if (*left == *right) return true;
    if (*left < *right) {
      ++left;
    } else {
      ++right;
    }
  }
  return false;
}

}  // namespace kelvo::ftp
