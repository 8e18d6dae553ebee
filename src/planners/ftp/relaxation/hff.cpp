#include "planners/ftp/relaxation/hff.h"

#include <algorithm>
#include <cmath>

#include "model/expression_factory.h"
#include "model/to_dnf.h"
#include "planners/task/classical_action.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo::ftp {

using model::Expression;

namespace {

/// Conditions with more alternatives are taken as one comparison.
constexpr std::size_t MAX_ALTERNATIVES = 64;

/// What a comparison costs that no step brings closer.
constexpr double UNSUPPORTED_COST = 50;

}  // namespace

HFF::HFF(const GuidedTask& task, const Options& options)
    : HAdd(task.task().space()), task_(task), options_(options) {
  if (options_.numeric_supporters) unmet_comparison_cost_ = UNSUPPORTED_COST;
  lay_out_markers();
  const std::vector<Literals> goal = make_goal();
  std::vector<Operator> operators;
  operators.reserve(task.steps().size());
  for (const GuidedStep& step : task.steps()) operators.push_back(make_operator(step));
  // An effect counts only where some condition asks for it.
  for (const GuidedStep& step : task.steps()) {
    Operator& made = operators[task.list(step.list).first_step + step.position];
    if (!made.condition.empty()) add_effects(step, made);
  }
  set_task(goal, operators);
  number_disjuncts(goal, operators);
  for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < task.lists().size(); ++id) {
    if (task.list(id).is_useful) assume(markers_[task.list(id).first_step]);
  }
  lay_out_comparisons();
  is_marked_.resize(task.steps().size());
  if (options_.earliest_supporters) lay_out_times();
}

// --- the layout ---

void HFF::lay_out_markers() {
  markers_.assign(task_.steps().size(), NO_LITERAL);
  for (const GuidedList& list : task_.lists()) {
    const bool is_problem = list.action == nullptr;
    if (!list.is_useful && !is_problem) continue;
    for (std::uint32_t i = 0; i < list.num_steps; ++i) {
      markers_[list.first_step + i] = make_literal();
    }
  }
  const GuidedList& problem = task_.list(GuidedTask::PROBLEM);
  for (std::uint32_t position = 0; position < problem.num_steps; ++position) {
    const bool has_condition = !task_.step(GuidedTask::PROBLEM, position).checks.empty();
    passed_.push_back(has_condition ? make_literal() : NO_LITERAL);
  }
}

// Of a boolean slot as the additive heuristic has it; of others with a number of its own.
std::uint32_t HFF::number_of(const SlotLiteral& literal) {
  if (space().place(literal.slot).is_boolean) {
    return literal_of_slot(literal.slot, literal.value == ValueTable::TRUE);
  }
  const std::uint32_t known = find_number_of(literal);
  if (known != NO_LITERAL) return known;
  if (values_of_slot_.size() <= literal.slot) values_of_slot_.resize(task_.num_slots());
  values_of_slot_[literal.slot].push_back({literal, make_literal()});
  return values_of_slot_[literal.slot].back().number;
}

std::uint32_t HFF::find_number_of(const SlotLiteral& literal) const {
  if (literal.slot >= values_of_slot_.size()) return NO_LITERAL;
  for (const ValueLiteral& known : values_of_slot_[literal.slot]) {
    if (known.literal == literal) return known.number;
  }
  return NO_LITERAL;
}

// Nothing to ask of a slot that never changes: false when it has the wrong value.
bool HFF::add_literal(const SlotLiteral& literal, Literals& literals) {
  if (task_.is_constant(literal.slot)) {
    return literal.holds_for(task_.task().initial_values()[literal.slot]);
  }
  literals.push_back(number_of(literal));
  return true;
}

// Slots of `made` are left out.
bool HFF::add_literals(const Condition& condition, const SlotSet& made, Literals& literals) {
  bool is_possible = !condition.never;
  for_each_literal(space(), condition, [&](const SlotLiteral& literal) {
    if (made.contains(literal.slot)) return;
    is_possible = add_literal(literal, literals) && is_possible;
  });
  return is_possible;
}

