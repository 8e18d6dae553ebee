#include "planners/ftp/events/search_network.h"

#include <random>
#include <vector>

#include "planners/ftp/events/network_replay.h"
#include "planners/ftp/events/successor_generator.h"
#include "tests/unit/planners/planner_fixture.h"

namespace kelvo::ftp {
namespace {

const std::string WORKSHOP = R"(
  type part;
  instance part a, b;
  fluent boolean power;
  fluent boolean free;
  fluent boolean warm(part p);
  fluent boolean done(part p);
  fluent integer[0, 3] stock;
  action heat(part p) {
    duration >= 2 and duration <= 6;
    [start] not warm(p);
    [start + 1, end] power;
    [start + 1] warm(p) := true;
    [end] warm(p) := false;
  };
  action work(part p) {
    duration := 1;
    [start] free and stock > 0;
    [start] free := false;
    [start] stock := stock - 1;
    (start, end) warm(p);
    [end] done(p) := true;
    [end] free := true;
  };
  action fetch() {
    duration > 1;
    [end - 1] stock := stock + 1;
  };
  [start] power := true;
  [start] free := true;
  [start] stock := 1;
  [start] warm(a) := false;
  [start] warm(b) := false;
  [start] done(a) := false;
  [start] done(b) := false;
  [12] power := false;
  [20] power := true;
  [25] power := false;
  [end] done(a) and done(b);
)";

class SearchNetworkTest : public PlannerTest {
 protected:
  // Random walks through the search space. After each step the collapsed network must have the
  // times of the network with a point for each event; a step that it refuses must be refused there.
  void walk(const std::string& text, bool deordering) {
    const auto task = make_task(text);
    SuccessorGenerator generator(*task, StepRules{deordering, false});
    NetworkReplay replay(*task, deordering);
    std::mt19937 random(deordering ? 5 : 4);
    std::size_t num_steps = 0;
    for (int round = 0; round < 60; ++round) {
      SearchState* state = generator.make_initial_state();
      for (int depth = 0; depth < 24 && state != nullptr; ++depth) {
        std::vector<SearchState*> children;
        for (std::size_t list = 0; list < state->num_todo; ++list) {
          if (generator.apply_event(*state, list) != nullptr) {
            children.push_back(generator.keep(*state));
          }
        }
        for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < task->templates().size(); ++id) {
          if (generator.open_action(*state, id) != nullptr) {
            children.push_back(generator.keep(*state));
          }
        }
        generator.release(state);
        state = nullptr;
        if (children.empty()) break;
        const std::size_t chosen = random() % children.size();
        for (std::size_t i = 0; i < children.size(); ++i) {
          if (i != chosen) generator.release(children[i]);
        }
        state = children[chosen];
        replay.replay(state->path);
        compare(*state, replay);
        ++num_steps;
      }
      if (state != nullptr) generator.release(state);
    }
    EXPECT_GT(num_steps, 200u);
  }

  static void compare(const SearchState& state, NetworkReplay& replay) {
    ASSERT_TRUE(replay.network().check_feasibility());
    ASSERT_EQ(replay.openings().size() * 2 + 2, state.num_nodes);
    std::uint32_t node = 2;
    for (const Event& opening : replay.openings()) {
      const auto time_of = [&](const Event& event) {
        return replay.network().get_min_makespan_solution_value(replay.interpreter(), event);
      };
      ASSERT_NEAR(state.times[node], time_of(opening), 1e-3);
      ASSERT_NEAR(state.times[node + 1], time_of(NetworkReplay::end_of(opening)), 1e-3);
      node += 2;
    }
  }
};

TEST_F(SearchNetworkTest, HasTheTimesOfTheNetworkWithAPointForEachEvent) {
  walk(WORKSHOP, /*deordering=*/false);
  walk(MATCH_CELLAR, /*deordering=*/false);
}

