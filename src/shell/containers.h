#pragma once

#include <cstddef>
#include <set>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "shell/hashing.h"

namespace kelvo {

/// Hash containers. Their order is visible nowhere: what is iterated into an output or into new
/// nodes uses `std::set`, `std::map` or a vector beside.
template <typename T>
using set = std::unordered_set<T>;

template <typename K, typename V>
using map = std::unordered_map<K, V>;

/// True when no element is common.
template <typename T, typename Hash, typename Equal, typename Allocator>
bool empty_intersection(const std::unordered_set<T, Hash, Equal, Allocator>& a,
                        const std::unordered_set<T, Hash, Equal, Allocator>& b) {
  const auto& small = a.size() <= b.size() ? a : b;
  const auto& large = a.size() <= b.size() ? b : a;
  for (const T& element : small) {
    if (large.contains(element)) return false;
  }
  return true;
}

template <typename T, typename Compare, typename Allocator>
bool empty_intersection(const std::set<T, Compare, Allocator>& a,
                        const std::set<T, Compare, Allocator>& b) {
  const Compare less = a.key_comp();
  auto left = a.begin();
  auto right = b.begin();
  while (left != a.end() && right != b.end()) {
    if (less(*left, *right)) {
      ++left;
    } else if (less(*right, *left)) {
      ++right;
    } else {
      return false;
    }
  }
  return true;
}

/// All choices of one element from each container; the first container varies slowest. One empty
/// choice for no container.
template <typename Container>
auto cartesian_product(const std::vector<Container>& containers) {
  using Tuple = std::vector<typename Container::value_type>;
  std::vector<Tuple> tuples(1);
  for (const Container& container : containers) {
    std::vector<Tuple> longer;
    longer.reserve(tuples.size() * container.size());
    for (const Tuple& tuple : tuples) {
      for (const auto& element : container) {
        longer.push_back(tuple);
        longer.back().push_back(element);
      }
    }
    tuples = std::move(longer);
  }
  return tuples;
}

/// As `cartesian_product`, for a fixed list of vectors whose element types may differ.
template <typename... Ts>
std::vector<std::tuple<Ts...>> cartesian_product_explicit(const std::vector<Ts>&... vectors) {
  std::vector<std::tuple<>> start(1);
  const auto extend = []<typename... Before, typename T>(
                          const std::vector<std::tuple<Before...>>& tuples,
                          const std::vector<T>& elements) {
    std::vector<std::tuple<Before..., T>> longer;
    longer.reserve(tuples.size() * elements.size());
    for (const auto& tuple : tuples) {
      for (const T& element : elements) {
        longer.push_back(std::tuple_cat(tuple, std::tuple<T>(element)));
      }
    }
    return longer;
  };
  const auto fold = [&extend](const auto& self, const auto& tuples, const auto&... rest) {
    if constexpr (sizeof...(rest) == 0) {
      return tuples;
    } else {
      return [&](const auto& next, const auto&... after) {
        return self(self, extend(tuples, next), after...);
      }(rest...);
    }
  };
  return fold(fold, start, vectors...);
}

}  // namespace kelvo
