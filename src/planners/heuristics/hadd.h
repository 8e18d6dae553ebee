#pragma once

#include <cstdint>
#include <limits>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "model/expression.h"
#include "model/expression_free_vars.h"
#include "planners/heuristics/heuristic.h"
#include "planners/heuristics/literal_queue.h"
#include "planners/task/classical_action.h"
#include "planners/task/expression_compiler.h"
#include "planners/task/machine.h"

namespace kelvo {

/// The additive heuristic: the cost of a literal is that of the cheapest action that makes it true,
/// an action costs 1 and the sum of the costs of its conditions, of a disjunction the cheapest
/// disjunct counts (Bonet and Geffner, "Planning as heuristic search", 2001).
///
/// A comparison costs 0 where it holds and else 1; no action lowers that. So does a fluent applied
/// to arguments that depend on the state: what it will stand for isn't known, and to call a state a
/// dead end must be safe. Literals are numbered densely; each disjunct counts its literals that are
/// not reached yet.
class HAdd : public Heuristic {
 public:
  using Disjunction = std::vector<model::ExpressionSet>;

  /// An empty goal is always reached. The space is borrowed.
  HAdd(StateSpace& space, Disjunction goal, std::vector<ClassicalAction> actions);
  HAdd(const HAdd&) = delete;
  HAdd& operator=(const HAdd&) = delete;

  double evaluate(const State& state) override { return compute(state, /*record=*/false); }
  /// With `record`, all actions that can be reached are noted, and no evaluation is cut short.
  double compute(const State& state, bool record);

  /// As the latest recording evaluation noted them.
  const std::unordered_set<model::Action>& reached_actions() const { return reached_actions_; }
  /// The actions that may help, directly or not, towards a fluent of `goal_fluents`.
  std::unordered_set<model::Action> relevant_actions() const;

 protected:
  static constexpr std::uint32_t NO_LITERAL = 0xffffffff;
  static constexpr std::uint32_t NO_DISJUNCT = 0xffffffff;
  /// What costs infinitely much.
  static constexpr double UNREACHED = std::numeric_limits<double>::infinity();

  /// For a subclass that lays out its own task: literals first, then `set_task`.
  explicit HAdd(StateSpace& space);

  /// A conjunction by the numbers of its literals.
  using Literals = std::vector<std::uint32_t>;
  /// An action of such a task: the alternatives of its condition, one of them empty for none, and
  /// what it makes true.
  struct Operator {
    std::vector<Literals> condition;
    Literals effects;
  };
  void set_task(const std::vector<Literals>& goal, const std::vector<Operator>& operators);
  /// The number of a literal, given at first sight.
  std::uint32_t literal(model::Expression e);
  /// A literal of a boolean slot.
  std::uint32_t literal_of_slot(std::size_t slot, bool positive);
  /// The same, `NO_LITERAL` for one that has not been numbered.
  std::uint32_t find_literal_of_slot(std::size_t slot, bool positive) const {
    return literal_of_bit_[positive ? 1 : 0][space_.place(slot).position];
  }
  /// A literal that stands for nothing in the state.
  std::uint32_t make_literal() { return num_literals_++; }
  std::uint32_t num_literals() const { return num_literals_; }

  /// What a comparison costs that does not hold, by its place in `comparisons()`.
  virtual double unmet_cost(std::size_t) const { return unmet_comparison_cost_; }
  /// Called when an action of `watched_actions_` gets cheaper.
  virtual void on_reached(std::uint32_t, double) {}
  /// Which of the literals of one cost is settled first, and so which of equally cheap supporters
  /// a literal gets.
  void set_ties(LiteralQueue::Ties ties) { queue_.set_ties(ties); }
  /// Offers a cost for a literal, by which disjunct.
  void improve(std::uint32_t literal, double cost, std::uint32_t disjunct);

  /// The fluents of the goal, where the search for relevant actions starts.
  virtual model::ExpressionSet goal_fluents() const;
  /// Reaches, at cost 0, what holds in the state beyond the slots of the space.
  virtual void reach_initial_literals(const State&) {}

  /// The fluents that an expression reads; an application whose arguments are not constant stands
  /// as the fluent it applies.
  void add_fluents(model::Expression e, model::ExpressionSet& fluents) const;
  /// The number of a literal, `NO_LITERAL` if no condition and no goal mentions it.
  std::uint32_t find_literal(model::Expression literal) const;
  /// The literal has cost 0 in every state, but where it is taken back.
  void assume(std::uint32_t literal);
  /// For one evaluation, from `reach_initial_literals`.
  void reach(std::uint32_t literal);
  void take_back(std::uint32_t literal);