std::vector<HFF::Literals> HFF::alternatives_of(const Condition& condition) {
  if (!condition.is_conjunction) return literals_of_expression(condition.program.expression);
  std::vector<Literals> result(1);
  if (!add_literals(condition, SlotSet(), result.front())) return {};
  return result;
}

// A conjunct as a literal, if it is one.
std::optional<SlotLiteral> HFF::as_literal(Expression conjunct) const {
  const Condition condition = task_.task().compiler().compile_condition(conjunct);
  std::optional<SlotLiteral> result;
  if (!condition.is_conjunction || condition.never) return result;
  for_each_literal(task_.task().space(), condition,
                   [&](const SlotLiteral& literal) { result = literal; });
  return result;
}

std::vector<HFF::Literals> HFF::literals_of_expression(Expression e) {
  const model::ExpressionFactory& ef = environment().expression_factory();
  const Expression normal = normalise(environment(), e);
  if (ef.is_true(normal)) return {Literals()};
  if (ef.is_false(normal)) return {};
  const std::vector<model::ExpressionSet> dnf = model::ToDNF(environment())(normal);
  if (dnf.size() > MAX_ALTERNATIVES) return {{literal(e)}};
  std::vector<Literals> result;
  for (const model::ExpressionSet& conjunction : dnf) {
    Literals literals;
    bool is_possible = true;
    for (const Expression one : conjunction) {
      if (ef.is_true(one)) continue;
      if (ef.is_false(one)) is_possible = false;
      if (const std::optional<SlotLiteral> slot_literal = as_literal(one)) {
        is_possible = add_literal(*slot_literal, literals) && is_possible;
      } else {
        literals.push_back(literal(one));
      }
    }
    if (is_possible) result.push_back(std::move(literals));
  }
  return result;
}

// Joins the condition to each of the alternatives.
void HFF::add_condition(const Condition& condition, std::vector<Literals>& alternatives) {
  std::vector<Literals> added = alternatives_of(condition);
  if (alternatives.size() * added.size() > MAX_ALTERNATIVES) {
    added = {{literal(condition.program.expression)}};
  }
  std::vector<Literals> result;
  for (const Literals& one : alternatives) {
    for (const Literals& other : added) {
      Literals& joined = result.emplace_back(one);
      joined.insert(joined.end(), other.begin(), other.end());
    }
  }
  alternatives = std::move(result);
}

// A step comes as long after the one before it as their offsets say; an end that is free, at the
// least duration.
void HFF::lay_out_times() {
  lags_.assign(num_literals(), 0);
  for (const GuidedList& list : task_.lists()) {
    const auto offset = [&](std::uint32_t position) {
      const GuidedStep& step = task_.step(list.first_step + position);
      return step.offset + (step.at_end_node ? list.lower : 0);
    };
    for (std::uint32_t i = 1; i < list.num_steps; ++i) {
      const std::uint32_t marker = markers_[list.first_step + i];
      if (marker != NO_LITERAL) lags_[marker] = std::max(0.0, offset(i) - offset(i - 1));
    }
  }
  const StateSpace& space = task_.task().space();
  for (std::uint32_t slot = 0; slot < task_.num_slots(); ++slot) {
    const std::uint32_t order_slot = task_.order_slot(slot);
    if (order_slot == GuidedTask::NO_ORDER) continue;
    if (space.place(slot).is_boolean) {
      for (const bool value : {true, false}) {
        const std::uint32_t literal = find_literal_of_slot(slot, value);
        if (literal != NO_LITERAL) timed_literals_.push_back({literal, order_slot});
      }
    } else if (slot < values_of_slot_.size()) {
      for (const ValueLiteral& one : values_of_slot_[slot]) {
        timed_literals_.push_back({one.number, order_slot});
      }
    }
  }
}

