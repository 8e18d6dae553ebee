#pragma once

#include <cstddef>
#include <functional>
#include <span>

namespace kelvo {

/// The label of a node. Payloads are interned by their owner: one object for one label, so that
/// nodes compare them by address.
class Payload {
 public:
  virtual ~Payload() = default;
};

/// An immutable, hash-consed node: a payload and an ordered list of children, which are stored
/// behind the header in the same allocation. Made only by `NodeManager`, which owns it; two nodes
/// of one manager are equal exactly when they are the same object.
class Node {
 public:
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;

  /// Unique within the manager, dense, in order of creation.
  std::size_t id() const { return id_; }
  std::size_t arity() const { return arity_; }
  Payload* payload() const { return payload_; }
  /// `i` must be below `arity()`.
  Node* child(std::size_t i) const { return child_array()[i]; }
  std::span<Node* const> children() const { return {child_array(), arity_}; }

 private:
  friend class NodeManager;

  Node(Payload* payload, std::size_t arity) : payload_(payload), arity_(arity) {}

  Node* const* child_array() const { return reinterpret_cast<Node* const*>(this + 1); }
  Node** child_array() { return reinterpret_cast<Node**>(this + 1); }

  std::size_t id_ = 0;
  Payload* payload_;
  std::size_t arity_;
};

/// Folds the id of `n` into a hash. The program's fold by sums and shifts gives the pairs of a
/// thousand ids fifteen times fewer hashes than there are pairs: enough for small tables, too few
/// for those of nodes and of values.
inline std::size_t mix_id(std::size_t hash, const Node* n) {
  hash = (hash ^ (n->id() + 1)) * 0x9e3779b97f4a7c15;
  return hash ^ (hash >> 32);
}

}  // namespace kelvo

/// Hashes by id, so that the iteration order of hash containers follows the order of creation and
/// never an address.
template <>
struct std::hash<kelvo::Node*> {
  std::size_t operator()(const kelvo::Node* n) const noexcept { return n == nullptr ? 0 : n->id(); }
};
