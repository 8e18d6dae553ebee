#pragma once

#include <cstddef>
#include <cstdint>

#include "solver/base/pool.h"
#include "solver/dpll/literal.h"

namespace ordax {

/// A clause in one block: this head, the literals, and the activity if it is learnt. The two
/// watched literals stand first.
class Clause {
 public:
  static constexpr std::uint32_t kMaxSize = (1U << 24) - 1;
  static constexpr std::uint32_t kMarkerId = 0xFFFFFFFFU;

  std::uint32_t size() const { return size_lbd_ & kMaxSize; }
  /// Number of distinct decision levels when it was learnt, at most 255; 0 if unset.
  std::uint32_t lbd() const { return size_lbd_ >> 24; }
  void set_lbd(std::uint32_t lbd) { size_lbd_ = size() | ((lbd < 255 ? lbd : 255) << 24); }
  std::uint32_t id() const { return id_; }
  bool learnt() const { return (flags_ & kLearnt) != 0; }
  bool boosted() const { return (flags_ & kBoosted) != 0; }
  std::uint32_t refcount() const { return flags_ & kCountMask; }
  void hold() { ++flags_; }

  Lit* begin() { return literals(); }
  Lit* end() { return literals() + size(); }
  const Lit* begin() const { return literals(); }
  const Lit* end() const { return literals() + size(); }
  Lit& operator[](std::size_t i) { return literals()[i]; }
  Lit operator[](std::size_t i) const { return literals()[i]; }

  float& activity() { return *reinterpret_cast<float*>(literals() + size()); }
  float activity() const { return *reinterpret_cast<const float*>(literals() + size()); }

 private:
  friend class ClauseArena;
  static constexpr std::uint32_t kCountMask = (1U << 30) - 1;
  static constexpr std::uint32_t kLearnt = 1U << 30;
  static constexpr std::uint32_t kBoosted = 1U << 31;

  Lit* literals() { return reinterpret_cast<Lit*>(this + 1); }
  const Lit* literals() const { return reinterpret_cast<const Lit*>(this + 1); }

  std::uint32_t size_lbd_ = 0;
  std::uint32_t id_ = 0;
  std::uint32_t flags_ = 0;
};
static_assert(sizeof(Clause) == 12, "the literals follow the head");

/// Owns the memory of clauses: free lists by size over chunks that go at once at the end. Blocks
/// are 8-aligned, so that bit 0 of a pointer is free.
class ClauseArena {
 public:
  /// A clause of one holder. More than `Clause::kMaxSize` literals are refused with an exception.
  Clause* make(const Lit* literals, std::size_t size, std::uint32_t id, bool learnt, bool boosted);

  /// Gives up one holder; the last one frees the block.
  void release(Clause* clause) {
    if (((--clause->flags_) & Clause::kCountMask) == 0) free_block(clause);
  }

  std::size_t bytes() const { return memory_.bytes(); }

 private:
  struct Block {
    Block* next;
  };
  static constexpr std::size_t kNumClasses = 64;       // of 8 bytes each
  static constexpr std::size_t kNumLargeClasses = 32;  // by power of two

  static std::size_t bytes_of(std::size_t size, bool learnt) {
    return (sizeof(Clause) + (size + (learnt ? 1 : 0)) * sizeof(Lit) + 7) & ~std::size_t{7};
  }
  Block*& list_of(std::size_t& bytes);
  void free_block(Clause* clause);

  Arena memory_;
  Block* small_[kNumClasses] = {};
  Block* large_[kNumLargeClasses] = {};
};

}  // namespace ordax