  StateSpace& space() { return space_; }
  Machine& machine() { return machine_; }

  // Of the latest evaluation. Disjuncts are those of the goal, then those of the actions.
  double cost_of(std::uint32_t literal) const { return costs_[literal]; }
  double cost_of_action(std::uint32_t action) const { return action_costs_[action]; }
  /// The disjunct by which the literal got its cost; `NO_DISJUNCT` for one that the state or an
  /// assumption gave.
  std::uint32_t supporter_of(std::uint32_t literal) const { return supporters_[literal]; }
  std::uint32_t owner_of(std::uint32_t disjunct) const { return disjuncts_[disjunct].owner; }
  /// The cheapest disjunct of the goal.
  std::uint32_t goal_disjunct() const { return goal_disjunct_; }

  /// A literal that is no fluent, with the condition that decides it.
  struct Comparison {
    std::uint32_t literal;
    Condition condition;
  };
  const std::vector<Comparison>& comparisons() const { return comparisons_; }

  /// What a comparison costs that does not hold and has no supporter.
  double unmet_comparison_cost_ = 1;
  /// By action; empty for none.
  std::vector<bool> watched_actions_;

  /// Of equally cheap supporters the one counts whose conditions are there first. By literal: how
  /// long after its supporter it is there. Empty: no times.
  std::vector<double> lags_;
  /// By literal, for `reach_initial_literals` and for the evaluation.
  std::vector<double> times_;
  bool has_times() const { return !lags_.empty(); }
  double goal_time() const { return goal_time_; }

 private:
  static constexpr std::uint32_t GOAL = 0xffffffff;

  struct Disjunct {
    double sum = 0;
    std::uint32_t missing = 0;
    std::uint32_t owner = GOAL;
  };
  struct BitLiterals {
    std::uint32_t bit;
    std::uint32_t positive;
    std::uint32_t negative;
  };
  void classify(std::uint32_t literal, model::Expression e);
  void add_disjunction(const Disjunction& dnf, std::uint32_t owner,
                       std::vector<std::vector<std::uint32_t>>& occurrences);
  void compile();
  void add_disjunct(const Literals& conjunction, std::uint32_t owner,
                    std::vector<std::vector<std::uint32_t>>& occurrences);
  void finish_layout(std::vector<std::vector<std::uint32_t>>& occurrences,
                     const std::vector<std::vector<std::uint32_t>>& effects);
  void add_moving_effect(model::Expression effect, model::Expression atom,
                         std::vector<std::uint32_t>& effects) const;
  void settle(std::uint32_t literal, double cost);
  void fire(std::uint32_t disjunct);
  bool is_earlier(std::uint32_t disjunct, double time) const {
    return has_times() && disjunct_times_[disjunct] < time;
  }

  StateSpace& space_;
  model::ExpressionFreeVars free_vars_;
  ExpressionCompiler compiler_;
  Machine machine_;
  Disjunction goal_;
  std::vector<ClassicalAction> actions_;

  // The compiled task. Occurrences and effects are compressed rows.
  std::unordered_map<model::Expression, std::uint32_t> literals_;
  std::uint32_t num_literals_ = 0;
  std::size_t num_actions_ = 0;
  bool has_goal_ = false;
  std::vector<BitLiterals> bit_literals_;
  std::vector<std::uint32_t> literal_of_bit_[2];
  std::vector<Comparison> comparisons_;
  std::vector<std::uint32_t> occurrence_begin_;
  std::vector<std::uint32_t> occurrences_;
  std::vector<std::uint32_t> effect_begin_;
  std::vector<std::uint32_t> effects_;
  std::vector<double> assumed_costs_;
  std::vector<Disjunct> assumed_disjuncts_;
  std::vector<std::uint32_t> assumed_ready_;  // disjuncts without a missing literal

  // One evaluation.
  std::vector<double> costs_;
  std::vector<Disjunct> disjuncts_;
  std::vector<double> action_costs_;
  std::vector<double> disjunct_times_;
  std::vector<double> action_times_;
  double goal_time_ = 0;
  std::vector<std::uint32_t> supporters_;  // by literal, a disjunct
  std::vector<std::uint32_t> ready_;
  LiteralQueue queue_;
  double goal_cost_ = 0;
  std::uint32_t goal_disjunct_ = NO_DISJUNCT;
  std::unordered_set<model::Action> reached_actions_;
};

}  // namespace kelvo
