#include <map>
#include <random>
#include <set>
#include <vector>

#include "model/action.h"
#include "model/all_values_evaluator.h"
#include "model/expression_evaluator.h"
#include "model/fluent.h"
#include "model/print_expression.h"
#include "model/types.h"
#include "planners/ftp/events/successor_generator.h"
#include "planners/ftp/relaxation/hadd.h"
#include "planners/ftp/relaxation/hlandmarks.h"
#include "planners/ftp/relaxation/hmax.h"
#include "tests/unit/planners/planner_fixture.h"

namespace kelvo::ftp {
namespace {

using model::Expression;
using model::ExpressionSet;

const std::string ROBOT = R"(
  type room;
  instance room hall, lab, store;
  fluent room at;
  fluent boolean clean(room r);
  fluent boolean charged;
  fluent integer[0, 4] water;
  fluent boolean reported;
  action go(room r) {
    duration >= 2 and duration <= 5;
    [start] not (at == r);
    [start] charged;
    [end] at := r;
  };
  action mop(room r) {
    duration := 3;
    [all] at == r;
    [start] water > 0 and (charged or reported);
    [start + 1] water := water - 1;
    [start] charged := false;
    [end] clean(r) := true;
  };
  action charge() {
    duration := 4;
    (start, end] at == hall;
    [end] charged := true;
    [end - 1] water := water + 2;
  };
  action report() {
    duration := 1;
    [start] clean(hall) or clean(lab) and clean(store);
    [end] reported := charged;
  };
  [start] at := store;
  [start] clean(hall) := false;
  [start] clean(lab) := false;
  [start] clean(store) := false;
  [start] charged := true;
  [start] water := 1;
  [start] reported := false;
  [30] charged := false;
  [end] clean(lab) and clean(store);
  [end] reported or water > 3;
)";

/// The heuristics as they are told: maps from expressions to numbers, round by round.
class Reference {
 public:
  explicit Reference(RelaxedTask& relaxed)
      : relaxed_(relaxed), env_(relaxed.task().environment()) {}

  double hadd(const SearchState& state) {
    read(state);
    std::map<Expression, double, model::ExpressionLess> costs = initial_costs(state);
    for (bool changed = true; changed;) {
      changed = false;
      auto next = costs;
      for (const ClassicalAction& action : relaxed_.actions()) {
        const double cost = cost_of(action.dnf, action.conditions.empty(), costs);
        if (cost < 0) continue;
        for (const Expression literal : action.effect_literals) {
          const auto known = next.find(literal);
          if (known != next.end() && known->second >= 0 && known->second <= cost + 1) continue;
          next[literal] = cost + 1;
          changed = true;
        }
      }
      costs = next;
    }
    return cost_of(relaxed_.goal_dnf(), false, costs);
  }

  double hmax(const SearchState& state) {
    read(state);
    model::AllValuesEvaluator::Assignments values;
    for (const auto& [fluent, value] : values_) values[fluent] = {value};
    const std::vector<Expression>& markers = relaxed_.markers();
    for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < relaxed_.task().templates().size();
         ++id) {
      for (std::size_t i = 0; i < relaxed_.num_markers(id); ++i) {
        values[markers[relaxed_.first_marker(id) + i]] = {ef().make_boolean_constant(i == 0)};
      }
    }
    relaxed_.for_each_open_action(state, [&](std::size_t, std::size_t current) {
      values[markers[current]].insert(ef().make_true());
    });
    for (double round = 0;; ++round) {
      const model::AllValuesEvaluator evaluator(env_, values);
      const auto possible = [&](Expression e) { return evaluator(e).contains(ef().make_true()); };
      bool all = true;
      for (const Expression goal : relaxed_.goals()) all = all && possible(goal);
      if (all) return round;
      std::vector<std::pair<Expression, ExpressionSet>> additions;
      for (const ClassicalAction& action : relaxed_.actions()) {
        if (!possible(action.condition)) continue;
        for (const auto& [key, effect] : action.effects) {
          additions.emplace_back(key, evaluator(effect.value()));
        }
      }
      bool grew = false;
      for (const auto& [key, set] : additions) {
        const Expression reference =
            ef().is_functional_apply(key) ? ef().get_reference_from_functional_apply(key) : key;
        const model::Type type = ef().get_fluent_from_reference(reference)->type();
        for (const Expression value : set) {
          if (model::is_out_of_bounds(ef(), type, value)) continue;
          grew = values[key].insert(value).second || grew;
        }
      }
      if (!grew) return Heuristic::DEAD_END;
    }
  }

 private:
  using Costs = std::map<Expression, double, model::ExpressionLess>;

  model::ExpressionFactory& ef() { return env_.expression_factory(); }

  void read(const SearchState& state) {
    const StateSpace& space = relaxed_.task().space();
    values_.clear();
    for (std::size_t slot = 0; slot < space.num_slots(); ++slot) {
      values_[space.key(slot)] = space.expression(state.values, slot);
    }
  }

