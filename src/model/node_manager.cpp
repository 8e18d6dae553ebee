#include "model/node_manager.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <new>
#include <type_traits>

namespace kelvo {

namespace {

constexpr std::size_t bytes_in_chunk = 1 << 16;
constexpr std::size_t golden_ratio = 0x9e3779b97f4a7c15;

static_assert(std::is_trivially_destructible_v<Node>, "chunks are freed without a walk");
static_assert(sizeof(std::size_t) == 8, "places are the top bits of 64");

std::size_t size_of_node(std::size_t arity) {
  return sizeof(Node) + arity * sizeof(Node*);
}

}  // namespace

std::size_t NodeHash::operator()(const Node* n) const noexcept {
  std::size_t h = static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(n->payload()));
  for (const Node* child : n->children()) h = mix_id(h, child);
  return h;
}

bool NodeEquality::operator()(const Node* a, const Node* b) const noexcept {
  if (a == b) return true;
  return a->payload() == b->payload() && std::ranges::equal(a->children(), b->children());
}

Node* NodeManager::make_node(Payload* p) {
  return cache_node(alloc(p, 0));
}

Node* NodeManager::make_node(Payload* p, Node* a) {
  Node* n = alloc(p, 1);
  n->child_array()[0] = a;
  return cache_node(n);
}

Node* NodeManager::make_node(Payload* p, Node* a, Node* b) {
  Node* n = alloc(p, 2);
  n->child_array()[0] = a;
  n->child_array()[1] = b;
  return cache_node(n);
}

Node* NodeManager::make_node(Payload* p, Node* a, Node* b, Node* c) {
  Node* n = alloc(p, 3);
  n->child_array()[0] = a;
  n->child_array()[1] = b;
  n->child_array()[2] = c;
  return cache_node(n);
}

Node* NodeManager::make_node(Payload* p, Node* a, Node* b, Node* c, Node* d) {
  Node* n = alloc(p, 4);
  n->child_array()[0] = a;
  n->child_array()[1] = b;
  n->child_array()[2] = c;
  n->child_array()[3] = d;
  return cache_node(n);
}

Node* NodeManager::cache_node(Node* n) {
  if (3 * (next_id_ + 1) > 2 * slots_.size()) grow();
  const std::size_t hash = NodeHash()(n);
  Slot& slot = find_slot(n, hash);
  if (slot.node == nullptr) {
    n->id_ = next_id_++;
    slot = {hash, n};
  } else {
    // Nothing was allocated after the duplicate.
    const std::size_t size = size_of_node(n->arity());
    free_ -= size;
    num_free_ += size;
  }
  return slot.node;
}

Node* NodeManager::alloc(Payload* p, std::size_t arity) {
  const std::size_t size = size_of_node(arity);
  if (size > num_free_) {
    num_free_ = std::max(size, bytes_in_chunk);
    chunks_.push_back(std::make_unique_for_overwrite<std::byte[]>(num_free_));
    free_ = chunks_.back().get();
  }
  Node* n = new (free_) Node(p, arity);
  free_ += size;
  num_free_ -= size;
  return n;
}

NodeManager::Slot& NodeManager::find_slot(const Node* n, std::size_t hash) {
  const std::size_t mask = slots_.size() - 1;
  std::size_t place = (hash * golden_ratio) >> shift_;
  while (slots_[place].node != nullptr &&
         (slots_[place].hash != hash || !NodeEquality()(slots_[place].node, n))) {
    place = (place + 1) & mask;
  }
  return slots_[place];
}

void NodeManager::grow() {
  std::vector<Slot> old(std::max<std::size_t>(1024, 2 * slots_.size()));
  old.swap(slots_);
  shift_ = 64 - std::countr_zero(slots_.size());
  for (const Slot& slot : old) {
    if (slot.node != nullptr) find_slot(slot.node, slot.hash) = slot;
  }
}

}  // namespace kelvo
