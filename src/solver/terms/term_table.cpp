#include "solver/terms/term_table.h"

#include <cstdint>
#include <new>

namespace ordax {
namespace {

std::size_t record_bytes(std::uint32_t arity) {
  return sizeof(Term) + arity * sizeof(TermRef);
}

// The ids in `h` overlap: over the pairs of a few hundred terms, as conditions of mutual exclusion
// make them, it repeats so often that chains grow to a dozen nodes. A second sum keeps them apart.
std::uint64_t hash_of(const Symbol* symbol, const TermRef* args) {
  std::uint64_t h = symbol->id;
  std::uint64_t spread = 0;
  for (std::uint32_t i = 0; i < symbol->arity; ++i) {
    h ^= (h >> 2) + h * 64 + args[i]->id;
    spread = (spread + args[i]->id) * 0x9e3779b97f4a7c15ULL;
  }
  return h ^ spread;
}

bool equal(TermRef term, const Symbol* symbol, const TermRef* args) {
  if (term->symbol != symbol) return false;
  for (std::uint32_t i = 0; i < symbol->arity; ++i) {
    if (term->arg(i) != args[i]) return false;
  }
  return true;
}

}  // namespace

TermTable::TermTable()
    : buckets_(modulus_.value(), nullptr), nodes_(sizeof(Node)), records_(this) {}

TermRef TermTable::get(const Symbol* symbol, const TermRef* args) {
  const std::uint32_t hash = fold_hash(hash_of(symbol, args));
  std::uint32_t place = modulus_.of(hash);
  for (Node* node = buckets_[place]; node != nullptr; node = node->next) {
    if (node->hash == hash && equal(node->term, symbol, args)) return node->term;
  }
  if (size_ >= limit_) {
    make_room();
    place = modulus_.of(hash);
  }
  Node*& bucket = buckets_[place];
  void* memory = nodes_.allocate();
  auto* term = static_cast<Term*>(records_.allocate(record_bytes(symbol->arity)));
  term->id = next_id_++;
  term->symbol = symbol;
  TermRef* own_args = reinterpret_cast<TermRef*>(term + 1);
  for (std::uint32_t i = 0; i < symbol->arity; ++i) own_args[i] = args[i];
  bucket = ::new (memory) Node{bucket, term, hash};
  ++size_;
  return term;
}

// Grows to the next size; beyond the last one the load may pass the limit.
void TermTable::make_room() {
  if (modulus_.at_last()) {
    limit_ = SIZE_MAX;
    return;
  }
  PrimeModulus larger = modulus_;
  larger.next();
  std::vector<Node*> buckets(larger.value(), nullptr);
  for (Node* node : buckets_) {
    while (node != nullptr) {
      Node* next = node->next;
      Node*& bucket = buckets[larger.of(node->hash)];
      node->next = bucket;
      bucket = node;
      node = next;
    }
  }
  buckets_.swap(buckets);
  modulus_ = larger;
  limit_ = limit_of(modulus_);
}

}  // namespace ordax
