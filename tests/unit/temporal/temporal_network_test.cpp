#include "temporal/temporal_network.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <random>
#include <sstream>
#include <string>

#include "shell/numbers.h"

namespace kelvo {
namespace {

using Network = TemporalNetwork<std::string, rational>;
using Interpreter = TNInterpreter<std::string>;

template <typename Error, typename Function>
void expect_error(Function&& function, const std::string& text) {
  try {
    function();
    FAIL() << "nothing was raised instead of: " << text;
  } catch (const Error& error) {
    EXPECT_EQ(error.message(), text);
  }
}

TEST(BoundTest, StrictIsTheStrongerOfTwoBoundsWithOneValue) {
  using B = Bound<rational>;
  EXPECT_TRUE((B{1, true} < B{1, false}));
  EXPECT_TRUE((B{1, false} > B{1, true}));
  EXPECT_FALSE((B{1, false} < B{1, false}));
  EXPECT_TRUE((B{rational(1, 2), false} < B{1, true}));
  std::ostringstream os;
  os << B() << "; " << B{rational(-3, 2), true};
  EXPECT_EQ(os.str(), "<= 0; < -3/2");
}

TEST(TNInterpreterTest, NumbersFollowFirstSight) {
  Interpreter interpreter;
  EXPECT_EQ(interpreter.get_id("b"), 0U);
  EXPECT_EQ(interpreter.get_id("a"), 1U);
  EXPECT_EQ(interpreter.get_id("b"), 0U);
  EXPECT_EQ(interpreter.get_t(1), "a");
  expect_error<InternalError>([&] { interpreter.get_t(2); }, "InternalError: ");
}

TEST(ConstraintBankTest, OnlyStrongerConstraintsEnterALayer) {
  using B = Bound<rational>;
  ConstraintBank<rational> lower;
  EXPECT_TRUE(lower.add_constraint(0, 1, B{5}));
  EXPECT_FALSE(lower.add_constraint(0, 1, B{6}));
  EXPECT_FALSE(lower.add_constraint(0, 1, B{5}));
  EXPECT_TRUE(lower.add_constraint(0, 1, B{4}));
  EXPECT_TRUE(lower.add_constraint(0, 2, B{7}));
  EXPECT_EQ(lower.size(), 2U);

  ConstraintBank<rational> upper(&lower);
  EXPECT_TRUE(upper.subsumes(0, 1, B{4}));
  EXPECT_FALSE(upper.subsumes(0, 1, B{3}));
  EXPECT_FALSE(upper.subsumes(1, 0, B{4}));
  EXPECT_FALSE(upper.subsumes(17, 0, B{4}));
  EXPECT_TRUE(upper.add_constraint(0, 1, B{3}));
  EXPECT_TRUE(upper.add_constraint(3, 0, B{1}));
  EXPECT_TRUE(upper.subsumes(0, 1, B{3}));
  EXPECT_TRUE(upper.subsumes(0, 2, B{7}));
  EXPECT_FALSE(lower.subsumes(0, 1, B{3}));
  EXPECT_EQ(upper.size(), 4U);
  EXPECT_EQ(upper.layers(), 2U);

  using Constraints = std::vector<ConstraintBank<rational>::Constraint>;
  EXPECT_EQ(upper.neighbors(0), (Constraints{{0, 1, B{4}}, {0, 2, B{7}}, {0, 1, B{3}}}));
  EXPECT_EQ(upper.neighbors(3), (Constraints{{3, 0, B{1}}}));
  EXPECT_TRUE(upper.neighbors(2).empty());

  // A copy is as rich as its source and goes its own way.
  ConstraintBank<rational> copy(upper);
  EXPECT_TRUE(copy.add_constraint(0, 1, B{2}));
  EXPECT_FALSE(upper.subsumes(0, 1, B{2}));
  EXPECT_EQ(copy.constraints(),
            (Constraints{{0, 1, B{4}}, {0, 2, B{7}}, {0, 1, B{2}}, {3, 0, B{1}}}));
}

TEST(ConstraintBankTest, ALargeLayerFindsItsConstraints) {
  ConstraintBank<double> bank;
  for (std::uint32_t end = 1; end <= 500; ++end) {
    EXPECT_TRUE(bank.add_constraint(end % 3, end, {double(end), false}));
  }
  for (std::uint32_t end = 1; end <= 500; ++end) {
    EXPECT_TRUE(bank.subsumes(end % 3, end, {double(end), false}));
    EXPECT_FALSE(bank.add_constraint(end % 3, end, {double(end), false}));
    EXPECT_FALSE(bank.subsumes((end + 1) % 3, end, {double(end), false}));
  }
  EXPECT_EQ(bank.size(), 500U);
}

class TemporalNetworkTest : public ::testing::Test {
 protected:
  rational value(const Network& of, const std::string& time_point) {
    return of.get_min_makespan_solution_value(interpreter, time_point);
  }

