#pragma once

#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "model/expression.h"
#include "model/expression_free_vars.h"
#include "planners/classical_action.h"
#include "planners/expression_compiler.h"
#include "planners/heuristics/heuristic.h"
#include "planners/heuristics/literal_queue.h"
#include "planners/machine.h"

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

  double evaluate(const State& state) override { return compute(state, /*record=*/false); }
  /// With `record`, all actions that can be reached are noted, and no evaluation is cut short.
  double compute(const State& state, bool record);

  /// As the latest recording evaluation noted them.
  const std::unordered_set<model::Action>& reached_actions() const { return reached_actions_; }
  /// The actions that may help, directly or not, towards a fluent of `goal_fluents`.
  std::unordered_set<model::Action> relevant_actions() const;

 protected:
  static constexpr std::uint32_t NO_LITERAL = 0xffffffff;

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
  struct Comparison {
    std::uint32_t literal;
    Condition condition;
  };
  std::uint32_t literal(model::Expression e);
  void classify(std::uint32_t literal, model::Expression e);
  void add_disjunction(const Disjunction& dnf, std::uint32_t owner,
                       std::vector<std::vector<std::uint32_t>>& occurrences);
  void compile();
  void add_moving_effect(model::Expression effect, model::Expression atom,
                         std::vector<std::uint32_t>& effects) const;
  void settle(std::uint32_t literal, double cost);
  void fire(std::uint32_t disjunct);
  void improve(std::uint32_t literal, double cost);

  StateSpace& space_;
  model::ExpressionFreeVars free_vars_;
  ExpressionCompiler compiler_;
  Machine machine_;
  Disjunction goal_;
  std::vector<ClassicalAction> actions_;

  // The compiled task. Occurrences and effects are compressed rows.
  std::unordered_map<model::Expression, std::uint32_t> literals_;
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
  std::vector<std::uint32_t> ready_;
  LiteralQueue queue_;
  double goal_cost_ = 0;
  std::unordered_set<model::Action> reached_actions_;
};

}  // namespace kelvo
