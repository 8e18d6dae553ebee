#pragma once

#include <cstdint>
#include <vector>

#include "solver/base/hash_table.h"
#include "solver/base/pool.h"
#include "solver/terms/term.h"

namespace ordax {

/// The one hash table of all terms of an environment; owns their memory.
class TermTable {
 public:
  TermTable();
  TermTable(const TermTable&) = delete;
  TermTable& operator=(const TermTable&) = delete;

  /// The term with this head and these arguments, made if it is new.
  TermRef get(const Symbol* symbol, const TermRef* args);

  std::uint64_t num_terms() const { return next_id_ - 1; }
  /// Whether a term, of whatever table, is one of these.
  bool owns(TermRef term) const { return Arena::owner_of(term) == this; }

 private:
  struct Node {
    Node* next;
    TermRef term;
    std::uint32_t hash;
  };

  static std::size_t limit_of(const PrimeModulus& modulus) {
    return static_cast<std::size_t>(0.7 * modulus.value());
  }
  void make_room();

  PrimeModulus modulus_;
  std::size_t limit_ = limit_of(modulus_);  // of the load
  std::vector<Node*> buckets_;
  std::size_t size_ = 0;
  std::uint64_t next_id_ = 1;
  BlockPool nodes_;
  Arena records_;  // terms are never freed one by one, so records of all sizes stand together
};

}  // namespace ordax
