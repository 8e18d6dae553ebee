#include "model/node_manager.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <tuple>
#include <vector>

namespace kelvo {
namespace {

class NodeManagerTest : public testing::Test {
 protected:
  Payload a, b;
  NodeManager nodes;
};

TEST_F(NodeManagerTest, EqualNodesAreOneAndTakeOneId) {
  Node* const leaf = nodes.make_node(&a);
  EXPECT_EQ(leaf->id(), 0u);
  EXPECT_EQ(nodes.make_node(&a), leaf);
  Node* const other = nodes.make_node(&b);
  Node* const pair = nodes.make_node(&a, leaf, other);
  EXPECT_EQ(nodes.make_node(&a, leaf, other), pair);
  EXPECT_EQ(pair->id(), 2u);
  EXPECT_EQ(nodes.num_nodes(), 3u);
  EXPECT_NE(nodes.make_node(&a, other, leaf), pair) << "order of children counts";
  EXPECT_NE(nodes.make_node(&b, leaf, other), pair) << "the payload counts";
  EXPECT_NE(nodes.make_node(&a, leaf), pair) << "the arity counts";
}

TEST_F(NodeManagerTest, EveryOverloadSharesWithTheRangeForm) {
  Node* const l = nodes.make_node(&a);
  Node* const m = nodes.make_node(&b);
  const std::vector<Node*> fixed = {nodes.make_node(&a, l), nodes.make_node(&a, l, m),
                                    nodes.make_node(&a, l, m, l), nodes.make_node(&a, l, m, l, m)};
  const std::vector<Node*> children = {l, m, l, m};
  for (std::size_t arity = 1; arity <= 4; ++arity) {
    const auto last = children.begin() + static_cast<std::ptrdiff_t>(arity);
    Node* const n = nodes.make_node(&a, arity, children.begin(), last);
    EXPECT_EQ(n, fixed[arity - 1]);
    ASSERT_EQ(n->arity(), arity);
    for (std::size_t i = 0; i < arity; ++i) EXPECT_EQ(n->child(i), children[i]);
    EXPECT_EQ(n->payload(), &a);
  }
}

TEST_F(NodeManagerTest, NodesHashByIdAndNullByZero) {
  EXPECT_EQ(std::hash<Node*>()(nullptr), 0u);
  Node* n = nodes.make_node(&a);
  for (std::size_t id = 0; id < 3; ++id) {
    EXPECT_EQ(std::hash<Node*>()(n), id);
    n = nodes.make_node(&a, n);
  }
}

TEST_F(NodeManagerTest, AgreesWithATableOfTriplesOnRandomNodes) {
  std::mt19937 random(7);
  std::vector<Node*> made = {nodes.make_node(&a), nodes.make_node(&b)};
  std::map<std::tuple<Payload*, Node*, Node*>, Node*> oracle;
  for (int i = 0; i < 5000; ++i) {
    Payload* const payload = random() % 2 == 0 ? &a : &b;
    Node* const left = made[random() % made.size() % 40];
    Node* const right = made[random() % made.size() % 40];
    const std::size_t before = nodes.num_nodes();
    Node* const n = nodes.make_node(payload, left, right);
    const auto [place, is_new] = oracle.try_emplace({payload, left, right}, n);
    EXPECT_EQ(place->second, n);
    EXPECT_EQ(nodes.num_nodes(), before + (is_new ? 1 : 0));
    if (is_new) {
      EXPECT_EQ(n->id(), before);
      made.push_back(n);
    }
  }
}

}  // namespace
}  // namespace kelvo
