#include "planners/task/id_set.h"

#include <algorithm>
#include <cassert>

namespace kelvo {

void IdSet::finish() {
  std::sort(members.begin(), members.end());
  members.erase(std::unique(members.begin(), members.end()), members.end());
  signature = 0;
  for (const std::uint32_t member : members) signature |= std::uint64_t{1} << (member % 64);
}

bool IdSet::contains(std::uint32_t member) const {
  assert(std::is_sorted(members.begin(), members.end()));
  if ((signature >> (member % 64) & 1) == 0) return false;
  return std::binary_search(members.begin(), members.end(), member);
}

bool have_common_member(const IdSet& a, const IdSet& b) {
  assert(std::is_sorted(a.members.begin(), a.members.end()));
  assert(std::is_sorted(b.members.begin(), b.members.end()));
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

}  // namespace kelvo
