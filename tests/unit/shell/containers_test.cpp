#include "shell/containers.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace kelvo {
namespace {

TEST(HashingTest, ContainersAreFoldedInOrder) {
  const std::size_t h1 = std::hash<int>{}(1);
  const std::size_t h2 = std::hash<int>{}(2);
  const auto fold = [](std::size_t seed, std::size_t h) {
    return seed ^ (h + 0x9e3779b9 + (seed << 6) + (seed >> 2));
  };
  const std::size_t both = fold(fold(0, h1), h2);
  EXPECT_EQ((std::hash<std::vector<int>>{}({1, 2})), both);
  EXPECT_EQ((std::hash<std::set<int>>{}({2, 1})), both);
  EXPECT_EQ((std::hash<std::tuple<int, int>>{}({1, 2})), both);
  EXPECT_EQ((std::hash<std::pair<int, int>>{}({1, 2})), fold(h1, h2));
  EXPECT_NE((std::hash<std::vector<int>>{}({2, 1})), both);
}

TEST(HashingTest, NestedContainersAreKeys) {
  map<std::pair<int, std::vector<std::string>>, int> counts;
  ++counts[{1, {"a", "b"}}];
  ++counts[{1, {"a", "b"}}];
  ++counts[{1, {"b", "a"}}];
  EXPECT_EQ(counts.size(), 2u);
}

TEST(ContainersTest, EmptyIntersectionOfBothKindsOfSets) {
  const std::tuple<std::vector<int>, std::vector<int>, bool> cases[] = {
      {{}, {}, true},
      {{1}, {}, true},
      {{1, 3, 5}, {2, 4, 6}, true},
      {{1, 3, 5}, {0, 5}, false},
      {{7}, {1, 2, 3, 7}, false},
      {{9}, {1, 2, 3}, true},
  };
  for (const auto& [a, b, expected] : cases) {
    EXPECT_EQ(
        empty_intersection(std::set<int>(a.begin(), a.end()), std::set<int>(b.begin(), b.end())),
        expected);
    EXPECT_EQ(empty_intersection(set<int>(a.begin(), a.end()), set<int>(b.begin(), b.end())),
              expected);
  }
}

TEST(ContainersTest, TheFirstContainerOfAProductVariesSlowest) {
  using Tuples = std::vector<std::vector<int>>;
  EXPECT_EQ(cartesian_product(Tuples{{1, 2}, {3}, {4, 5}}),
            (Tuples{{1, 3, 4}, {1, 3, 5}, {2, 3, 4}, {2, 3, 5}}));
  EXPECT_EQ(cartesian_product(Tuples{}), Tuples{{}});
  EXPECT_EQ(cartesian_product(Tuples{{1, 2}, {}}), Tuples{});
  EXPECT_EQ(cartesian_product(std::vector<std::set<int>>{{2, 1}, {3}}), (Tuples{{1, 3}, {2, 3}}));

  const std::vector<std::tuple<int, std::string>> expected = {
      {1, "a"}, {1, "b"}, {2, "a"}, {2, "b"}};
  EXPECT_EQ(cartesian_product_explicit(std::vector<int>{1, 2}, std::vector<std::string>{"a", "b"}),
            expected);
}

}  // namespace
}  // namespace kelvo
