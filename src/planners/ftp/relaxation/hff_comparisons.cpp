// How the steps of a guided task bring comparisons closer (after Scala, Haslum, Thiébaux and
// Ramirez, "Subgoaling techniques for satisficing and optimal numeric planning", JAIR 2020).

#include <algorithm>
#include <cmath>
#include <limits>

#include "model/expression_factory.h"
#include "planners/ftp/relaxation/hff.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo::ftp {

using model::Expression;
using model::ExpressionOperatorKind;

namespace {

constexpr std::uint32_t MAX_REPETITIONS = 40;
constexpr double ROUNDING = 1e-9;

bool is_comparison(Expression e, ProgramOp& op) {
  switch (model::kind_of(e)) {
    case ExpressionOperatorKind::EQUALS:
      op = ProgramOp::EQUALS;
      return true;
    case ExpressionOperatorKind::LT:
      op = ProgramOp::LT;
      return true;
    case ExpressionOperatorKind::LE:
      op = ProgramOp::LE;
      return true;
    case ExpressionOperatorKind::GT:
      op = ProgramOp::GT;
      return true;
    case ExpressionOperatorKind::GE:
      op = ProgramOp::GE;
      return true;
    default:
      return false;
  }
}

double to_number(const Value& value) {
  const bool is_number = value.kind == ValueKind::INTEGER || value.kind == ValueKind::RATIONAL;
  if (!is_number) return std::numeric_limits<double>::quiet_NaN();
  return static_cast<double>(value.num) / static_cast<double>(value.den);
}

}  // namespace

void HFF::lay_out_comparisons() {
  comparison_of_.assign(num_literals(), NO_LITERAL);
  is_needed_.assign(num_literals(), false);
  for (const Comparison& comparison : comparisons()) {
    comparison_of_[comparison.literal] = static_cast<std::uint32_t>(slacks_.size());
    Slack& made = slacks_.emplace_back();
    const Program& program = comparison.condition.program;
    const Expression e = program.expression;
    if (is_comparison(e, made.op)) {
      made.is_numeric = true;
      made.left = task_.task().compiler().compile_term(e->child(0));
      made.right = task_.task().compiler().compile_term(e->child(1));
    }
    if (program.reads_all) {
      for (std::uint32_t slot = 0; slot < task_.num_slots(); ++slot) made.reads.add(slot);
    }
    for (const std::uint32_t slot : program.reads) made.reads.add(slot);
    made.reads.finish();
    find_writers(made);
  }
  if (slacks_.empty() || !options_.numeric_supporters) return;
  step_supports_.resize(task_.steps().size());
  watched_actions_.resize(task_.steps().size());
  for (std::uint32_t number = 0; number < task_.steps().size(); ++number) {
    const GuidedStep& step = task_.step(number);
    for (std::uint32_t comparison = 0; comparison < slacks_.size(); ++comparison) {
      if (!have_common_member(step.changes, slacks_[comparison].reads)) continue;
      step_supports_[number].comparisons.push_back(comparison);
      watched_actions_[number] = true;
    }
  }
}

void HFF::find_writers(Slack& comparison) const {
  for (const GuidedStep& step : task_.steps()) {
    const bool is_problem = step.list == GuidedTask::PROBLEM;
    if (!is_problem && !task_.list(step.list).is_useful) continue;
    if (!have_common_member(step.changes, comparison.reads)) continue;
    if (is_problem) {
      comparison.written_before = step.position + 1;  // the steps stand in their order
    } else {
      comparison.is_written_by_actions = true;
    }
  }
}

// Infinite when nothing that is still to come writes what the comparison reads.
double HFF::unmet_cost(std::size_t comparison) const {
  const Slack& at = slacks_[comparison];
  const bool may_change = at.is_written_by_actions || state_->problem_position < at.written_before;
  return may_change ? unmet_comparison_cost_ : UNREACHED;
}

// What is missing, below 0 while the comparison does not hold. Not a number where that says
// nothing.
double HFF::slack(const Slack& comparison, const StateValues& values) {
  const double left = to_number(machine().evaluate(comparison.left, values));
  const double right = to_number(machine().evaluate(comparison.right, values));
  switch (comparison.op) {
    case ProgramOp::LT:
    case ProgramOp::LE:
      return right - left;
    case ProgramOp::GT:
    case ProgramOp::GE:
      return left - right;
    default:
      return -std::abs(left - right);
  }
}

// How often the change from the state to `after` makes the comparison true; 0 for never.
std::uint32_t HFF::repetitions_for(std::uint32_t number, const StateValues& after) {
  const Comparison& comparison = comparisons()[number];
  if (machine().holds(comparison.condition, after)) return 1;
  const Slack& at = slacks_[number];
  if (!at.is_numeric) return 0;
  const double before = slack(at, state_->values());
  const double gain = slack(at, after) - before;
  if (!(gain > ROUNDING)) return 0;
  const bool is_strict = at.op == ProgramOp::LT || at.op == ProgramOp::GT;
  const double missing = -before + (is_strict ? ROUNDING : -ROUNDING);
  const double times = std::ceil(missing / gain);
  if (times >= MAX_REPETITIONS) return MAX_REPETITIONS;
  return static_cast<std::uint32_t>(std::max(1.0, times));
}

void HFF::find_supports(const GuidedStep& step, StepSupports& made) {
  made.evaluation = num_evaluations_;
  made.supports.clear();
  bits_ = state_->bits;
  ids_ = state_->ids;
  // The step may not be applicable here, so that its effects may have no value.
  try {
    for (const EffectProgram* effect : step.effects) {
      if (!machine().apply(*effect, state_->values(), bits_.data(), ids_.data())) return;
    }
    const StateValues after{bits_.data(), ids_.data()};
    for (const std::uint32_t comparison : made.comparisons) {
      const std::uint32_t repetitions = repetitions_for(comparison, after);
      if (repetitions > 0) made.supports.push_back({comparison, repetitions});
    }
  } catch (const KelvoError&) {
    made.supports.clear();
  }
}

void HFF::on_reached(std::uint32_t disjunct, double cost) {
  const std::uint32_t number = owner_of(disjunct);
  StepSupports& step = step_supports_[number];
  if (step.evaluation != num_evaluations_) find_supports(task_.step(number), step);
  for (const Support& support : step.supports) {
    const std::uint32_t literal = comparisons()[support.comparison].literal;
    const double total = cost + support.repetitions - 1;
    if (!(total < cost_of(literal))) continue;
    slacks_[support.comparison].repetitions = support.repetitions;
    improve(literal, total, disjunct);
  }
}

}  // namespace kelvo::ftp