std::vector<HFF::Literals> HFF::make_goal() {
  std::vector<Literals> result(1);
  for (const Condition* goal : task_.goals()) add_condition(*goal, result);
  for (Literals& alternative : result) {
    for (const std::uint32_t passed : passed_) {
      if (passed != NO_LITERAL) alternative.push_back(passed);
    }
    for (std::uint32_t id = CompiledTask::FIRST_ACTION; id < task_.lists().size(); ++id) {
      const GuidedList& list = task_.list(id);
      if (list.is_useful) alternative.push_back(markers_[list.first_step]);
    }
    std::sort(alternative.begin(), alternative.end());
    alternative.erase(std::unique(alternative.begin(), alternative.end()), alternative.end());
  }
  return result;
}

// Whether the step's own effects make the condition hold, as far as literals go.
bool HFF::is_made_by(const Condition& condition, const GuidedStep& step) const {
  SlotSet reads;
  for (const std::uint32_t slot : condition.program.reads) reads.add(slot);
  reads.finish();
  return have_common_member(reads, step.changes);
}

HFF::Operator HFF::make_operator(const GuidedStep& step) {
  Operator made;
  const GuidedList& list = task_.list(step.list);
  const bool is_problem = step.list == GuidedTask::PROBLEM;
  if (!list.is_useful && !is_problem) return made;
  made.condition.resize(1);
  const std::uint32_t number = list.first_step + step.position;
  if (is_problem || step.position > 0) made.condition.front().push_back(markers_[number]);
  for (const Condition* check : step.checks) add_condition(*check, made.condition);
  for (const Condition* opened : step.opened) {
    if (!opened->is_conjunction) {
      if (!is_made_by(*opened, step)) add_condition(*opened, made.condition);
      continue;
    }
    // Literal by literal: the step may make some of them.
    Literals literals;
    if (!add_literals(*opened, step.changes, literals)) made.condition.clear();
    for (Literals& one : made.condition) one.insert(one.end(), literals.begin(), literals.end());
  }
  for (Literals& one : made.condition) {
    std::sort(one.begin(), one.end());
    one.erase(std::unique(one.begin(), one.end()), one.end());
  }
  return made;
}

void HFF::add_effects(const GuidedStep& step, Operator& made) const {
  const GuidedList& list = task_.list(step.list);
  const auto add = [&](std::uint32_t literal) {
    if (literal != NO_LITERAL) made.effects.push_back(literal);
  };
  const StateSpace& space = task_.task().space();
  for_each_change(space, step, [&](std::uint32_t slot, std::optional<ValueId> value) {
    if (space.place(slot).is_boolean) {
      if (value != ValueTable::FALSE) add(find_literal_of_slot(slot, true));
      if (value != ValueTable::TRUE) add(find_literal_of_slot(slot, false));
    } else if (slot < values_of_slot_.size()) {
      for (const ValueLiteral& one : values_of_slot_[slot]) {
        if (!value || one.literal.holds_for(*value)) add(one.number);
      }
    }
  });
  if (step.list == GuidedTask::PROBLEM) {
    add(passed_[step.position]);
    return;
  }
  const bool is_last = step.position + 1 == list.num_steps;
  add(markers_[list.first_step + (is_last ? 0 : step.position + 1)]);
}

// As `set_task` numbers them.
void HFF::number_disjuncts(const std::vector<Literals>& goal,
                           const std::vector<Operator>& operators) {
  disjunct_begin_.assign(1, 0);
  const auto add = [this](const Literals& literals) {
    disjunct_literals_.insert(disjunct_literals_.end(), literals.begin(), literals.end());
    disjunct_begin_.push_back(static_cast<std::uint32_t>(disjunct_literals_.size()));
  };
  for (const Literals& literals : goal) add(literals);
  for (const Operator& one : operators) {
    for (const Literals& literals : one.condition) add(literals);
  }
}

// --- evaluation ---

