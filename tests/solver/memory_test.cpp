// An allocator that gives out at any point leaves an environment that answers as if the call had
// not been made.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "tests/solver/session.h"

namespace {

long allocations_left = -1;  // negative: no end

}  // namespace

// Not inlined: the compiler would see memory of `malloc` go to `delete`, and the like.
[[gnu::noinline]] void* operator new(std::size_t bytes) {
  if (allocations_left == 0) throw std::bad_alloc();
  if (allocations_left > 0) --allocations_left;
  void* const memory = std::malloc(bytes == 0 ? 1 : bytes);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace ordax_testing {
namespace {

// Runs a call with ever more allocations until it succeeds; false after each failure.
template <typename Call>
int attempts(const Call& call) {
  for (int limit = 0;; ++limit) {
    allocations_left = limit;
    try {
      call();
      allocations_left = -1;
      return limit;
    } catch (const std::bad_alloc&) {
      allocations_left = -1;
    }
  }
}

void play(const Options& options) {
  Session s(options);
  const ordax_term x = s.real("x");
  const ordax_term y = s.real("y");
  const ordax_term i = s.integer("i");
  const ordax_term p = s.boolean("p");
  ordax_term big{};
  int failures = attempts([&] { big = s.number("123456789012345678901234567890"); });
  EXPECT_EQ(big.repr, s.number("123456789012345678901234567890").repr) << "one term for a number";
  ordax_term sum{};
  failures += attempts([&] { sum = s.leq(s.plus(x, s.times(s.number("3"), y)), s.number("7")); });
  failures += attempts([&] { s.add(s.either(p, sum)); });
  failures += attempts([&] { s.add(s.leq(s.number("5/2"), i)); });
  failures += attempts([&] { EXPECT_EQ(s.solve(), 1); });
  EXPECT_EQ(s.value(s.leq(s.number("3"), i)), "true");
  for (int round = 0; round < 3; ++round) {
    failures += attempts([&] { ordax_push_backtrack_point(s); });
    failures += attempts([&] { s.add(s.both(s.negation(p), s.leq(s.number("8"), x))); });
    failures += attempts([&] { s.add(s.leq(s.number("0"), y)); });
    failures += attempts([&] { EXPECT_EQ(s.solve(), 0); });
    failures += attempts([&] { ordax_pop_backtrack_point(s); });
    failures += attempts([&] { EXPECT_EQ(s.solve({s.negation(p)}), 1); });
    failures += attempts([&] { EXPECT_NE(s.value(x), ""); });
  }
  EXPECT_EQ(ordax_pop_backtrack_point(s), -1) << "as many pops as pushes";
  EXPECT_GT(failures, 100) << "the allocator has to have failed";
}

TEST(Memory, WhatFailsForWantOfMemoryLeavesNothingHalfDone) {
  play({});
  play({{"shallow_incrementality", "true"}});
  play({{"unsat_core_generation", "3"}});
}

}  // namespace
}  // namespace ordax_testing