  void set_cost(Costs& costs, Expression fluent, bool value) {
    costs[fluent] = value ? 0 : -1;
    costs[ef().make_not(fluent)] = value ? -1 : 0;
  }

  Costs initial_costs(const SearchState& state) {
    Costs costs;
    for (const auto& [fluent, value] : values_) {
      if (ef().is_boolean_constant(value)) set_cost(costs, fluent, ef().is_true(value));
    }
    const std::vector<Expression>& markers = relaxed_.markers();
    for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < relaxed_.task().templates().size();
         ++id) {
      for (std::size_t i = 0; i < relaxed_.num_markers(id); ++i) {
        set_cost(costs, markers[relaxed_.first_marker(id) + i], i == 0);
      }
    }
    relaxed_.for_each_open_action(state, [&](std::size_t first, std::size_t current) {
      set_cost(costs, markers[first], false);
      set_cost(costs, markers[current], true);
    });
    return costs;
  }

  double literal_cost(Expression literal, const Costs& costs) {
    if (const auto known = costs.find(literal); known != costs.end()) return known->second;
    const Expression atom = ef().is_not(literal) ? literal->child(0) : literal;
    if (ef().is_fluent_reference(atom) || ef().is_functional_apply(atom)) return -1;
    if (ef().is_boolean_constant(literal)) return ef().is_true(literal) ? 0 : -1;
    const model::ExpressionEvaluatorFromMap evaluator(env_, values_);
    return ef().is_true(evaluator(literal)) ? 0 : 1;
  }

  double cost_of(const std::vector<ExpressionSet>& dnf, bool is_true, const Costs& costs) {
    if (is_true) return 0;
    double best = -1;
    for (const ExpressionSet& conjunction : dnf) {
      double sum = 0;
      for (const Expression literal : conjunction) {
        const double cost = literal_cost(literal, costs);
        if (cost < 0) {
          sum = -1;
          break;
        }
        sum += cost;
      }
      if (sum >= 0 && (best < 0 || sum < best)) best = sum;
    }
    return best;
  }

  RelaxedTask& relaxed_;
  Environment& env_;
  model::ExpressionEvaluatorFromMap::Values values_;
};

class HeuristicsTest : public PlannerTest {
 protected:
  /// Calls `visit` with the states of random walks.
  template <typename Visitor>
  void walk(CompiledTask& task, int num_walks, const Visitor& visit) {
    SuccessorGenerator generator(task, StepRules{});
    std::mt19937 random(11);
    for (int round = 0; round < num_walks; ++round) {
      SearchState* state = generator.make_initial_state();
      ASSERT_NE(state, nullptr);
      visit(*state);
      for (int depth = 0; depth < 15; ++depth) {
        std::vector<SearchState*> children;
        for (std::size_t list = 0; list < state->num_todo; ++list) {
          if (generator.apply_event(*state, list) != nullptr) {
            children.push_back(generator.keep(*state));
          }
        }
        for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < task.templates().size(); ++id) {
          if (generator.open_action(*state, id) != nullptr) {
            children.push_back(generator.keep(*state));
          }
        }
        if (children.empty()) break;
        std::swap(children.front(), children[random() % children.size()]);
        for (std::size_t i = 1; i < children.size(); ++i) generator.release(children[i]);
        generator.release(state);
        state = children.front();
        visit(*state);
      }
      generator.release(state);
    }
  }
};

TEST_F(HeuristicsTest, HAddHasTheCostsOfTheRounds) {
  for (const std::string& text : {MATCH_CELLAR, ROBOT}) {
    const auto task = make_task(text);
    RelaxedTask relaxed(*task);
    HAdd hadd(relaxed);
    Reference reference(relaxed);
    std::set<double> seen;
    walk(*task, 12, [&](const SearchState& state) {
      const double wanted = reference.hadd(state);
      EXPECT_EQ(hadd.evaluate(state), wanted);
      EXPECT_EQ(hadd.compute(state, /*record=*/true), wanted);
      seen.insert(wanted);
    });
    EXPECT_GT(seen.size(), 5u);
  }
}

TEST_F(HeuristicsTest, HMaxCountsTheRounds) {
  for (const std::string& text : {MATCH_CELLAR, ROBOT}) {
    const auto task = make_task(text);
    RelaxedTask relaxed(*task);
    HMax hmax(relaxed);
    Reference reference(relaxed);
    std::set<double> seen;
    walk(*task, 4, [&](const SearchState& state) {
      const double wanted = reference.hmax(state);
      EXPECT_EQ(hmax.evaluate(state), wanted);
      seen.insert(wanted);
    });
    EXPECT_GT(seen.size(), 1u);
  }
}