void HFF::reach_initial_literals(const State&) {
  const GuidedState& guided = *state_;
  if (has_times()) reach_times(guided);
  for (const OpenAction& open : guided.open) {
    const std::uint32_t first = task_.list(open.list).first_step;
    take_back(markers_[first]);
    reach(markers_[first + open.position]);
  }
  const GuidedList& problem = task_.list(GuidedTask::PROBLEM);
  for (std::uint32_t position = 0; position < problem.num_steps; ++position) {
    const bool is_done = position < guided.problem_position;
    reach(is_done ? passed_[position] : markers_[problem.first_step + position]);
  }
  for (const std::vector<ValueLiteral>& values : values_of_slot_) {
    for (const ValueLiteral& one : values) {
      if (one.literal.holds_for(guided.ids[space().place(one.literal.slot).position])) {
        reach(one.number);
      }
    }
  }
}

// What holds is there since it was written, what must still come is there when the schedule has it.
void HFF::reach_times(const GuidedState& state) {
  if (written_at_ != nullptr) {
    for (const TimedLiteral& one : timed_literals_) times_[one.literal] = (*written_at_)[one.slot];
  }
  for (const OpenAction& open : state.open) {
    const GuidedStep& step = task_.step(open.list, open.position);
    times_[markers_[task_.list(open.list).first_step + open.position]] =
        state.times[open.node + (step.at_end_node ? 1 : 0)] + step.offset;
  }
  const GuidedList& problem = task_.list(GuidedTask::PROBLEM);
  for (std::uint32_t i = state.problem_position; i < problem.num_steps; ++i) {
    times_[markers_[problem.first_step + i]] = task_.step(problem.first_step + i).offset;
  }
}

double HFF::evaluate(const GuidedState& state, const std::vector<double>& written_at) {
  written_at_ = &written_at;
  return compute_estimate(state);
}

double HFF::evaluate(const GuidedState& state) {
  written_at_ = nullptr;
  return compute_estimate(state);
}

void HFF::collect_preferred(std::vector<std::uint32_t>& steps) const {
  for (const std::uint32_t step : relaxed_plan_) {
    if (cost_of_action(step) <= 1) steps.push_back(step);
  }
}

double HFF::compute_estimate(const GuidedState& state) {
  state_ = &state;
  ++num_evaluations_;
  const double cost = compute(State{.values = state.values()}, /*record=*/false);
  for (const std::uint32_t step : relaxed_plan_) is_marked_[step] = false;
  relaxed_plan_.clear();
  if (cost == DEAD_END) return DEAD_END;
  extract_relaxed_plan();
  if (!options_.counts_relaxed_plan) return cost;
  return static_cast<double>(relaxed_plan_.size()) + num_extra_;
}

void HFF::need(std::uint32_t literal) {
  if (cost_of(literal) <= 0 || is_needed_[literal]) return;
  is_needed_[literal] = true;
  needed_.push_back(literal);
  const std::uint32_t comparison = comparison_of_[literal];
  const std::uint32_t supporter = supporter_of(literal);
  if (supporter == NO_DISJUNCT) {
    num_extra_ += 1;
    return;
  }
  if (comparison != NO_LITERAL) num_extra_ += slacks_[comparison].repetitions - 1;
  const std::uint32_t step = owner_of(supporter);
  if (is_marked_[step]) return;
  is_marked_[step] = true;
  relaxed_plan_.push_back(step);
  open_.push_back(supporter);
}

// Backward from the goal, each step once.
void HFF::extract_relaxed_plan() {
  num_extra_ = 0;
  open_.assign(1, goal_disjunct());
  while (!open_.empty()) {
    const std::uint32_t disjunct = open_.back();
    open_.pop_back();
    for (std::uint32_t i = disjunct_begin_[disjunct]; i < disjunct_begin_[disjunct + 1]; ++i) {
      need(disjunct_literals_[i]);
    }
  }
  for (const std::uint32_t literal : needed_) is_needed_[literal] = false;
  needed_.clear();
}

}  // namespace kelvo::ftp
