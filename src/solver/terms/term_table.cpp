#include "solver/terms/term_table.h"

#include <new>

namespace ordax {
namespace {

std::size_t record_bytes(std::uint32_t arity) {
  return sizeof(Term) + arity * sizeof(TermRef);
}

std::uint64_t hash_of(const Symbol* symbol, const TermRef* args) {
  std::uint64_t h = symbol->id;
  for (std::uint32_t i = 0; i < symbol->arity; ++i) h ^= (h >> 2) + h * 64 + args[i]->id;
  return h;
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
  for (Node* node = buckets_[modulus_.of(hash)]; node != nullptr; node = node->next) {
    if (node->hash == hash && equal(node->term, symbol, args)) return node->term;
  }
  make_room();
  Node*& bucket = buckets_[modulus_.of(hash)];
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

void TermTable::make_room() {
  if (static_cast<double>(size_ + 1) <= 0.7 * modulus_.value() || modulus_.at_last()) return;
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
}

}  // namespace ordax