  Interpreter interpreter;
  std::shared_ptr<Network> network = Network::make();
};

TEST_F(TemporalNetworkTest, EmptyNetworkIsConsistent) {
  EXPECT_TRUE(network->check_feasibility());
  EXPECT_TRUE(network->get_min_makespan_solution(interpreter).empty());
  EXPECT_EQ(network->get_min_makespan(), 0);
}

TEST_F(TemporalNetworkTest, ValuesAreTheLeastOnesThatAreNotNegative) {
  network->add_ge(interpreter, "a", "b", 0);
  network->add_ge(interpreter, "b", "a", 0);
  network->add_ge(interpreter, "c", "a", rational(5, 2));
  network->add_le(interpreter, "c", "d", -1);
  EXPECT_EQ(value(*network, "a"), 0);
  EXPECT_EQ(value(*network, "b"), 0);
  EXPECT_EQ(value(*network, "c"), rational(5, 2));
  EXPECT_EQ(value(*network, "d"), rational(7, 2));
  EXPECT_EQ(network->get_min_makespan(), rational(7, 2));
  const auto at = network->get_min_makespan_aggregate_solution(interpreter);
  const std::map<rational, std::vector<std::string>> expected = {
      {0, {"b", "a"}}, {rational(5, 2), {"c"}}, {rational(7, 2), {"d"}}};
  EXPECT_EQ(at, expected);
}

TEST_F(TemporalNetworkTest, StrictConstraintsAreTightenedByEpsilon) {
  network->add_gt(interpreter, "a", "b", 0);
  EXPECT_EQ(value(*network, "a"), rational(0.01));
  EXPECT_EQ(value(*network, "b"), 0);
  network->add_lt(interpreter, "a", "b", 1);
  EXPECT_TRUE(network->check_feasibility());
  network->add_gt(interpreter, "b", "a", 0);
  EXPECT_FALSE(network->check_feasibility());
}

TEST_F(TemporalNetworkTest, AnInconsistentNetworkIsNotReopened) {
  network->add_ge(interpreter, "a", "b", 1);
  network->add_ge(interpreter, "b", "a", 1);
  EXPECT_FALSE(network->check_feasibility());
  network->add_ge(interpreter, "c", "a", 1);
  EXPECT_FALSE(network->check_feasibility());
  expect_error<TemporalNetworkIsUnsat>([&] { network->get_min_makespan(); },
                                       "TemporalNetworkIsUnsat: ");
  network->make_immutable();
  EXPECT_FALSE(Network::make(network)->check_feasibility());
}

TEST_F(TemporalNetworkTest, APointMayNotComeBeforeItself) {
  network->add_ge(interpreter, "a", "a", 0);
  EXPECT_TRUE(network->check_feasibility());
  network->add_ge(interpreter, "a", "a", 1);
  EXPECT_FALSE(network->check_feasibility());
}

TEST_F(TemporalNetworkTest, DifferencesWithinTheToleranceCountAsEqual) {
  network->add_ge(interpreter, "a", "b", rational(1, 20000));
  network->add_ge(interpreter, "b", "a", 0);
  EXPECT_TRUE(network->check_feasibility());
  EXPECT_EQ(value(*network, "a"), 0);
}

// Three layers hold a constraint between the two points that close the cycle.
TEST_F(TemporalNetworkTest, AlmostEqualConstraintsOfTwoLayersDoNotHideACycle) {
  network->add_ge(interpreter, "a", "b", 1);
  network->add_ge(interpreter, "c", "a", 1);
  network->make_immutable();
  const auto child = Network::make(network);
  child->add_ge(interpreter, "b", "c", -2);
  child->make_immutable();
  const auto grandchild = Network::make(child);
  grandchild->add_ge(interpreter, "b", "c", rational(-199995, 100000));
  EXPECT_TRUE(grandchild->check_feasibility());
  grandchild->add_ge(interpreter, "b", "c", rational(-199, 100));
  EXPECT_FALSE(grandchild->check_feasibility());
}

TEST_F(TemporalNetworkTest, ChildrenShareAndAddConstraints) {
  network->add_ge(interpreter, "a", "b", 3);
  expect_error<InternalError>([&] { Network::make(network); },
                              "InternalError: Trying to extend a non-immutable STN");
  network->make_immutable();
  EXPECT_TRUE(network->immutable());
  expect_error<InternalError>([&] { network->add_ge(interpreter, "a", "b", 4); },
                              "InternalError: Trying to change an immutable TemporalNetwork");

  const auto left = Network::make(network);
  const auto right = Network::make(network);
  left->add_ge(interpreter, "a", "b", 2);  // weaker than what the parent holds
  EXPECT_TRUE(left->check_feasibility());
  EXPECT_EQ(left->propagated_constraints().size(), 1U);
  left->add_ge(interpreter, "c", "a", 1);
  right->add_ge(interpreter, "d", "a", 10);
  right->add_ge(interpreter, "b", "a", -2);
  EXPECT_EQ(value(*left, "c"), 4);
  EXPECT_FALSE(right->check_feasibility());
  EXPECT_EQ(value(*network, "a"), 3);
  expect_error<InternalError>(
      [&] { value(*network, "c"); },
      "InternalError: The time point does not belong to the temporal network");
}

TEST_F(TemporalNetworkTest, ACloneMayBeTakenOfAMutableNetwork) {
  network->add_ge(interpreter, "a", "b", 1);
  EXPECT_TRUE(network->check_feasibility());
  network->add_ge(interpreter, "c", "a", 1);  // still pending when the clone is made
  const auto clone = Network::make(network, /*clone=*/true);
  network->add_ge(interpreter, "b", "c", 0);
  clone->add_ge(interpreter, "d", "c", 1);
  EXPECT_FALSE(network->check_feasibility());
  EXPECT_EQ(value(*clone, "d"), 3);

  // The layers that the clone shares outlive their owners.
  clone->make_immutable();
  auto child = Network::make(clone);
  child->add_ge(interpreter, "e", "d", 1);
  const auto grandclone = Network::make(child, /*clone=*/true);
  child.reset();
  grandclone->add_ge(interpreter, "b", "f", 2);
  EXPECT_EQ(value(*grandclone, "e"), 6);
}

TEST_F(TemporalNetworkTest, PrintsAsAGraph) {
  network->add_ge(interpreter, "b", "a", 1);
  network->add_le(interpreter, "b", "a", rational(3, 2));
  network->make_immutable();
  const auto child = Network::make(network);
  child->add_ge(interpreter, "c", "b", 0);
  std::ostringstream os;
  child->print_dot(os, interpreter);
  EXPECT_EQ(os.str(),
            "digraph{\n"
            " 0[label=\"a\"];\n"
            " 1[label=\"b\"];\n"
            " 2[label=\"c\"];\n"
            " 0 -> 1[label=\"P <= -1\"];\n"
            " 1 -> 0[label=\"P <= 3/2\"];\n"
            " 1 -> 2[label=\"U <= 0\"];\n"
            "}\n");
}

TEST(TemporalNetworkChainTest, LongChainsOfNetworksAreReleasedWithoutRecursion) {
  using IntNetwork = TemporalNetwork<int, double>;
  TNInterpreter<int> interpreter;
  std::shared_ptr<IntNetwork> last = IntNetwork::make();
  for (int i = 0; i < 200000; ++i) {
    last->add_ge(interpreter, i % 3, 3, i % 7);
    last->make_immutable();
    last = IntNetwork::make(last);
  }
  EXPECT_EQ(last->get_min_makespan(), 6);
  last.reset();
}

// The slow way: every constraint in turn until nothing changes. Empty if values still rise after as
// many rounds as there are points.
std::optional<std::vector<rational>> bellman_ford(
    std::size_t num_points, const std::vector<ConstraintBank<rational>::Constraint>& constraints) {
  std::vector<rational> least(num_points, 0);
  for (std::size_t round = 0; round <= num_points; ++round) {
    bool changed = false;
    for (const auto& [start, end, bound] : constraints) {
      const rational value = least[start] - bound.value;
      if (value <= least[end]) continue;
      least[end] = value;
      changed = true;
    }
    if (!changed) return least;
  }
  return std::nullopt;
}

// Grows random trees of networks, as a search does, and compares each network with the slow way.
template <typename R>
void compare_with_bellman_ford(unsigned seed) {
  using RandomNetwork = TemporalNetwork<unsigned, R>;
  struct Entry {
    std::shared_ptr<RandomNetwork> network;
    std::vector<ConstraintBank<rational>::Constraint> constraints;
  };
  std::mt19937 random(seed);
  const unsigned num_points = 2 + static_cast<unsigned>(random() % 12);
  TNInterpreter<unsigned> interpreter;
  std::vector<Entry> entries(1);
  entries[0].network = RandomNetwork::make();
  entries[0].network->make_immutable();
  for (int step = 0; step < 25; ++step) {
    const Entry& parent = entries[random() % entries.size()];
    Entry child = {RandomNetwork::make(parent.network), parent.constraints};
    for (unsigned added = static_cast<unsigned>(random() % 6); added > 0; --added) {
      const unsigned a = static_cast<unsigned>(random() % num_points);
      const unsigned b = static_cast<unsigned>(random() % num_points);
      // Quarters are exact in both number types and far above the tolerance.
      const int quarters = static_cast<int>(random() % 60) - 35;
      const rational bound(quarters, 4);
      if (random() % 2 == 0) {
        child.network->add_ge(interpreter, a, b, R(quarters) / 4);
        child.constraints.emplace_back(b, a, Bound<rational>{-bound, false});
      } else {
        child.network->add_le(interpreter, a, b, R(quarters) / 4);
        child.constraints.emplace_back(a, b, Bound<rational>{bound, false});
      }
      if (random() % 4 == 0) child.network->check_feasibility();
    }
    const auto expected = bellman_ford(num_points, child.constraints);
    ASSERT_EQ(child.network->check_feasibility(), expected.has_value())
        << "seed " << seed << ", step " << step;
    if (!expected) continue;
    for (const auto& [point, value] : child.network->get_min_makespan_solution(interpreter)) {
      ASSERT_EQ(rational(value), (*expected)[point])
          << "seed " << seed << ", step " << step << ", point " << point;
    }
    child.network->make_immutable();
    entries.push_back(std::move(child));
  }
}

TEST(TemporalNetworkRandomTest, AgreesWithBellmanFord) {
  for (unsigned seed = 0; seed < 400; ++seed) {
    compare_with_bellman_ford<rational>(seed);
    compare_with_bellman_ford<double>(seed);
    if (HasFatalFailure()) return;
  }
}

}  // namespace
}  // namespace kelvo
