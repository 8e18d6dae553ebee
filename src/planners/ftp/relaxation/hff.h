#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "planners/ftp/task/step_state.h"
#include "planners/ftp/task/step_task.h"
#include "planners/heuristics/hadd.h"
#include "planners/task/literals.h"

namespace kelvo::ftp {

/// The size of a relaxed plan made of the cheapest supporters by the additive heuristic (Hoffmann
/// and Nebel, JAIR 2001; Keyder and Geffner, ECAI 2008). Its actions are the steps of a guided
/// task: each asks that the step before it has been done.
///
/// A comparison that does not hold is supported by the steps that bring it closer: as many times as
/// the gain of one application goes into what is missing.
class HFF : private kelvo::HAdd {
 public:
  struct Options {
    /// Steps support comparisons; else a comparison has a flat cost.
    bool numeric_supporters = true;
    /// The estimate is the size of the relaxed plan; else the additive heuristic.
    bool counts_relaxed_plan = true;
    /// Which of equally cheap supporters enters the relaxed plan.
    LiteralQueue::Ties ties = LiteralQueue::Ties::FIRST;
    /// Among those the ones count whose conditions are there first, by the durations of the steps.
    bool earliest_supporters = true;
  };

  /// The task is borrowed.
  HFF(const GuidedTask& task, const Options& options);

  using kelvo::HAdd::set_ties;

  /// The estimate, or `Heuristic::DEAD_END`. By slot of the schedule: when it was written last.
  double evaluate(const GuidedState& state, const std::vector<double>& written_at);
  /// The same where all that holds counts as there from the start.
  double evaluate(const GuidedState& state);

  // Of the latest evaluation.
  /// When its relaxed plan would have come to the goal; 0 without `earliest_supporters`.
  double end_of_relaxed_plan() const { return goal_time(); }
  /// Adds the steps of the relaxed plan that apply in the state: the preferred operators.
  void collect_preferred(std::vector<std::uint32_t>& steps) const;

 protected:
  void reach_initial_literals(const State& state) override;
  void on_reached(std::uint32_t disjunct, double cost) override;
  double unmet_cost(std::size_t comparison) const override;

 private:
  using kelvo::HAdd::evaluate;  // of plain states, which nobody asks of this heuristic

  /// A comparison as what is missing for it to hold.
  struct Slack {
    bool is_numeric = false;
    ProgramOp op = ProgramOp::EQUALS;
    Program left;
    Program right;
    SlotSet reads;
    std::uint32_t repetitions = 1;  // of its supporter, in the latest evaluation
    /// Who may still make it hold: an action, or the problem before this position.
    bool is_written_by_actions = false;
    std::uint32_t written_before = 0;
  };
  /// How often a step has to be applied for a comparison.
  struct Support {
    std::uint32_t comparison;
    std::uint32_t repetitions;
  };
  /// A literal of a slot of instances.
  struct ValueLiteral {
    SlotLiteral literal;
    std::uint32_t number;
  };
  struct StepSupports {
    std::vector<std::uint32_t> comparisons;  // that read what the step changes
    std::vector<Support> supports;
    std::uint64_t evaluation = 0;
  };

  std::vector<Literals> alternatives_of(const Condition& condition);
  std::vector<Literals> literals_of_expression(model::Expression e);
  std::uint32_t number_of(const SlotLiteral& literal);
  std::uint32_t find_number_of(const SlotLiteral& literal) const;
  std::optional<SlotLiteral> as_literal(model::Expression conjunct) const;
  bool add_literal(const SlotLiteral& literal, Literals& literals);
  bool add_literals(const Condition& condition, const SlotSet& made, Literals& literals);
  void add_condition(const Condition& condition, std::vector<Literals>& alternatives);
  bool is_made_by(const Condition& condition, const GuidedStep& step) const;
  void lay_out_markers();
  std::vector<Literals> make_goal();
  Operator make_operator(const GuidedStep& step);
  void add_effects(const GuidedStep& step, Operator& made) const;
  void number_disjuncts(const std::vector<Literals>& goal, const std::vector<Operator>& operators);

  double compute_estimate(const GuidedState& state);
  void lay_out_times();
  void reach_times(const GuidedState& state);
  void lay_out_comparisons();
  void find_writers(Slack& comparison) const;
  void find_supports(const GuidedStep& step, StepSupports& made);
  std::uint32_t repetitions_for(std::uint32_t comparison, const StateValues& after);
  double slack(const Slack& comparison, const StateValues& values);

  void need(std::uint32_t literal);
  void extract_relaxed_plan();

  const GuidedTask& task_;
  Options options_;
  /// By step: says that the step comes next (of the problem: is still to come); of the first step
  /// of an action, that the action is through.
  std::vector<std::uint32_t> markers_;
  /// By step of the problem that has conditions: has been done.
  std::vector<std::uint32_t> passed_;

  /// By slot: its literals that a condition asks for, if it is one of instances.
  std::vector<std::vector<ValueLiteral>> values_of_slot_;

  /// The literals of the disjuncts, in compressed rows.
  std::vector<std::uint32_t> disjunct_begin_;
  std::vector<std::uint32_t> disjunct_literals_;

  std::vector<Slack> slacks_;                 // as `comparisons()`
  std::vector<std::uint32_t> comparison_of_;  // by literal
  std::vector<StepSupports> step_supports_;   // by step; empty without comparisons
  std::uint64_t num_evaluations_ = 0;
  const GuidedState* state_ = nullptr;
  std::vector<std::uint64_t> bits_;
  std::vector<ValueId> ids_;

  /// A literal of a slot that the schedule knows.
  struct TimedLiteral {
    std::uint32_t literal;
    std::uint32_t slot;  // of the schedule
  };
  std::vector<TimedLiteral> timed_literals_;
  const std::vector<double>* written_at_ = nullptr;

  std::vector<bool> is_marked_;  // by step
  std::vector<std::uint32_t> relaxed_plan_;
  std::vector<std::uint32_t> open_;
  std::vector<bool> is_needed_;  // by literal
  std::vector<std::uint32_t> needed_;
  double num_extra_ = 0;
};

}  // namespace kelvo::ftp