TEST_F(SearchNetworkTest, SoItHasWhenOnlyInterferingEventsAreOrdered) {
  walk(WORKSHOP, /*deordering=*/true);
  walk(MATCH_CELLAR, /*deordering=*/true);
}

TEST_F(SearchNetworkTest, AgreesWithBellmanFordOnRandomConstraints) {
  struct Constraint {
    std::uint32_t a, b;
    double distance;
  };
  std::mt19937 random(17);
  int num_inconsistent = 0;
  for (int round = 0; round < 400; ++round) {
    const std::uint32_t num_nodes = static_cast<std::uint32_t>(2 + random() % 6);
    SearchNetwork network;
    network.start_empty();
    while (network.times().size() < num_nodes) network.add_node(0);
    std::vector<Constraint> constraints;
    bool consistent = true;
    for (int i = 0; i < 9 && consistent; ++i) {
      const Constraint c{static_cast<std::uint32_t>(random() % num_nodes),
                         static_cast<std::uint32_t>(random() % num_nodes),
                         static_cast<double>(random() % 9) - 5};
      constraints.push_back(c);
      const bool admitted = network.admits({c.a, 0}, {c.b, 0}, c.distance);
      consistent = network.add({c.a, 0}, {c.b, 0}, c.distance);
      EXPECT_EQ(admitted, consistent);
    }
    std::vector<double> times(num_nodes, 0.0);
    bool changed = true;
    for (std::uint32_t pass = 0; changed && pass <= num_nodes; ++pass) {
      changed = false;
      for (const Constraint& c : constraints) {
        if (times[c.b] + c.distance <= times[c.a]) continue;
        times[c.a] = times[c.b] + c.distance;
        changed = true;
      }
    }
    EXPECT_EQ(consistent, !changed) << round;
    num_inconsistent += consistent ? 0 : 1;
    for (std::uint32_t node = 0; consistent && node < num_nodes; ++node) {
      EXPECT_DOUBLE_EQ(network.times()[node], times[node]) << round;
    }
  }
  EXPECT_GT(num_inconsistent, 50);
  EXPECT_LT(num_inconsistent, 350);
}

// More constraints than the network has room for at first, twice over.
TEST_F(SearchNetworkTest, ManyConstraintsOfOneStepKeepTheirLists) {
  constexpr std::uint32_t NUM_NODES = 7;
  constexpr std::uint32_t NUM_EDGES = 700;
  SearchNetwork network;
  network.start_empty();
  while (network.times().size() < NUM_NODES) network.add_node(0);
  std::vector<std::vector<double>> weights(NUM_NODES);  // of the constraints that leave a node
  for (std::uint32_t i = 0; i < NUM_EDGES; ++i) {
    const std::uint32_t from = i % (NUM_NODES - 1);
    const double weight = 1 + i / 100.0;
    ASSERT_TRUE(network.add({from + 1, 0}, {from, 0}, weight));
    weights[from].push_back(weight);
  }
  EXPECT_TRUE(network.is_solved());
  double time = 0;
  for (std::uint32_t node = 1; node < NUM_NODES; ++node) {
    time += weights[node - 1].back();
    EXPECT_NEAR(network.times()[node], time, 1e-9);
  }
  ASSERT_EQ(network.num_new_edges(), NUM_EDGES);
  std::vector<Edge> edges(NUM_EDGES);
  std::vector<const Edge*> heads(NUM_NODES);
  network.copy_new_edges(edges.data(), heads.data());
  for (std::uint32_t node = 0; node < NUM_NODES; ++node) {
    std::vector<double> newest_first;
    for (const Edge* edge = heads[node]; edge != nullptr; edge = edge->next) {
      newest_first.push_back(edge->weight);
    }
    EXPECT_EQ(newest_first, std::vector<double>(weights[node].rbegin(), weights[node].rend()));
  }
  EXPECT_FALSE(network.add({0, 0}, {NUM_NODES - 1, 0}, -1));
}

}  // namespace
}  // namespace kelvo::ftp
