#pragma once

#include <cstddef>
#include <functional>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

namespace kelvo {

/// Folds the hash of `value` into `seed`.
template <typename T>
void hash_combine(std::size_t& seed, const T& value) {
  seed ^= std::hash<T>{}(value) + 0x9e3779b9 + (seed << 6) + (seed >> 2);
}

/// The fold of the elements of a range, in order, from seed 0.
template <typename Range>
std::size_t hash_of_range(const Range& range) {
  std::size_t seed = 0;
  for (const auto& element : range) hash_combine(seed, element);
  return seed;
}

}  // namespace kelvo

// A container of the program's hash tables may itself be a key.

template <typename... Ts>
struct std::hash<std::tuple<Ts...>> {
  std::size_t operator()(const std::tuple<Ts...>& value) const {
    std::size_t seed = 0;
    std::apply([&seed](const Ts&... elements) { (kelvo::hash_combine(seed, elements), ...); },
               value);
    return seed;
  }
};

template <typename First, typename Second>
struct std::hash<std::pair<First, Second>> {
  std::size_t operator()(const std::pair<First, Second>& value) const {
    std::size_t seed = std::hash<First>{}(value.first);
    kelvo::hash_combine(seed, value.second);
    return seed;
  }
};

template <typename T, typename Allocator>
struct std::hash<std::vector<T, Allocator>> {
  std::size_t operator()(const std::vector<T, Allocator>& value) const {
    return kelvo::hash_of_range(value);
  }
};

template <typename T, typename Compare, typename Allocator>
struct std::hash<std::set<T, Compare, Allocator>> {
  std::size_t operator()(const std::set<T, Compare, Allocator>& value) const {
    return kelvo::hash_of_range(value);
  }
};