TEST_F(HeuristicsTest, HMaxEndsWhenNumbersGrowWithoutBound) {
  const auto task = make_task(R"(
    fluent integer n;
    fluent integer m;
    fluent boolean p;
    action count() { duration := 1; [start] n := n + m; [end] m := m + n; };
    [start] n := 0;
    [start] m := 1;
    [start] p := false;
    [end] n < 0 and p;
  )");
  RelaxedTask relaxed(*task);
  HMax hmax(relaxed);
  walk(*task, 1,
       [&](const SearchState& state) { EXPECT_EQ(hmax.evaluate(state), Heuristic::DEAD_END); });
}

TEST_F(HeuristicsTest, ValuesOfSmallProblems) {
  struct Case {
    const char* goal;
    double hadd;
    double hmax;
  };
  // Each action is its opening and one effect.
  const Case cases[] = {
      {"[end] p;", 0, 0},       {"[end] q;", 2, 2},
      {"[end] q and r;", 4, 2},  // independent goals: costs add up, rounds do not
      {"[end] q or r;", 2, 2},  {"[end] never;", -1, -1},
      {"[end] n == 7;", 1, -1},  // a comparison costs one while it is false
      {"[3] q;", 0, 0},          // only goals at the end of the plan count
  };
  for (const Case& c : cases) {
    const auto task = make_task(std::string(R"(
      fluent boolean p; fluent boolean q; fluent boolean r; fluent boolean never;
      fluent integer n;
      action make_q() { duration := 1; [end] q := true; };
      action make_r() { duration := 1; [end] r := true; };
      [start] p := true;
      [start] q := false;
      [start] r := false;
      [start] never := false;
      [start] n := 0;
    )") + c.goal);
    RelaxedTask relaxed(*task);
    HAdd hadd(relaxed);
    HMax hmax(relaxed);
    SuccessorGenerator generator(*task, StepRules{});
    SearchState* state = generator.make_initial_state();
    EXPECT_EQ(hadd.evaluate(*state), c.hadd) << c.goal;
    EXPECT_EQ(hmax.evaluate(*state), c.hmax) << c.goal;
    generator.release(state);
  }
}

TEST_F(HeuristicsTest, UsefulActionsAreRelevantAndReached) {
  const auto task = make_task(R"(
    fluent boolean p; fluent boolean q; fluent boolean lamp; fluent boolean never;
    fluent boolean idle; fluent integer x; fluent integer y;
    action a_unreached() { duration := 1; [start] never; [end] q := true; };
    action b_helps() { duration := 1; [end] q := true; };
    action c_irrelevant() { duration := 1; [end] idle := true; };
    action d_window() { duration := 1; [end] lamp := true; };
    action e_copies() { duration := 1; [end] x := y; };
    action f_feeds() { duration := 1; [end] y := y + 1; };
    [start] p := true; [start] q := false; [start] lamp := false; [start] never := false;
    [start] idle := false; [start] x := 0; [start] y := 0;
    [end] q and x > 0;
    [10, 15] lamp;
  )");
  RelaxedTask relaxed(*task);
  HAdd hadd(relaxed);
  SuccessorGenerator generator(*task, StepRules{});
  SearchState* state = generator.make_initial_state();
  hadd.compute(*state, /*record=*/true);
  std::string names;
  for (const std::uint32_t id : hadd.useful_actions()) {
    names += task->template_of(id).action->name().substr(0, 1);
  }
  EXPECT_EQ(names, "bdef");
  generator.release(state);
}

TEST_F(HeuristicsTest, LandmarksOfTheCellarAreMetOnTheWay) {
  const auto task = make_task(MATCH_CELLAR);
  RelaxedTask relaxed(*task);
  HLandmarks landmarks(relaxed);
  SuccessorGenerator generator(*task, StepRules{});
  SearchState* state = generator.make_initial_state();
  const double initial = landmarks.evaluate(*state);
  std::map<std::string, bool> is_goal;
  for (const LandmarkGraph::Landmark& landmark : landmarks.graph().landmarks()) {
    std::ostringstream text;
    text << model::print_expression(landmark.expression);
    is_goal[text.str()] = landmark.is_goal;
  }
  EXPECT_TRUE(is_goal.at("mended(f1)"));
  EXPECT_TRUE(is_goal.at("mended(f2)"));
  EXPECT_FALSE(is_goal.at("light"));
  EXPECT_FALSE(is_goal.contains("unused(m1)"));  // either match will do
  EXPECT_GE(initial, 3);
  std::uint32_t match = CompiledTask::FIRST_ACTION;
  while (!task->template_of(match).action->name().starts_with("light_match")) ++match;
  SearchState* opened = generator.open_action(*state, match);
  ASSERT_NE(opened, nullptr);
  const double before_light = landmarks.evaluate(*opened);
  opened = generator.keep(*state);
  SearchState* lit = generator.apply_event(*opened, opened->num_todo - 1);
  ASSERT_NE(lit, nullptr);
  EXPECT_LE(landmarks.evaluate(*lit), before_light);
  generator.release(opened);
  generator.release(state);
}

}  // namespace
}  // namespace kelvo::ftp
