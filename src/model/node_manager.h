#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "model/node.h"

namespace kelvo {

/// Structural hash of a node: its payload's address and its children's ids.
struct NodeHash {
  std::size_t operator()(const Node* n) const noexcept;
};

/// Structural equality: same payload object, same children.
struct NodeEquality {
  bool operator()(const Node* a, const Node* b) const noexcept;
};

/// Owns all nodes and shares equal ones. Nodes live as long as the manager; payloads belong to
/// the caller and must outlive it.
///
/// A call costs one lookup in a table of open addressing and, for a new node, some bytes of a
/// chunk; a duplicate gives its bytes back at once and takes no id.
class NodeManager {
 public:
  NodeManager() = default;
  NodeManager(const NodeManager&) = delete;
  NodeManager& operator=(const NodeManager&) = delete;
  virtual ~NodeManager() = default;

  Node* make_node(Payload* p);
  Node* make_node(Payload* p, Node* a);
  Node* make_node(Payload* p, Node* a, Node* b);
  Node* make_node(Payload* p, Node* a, Node* b, Node* c);
  Node* make_node(Payload* p, Node* a, Node* b, Node* c, Node* d);

  /// A node with the `arity` children that start at `begin`.
  template <typename Iterator>
  Node* make_node(Payload* p, std::size_t arity, Iterator begin, Iterator end) {
    Node* n = alloc(p, arity);
    Node** children = n->child_array();
    for (; begin != end; ++begin) *children++ = *begin;
    return cache_node(n);
  }

  /// The number of distinct nodes made so far.
  std::size_t num_nodes() const { return next_id_; }

 protected:
  /// Unifies a freshly filled node with the table: returns the node that stands for it.
  Node* cache_node(Node* n);

 private:
  struct Slot {
    std::size_t hash = 0;
    Node* node = nullptr;  // null: free
  };

  Node* alloc(Payload* p, std::size_t arity);
  /// The slot of the node equal to `n`, or the free one where it belongs.
  Slot& find_slot(const Node* n, std::size_t hash);
  void grow();

  std::size_t next_id_ = 0;
  std::vector<Slot> slots_;  // a power of two, at most two thirds full
  int shift_ = 64;           // the top bits of a mixed hash are the place
  std::vector<std::unique_ptr<std::byte[]>> chunks_;
  std::byte* free_ = nullptr;
  std::size_t num_free_ = 0;
};

}  // namespace kelvo
