// What forward searches share.

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <vector>

#include "planners/search/open_list.h"
#include "planners/search/state_hash.h"

namespace kelvo {
namespace {

struct Entry {
  double f;
  int second;
  int name;
};
struct ComesLater {
  bool operator()(const Entry& a, const Entry& b) const {
    return a.f > b.f || (a.f == b.f && a.second > b.second);
  }
};

TEST(OpenListTest, TheLeastEntryComesFirstAndAllAreHandedBack) {
  OpenList<Entry, ComesLater> open;
  const Entry entries[] = {{2, 0, 1}, {1, 5, 2}, {1, 3, 3}, {0.5, 9, 4}, {3, 0, 5}, {1, 4, 6}};
  for (const Entry& entry : entries) open.push(entry);
  std::vector<int> order;
  while (open.size() > 2) order.push_back(open.pop().name);
  EXPECT_EQ(order, (std::vector<int>{4, 3, 6, 2}));
  std::set<int> released;
  open.clear([&](const Entry& entry) { released.insert(entry.name); });
  EXPECT_EQ(released, (std::set<int>{1, 5}));
  EXPECT_TRUE(open.empty());
}

// Where a table holds hashes alone, words that differ in place or number must not be one state.
TEST(StateHashTest, TellsApartOrdersLengthsAndLeadingZeros) {
  const std::vector<std::uint64_t> rows[] = {
      {},        {0}, {0, 0},    {1},    {0, 1},        {1, 0},        {1, 2}, {2, 1},
      {0, 0, 1}, {3}, {1, 1, 1}, {1, 1}, {1ULL << 63U}, {1ULL << 32U}, {~0ULL}};
  std::set<std::uint64_t> hashes;
  for (const std::vector<std::uint64_t>& row : rows) {
    StateHash hash;
    for (const std::uint64_t word : row) hash.mix(word);
    EXPECT_TRUE(hashes.insert(hash.value()).second) << testing::PrintToString(row);
  }
}

}  // namespace
}  // namespace kelvo
