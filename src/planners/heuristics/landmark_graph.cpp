#include "planners/heuristics/landmark_graph.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "model/expression_factory.h"
#include "shell/environment.h"

namespace kelvo {

using model::Expression;
using model::ExpressionFactory;
using model::ExpressionSet;

struct LandmarkGraph::Builder {
  struct OrderingLess {
    bool operator()(const std::pair<Expression, Expression>& a,
                    const std::pair<Expression, Expression>& b) const {
      const model::ExpressionLess less;
      if (a.first != b.first) return less(a.first, b.first);
      return less(a.second, b.second);
    }
  };

  Builder(StateSpace& state_space, const std::vector<ClassicalAction>& all_actions,
          const StateValues& initial_state)
      : space(state_space),
        ef(state_space.environment().expression_factory()),
        machine(state_space),
        exploration(state_space, all_actions),
        initial(initial_state) {}

  StateSpace& space;
  ExpressionFactory& ef;
  Machine machine;
  RelaxedExploration exploration;
  StateValues initial;
  std::unordered_map<Expression, Condition> conditions;
  std::vector<Expression> landmarks;  // in the order in which they were found
  std::unordered_set<Expression> known;
  std::unordered_set<Expression> goals;
  std::set<std::pair<Expression, Expression>, OrderingLess> orderings;
  std::deque<Expression> queue;

  const Condition& condition(Expression e) {
    const auto found = conditions.find(e);
    if (found != conditions.end()) return found->second;
    return conditions.emplace(e, exploration.compiler().compile_condition(e)).first->second;
  }

  bool holds_initially(Expression e) { return machine.holds(condition(e), initial); }

  void add(Expression e) {
    if (!known.insert(e).second) return;
    landmarks.push_back(e);
    queue.push_back(e);
  }

  // The rows are the disjuncts; each column is a candidate: one of its literals must be true.
  std::vector<Expression> candidates(const Disjunction& dnf) const {
    std::vector<std::vector<Expression>> columns;
    for (const ExpressionSet& row : dnf) {
      std::size_t column = 0;
      for (const Expression literal : row) {
        if (column == columns.size()) columns.emplace_back();
        std::vector<Expression>& members = columns[column++];
        if (std::find(members.begin(), members.end(), literal) == members.end()) {
          members.push_back(literal);
        }
      }
    }
    std::vector<Expression> result;
    for (const std::vector<Expression>& members : columns) {
      result.push_back(members.size() == 1 ? members.front() : ef.make_or(members));
    }
    return result;
  }

  bool is_child(Expression child, Expression disjunction) const {
    const auto children = disjunction->children();
    return std::find(children.begin(), children.end(), child) != children.end();
  }

  bool have_common_child(Expression a, Expression b) const {
    return std::any_of(a->children().begin(), a->children().end(),
                       [&](Expression child) { return is_child(child, b); });
  }

  void remove(Expression landmark) {
    known.erase(landmark);
    std::erase(landmarks, landmark);
    std::erase_if(orderings, [&](const std::pair<Expression, Expression>& ordering) {
      return ordering.first == landmark || ordering.second == landmark;
    });
  }

  // Explores until `landmark` is possible, and collects the actions of the round before that make
  // it so. What is still impossible then comes after it.
  Disjunction achiever_conditions(Expression landmark) {
    exploration.start(initial);
    bool is_possible = exploration.values().possibly_true(condition(landmark));
    while (!is_possible && exploration.advance()) {
      is_possible = exploration.values().possibly_true(condition(landmark));
    }
    Disjunction result;
    if (is_possible) {
      for (const std::uint32_t a : exploration.applicable()) {
        const ClassicalAction& action = exploration.actions()[a];
        const auto count = [&](Expression literal) {
          return action.effect_literal_set.contains(literal) ? 1 : 0;
        };
        int times = 0;
        if (ef.is_or(landmark)) {
          for (const Expression literal : landmark->children()) times += count(literal);
        } else {
          times = count(landmark);
        }
        for (; times > 0; --times) {
          result.insert(result.end(), action.dnf.begin(), action.dnf.end());
        }
      }
    }
    for (const Expression other : landmarks) {
      if (other == landmark || exploration.values().possibly_true(condition(other))) continue;
      orderings.emplace(landmark, other);
    }
    return result;
  }

  void consider(Expression candidate, Expression behind) {
    if (holds_initially(candidate)) return;
    bool is_dropped = false;
    std::vector<Expression> replaced;
    for (const Expression landmark : landmarks) {
      if (landmark == candidate) continue;
      if (ef.is_or(candidate)) {
        is_dropped = is_dropped || (ef.is_or(landmark) && have_common_child(candidate, landmark)) ||
                     is_child(landmark, candidate);
      } else if (ef.is_or(landmark) && is_child(candidate, landmark)) {
        replaced.push_back(landmark);
      }
    }
    if (is_dropped) return;
    for (const Expression landmark : replaced) remove(landmark);
    add(candidate);
    if (known.contains(behind)) orderings.emplace(candidate, behind);
  }

  void build(const Disjunction& goal) {
    for (const Expression candidate : candidates(goal)) {
      goals.insert(candidate);
      add(candidate);
    }
    while (!queue.empty()) {
      const Expression landmark = queue.front();
      queue.pop_front();
      if (!known.contains(landmark) || holds_initially(landmark)) continue;
      for (const Expression candidate : candidates(achiever_conditions(landmark))) {
        consider(candidate, landmark);
      }
    }
  }
};

LandmarkGraph::LandmarkGraph(StateSpace& space, const Disjunction& goal,
                             const std::vector<ClassicalAction>& actions,
                             const StateValues& initial) {
  Builder builder(space, actions, initial);
  builder.build(goal);
  std::unordered_map<Expression, std::uint32_t> numbers;
  for (const Expression e : builder.landmarks) {
    numbers.emplace(e, static_cast<std::uint32_t>(landmarks_.size()));
    landmarks_.push_back({e, builder.condition(e), builder.goals.contains(e), {}, {}});
  }
  for (const auto& [first, second] : builder.orderings) {
    const std::uint32_t a = numbers.at(first);
    const std::uint32_t b = numbers.at(second);
    if (a == b) continue;
    landmarks_[a].after.push_back(b);
    landmarks_[b].before.push_back(a);
  }
}

}  // namespace kelvo
