#include "solver/dpll/clause.h"

#include <cstring>
#include <string>

#include "solver/base/exception.h"

namespace ordax {

// The list for blocks of at least `bytes`, which is raised to what the list holds.
ClauseArena::Block*& ClauseArena::list_of(std::size_t& bytes) {
  const std::size_t words = bytes / 8;
  if (words < kNumClasses) return small_[words];
  std::size_t power = 9;
  while ((std::size_t{1} << power) < bytes) ++power;
  bytes = std::size_t{1} << power;
  return large_[power];
}

Clause* ClauseArena::make(const Lit* literals, std::size_t size, std::uint32_t id, bool learnt,
                          bool boosted) {
  if (size > Clause::kMaxSize) {
    throw Exception("max clause size exceeded (size: " + std::to_string(size) +
                    ", max: " + std::to_string(Clause::kMaxSize) + ")");
  }
  std::size_t bytes = bytes_of(size, learnt);
  Block*& list = list_of(bytes);
  void* memory = list;
  if (memory != nullptr) {
    list = list->next;
  } else {
    memory = memory_.allocate(bytes);
  }
  auto* const clause = ::new (memory) Clause;
  clause->size_lbd_ = static_cast<std::uint32_t>(size);
  clause->id_ = id;
  clause->flags_ = 1 | (learnt ? Clause::kLearnt : 0) | (boosted ? Clause::kBoosted : 0);
  if (size != 0) std::memcpy(clause->begin(), literals, size * sizeof(Lit));
  if (learnt) clause->activity() = 0;
  return clause;
}

void ClauseArena::free_block(Clause* clause) {
  std::size_t bytes = bytes_of(clause->size(), clause->learnt());
  Block*& list = list_of(bytes);
  list = ::new (static_cast<void*>(clause)) Block{list};
}

}  // namespace ordax
