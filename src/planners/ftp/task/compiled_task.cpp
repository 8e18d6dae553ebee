#include "planners/ftp/task/compiled_task.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "planners/ftp/task/time_constants.h"
#include "planners/task/unset_fluents.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"

namespace kelvo::ftp {

using model::Expression;
using model::ExpressionFactory;

namespace {

constexpr double INFINITE = std::numeric_limits<double>::infinity();

void add_bits(const std::vector<std::uint32_t>& slots, std::vector<std::uint64_t>& bits) {
  for (const std::uint32_t slot : slots) bits[slot / 64] |= std::uint64_t{1} << (slot % 64);
}

}  // namespace

CompiledTask::CompiledTask(const model::ProblemInstance& problem, const rational& plan_epsilon,
                           bool no_moving_targets)
    : EnvObject(problem->environment()),
      problem_(problem),
      plan_epsilon_(plan_epsilon),
      no_moving_targets_(no_moving_targets),
      statements_(problem),
      space_(environment()),
      compiler_(space_),
      free_vars_(environment()) {
  make_slots();
  make_problem_templates();
  for (const auto& [name, action] : problem_->actions()) {
    if (action->has_parameters()) {
      throw InternalError("The ftp-based planner assumes a grounded model");
    }
    action_events_.emplace_back(environment(), action);
  }
  for (const ActionEvents& action : action_events_) make_action_template(action);
}

void CompiledTask::make_slots() {
  for (const Expression key : statements_.sorted_fluents(environment())) space_.add_slot(key);
  for (const Expression fluent : fluents_given_later(problem_)) {
    space_.add_slot(fluent, /*has_value=*/false);
  }
  for (const Expression value : kelvo::initial_values(statements_, space_)) {
    initial_values_.push_back(value == nullptr ? ValueTable::NONE
                                               : space_.value_table().id_of(value));
  }
}

FluentSet CompiledTask::fluents_of(Expression e) {
  const ExpressionFactory& ef = environment().expression_factory();
  FluentSet result;
  if (e == nullptr) return result;
  const auto add = [&](Expression fluent) {
    const std::uint32_t next = static_cast<std::uint32_t>(fluent_numbers_.size());
    result.add(fluent_numbers_.try_emplace(fluent, next).first->second);
  };
  for (const Expression variable : free_vars_(e)) {
    if (ef.is_fluent_reference(variable)) add(variable);
    if (!ef.is_functional_apply(variable)) continue;
    const Expression reference = ef.get_reference_from_functional_apply(variable);
    const Expression fluent = compiler_.simplify(variable);
    if (!ef.is_fluent_reference(reference) || space_.fluent_index().contains(fluent)) {
      add(fluent);
      continue;
    }
    // The arguments depend on the state, and are variables themselves: it may be any of the
    // fluents.
    for (std::size_t slot = 0; slot < space_.num_slots(); ++slot) {
      const Expression key = space_.key(slot);
      const bool is_one =
          ef.is_functional_apply(key) && ef.get_reference_from_functional_apply(key) == reference;
      if (is_one) add(key);
    }
  }
  result.finish();
  return result;
}

std::uint32_t CompiledTask::add_condition(Expression body) {
  const std::uint32_t next = static_cast<std::uint32_t>(conditions_.size());
  const auto [known, is_new] = condition_programs_.try_emplace(body, next);
  if (is_new) conditions_.push_back(compiler_.compile_condition(body));
  return known->second;
}

std::uint32_t CompiledTask::add_effect(Expression body) {
  effects_.push_back(compiler_.compile_effect(body));
  std::vector<std::uint64_t> writes((space_.num_slots() + 63) / 64);
  add_bits(effects_.back().writes, writes);
  writes_.push_back(std::move(writes));
  return static_cast<std::uint32_t>(effects_.size() - 1);
}

TemplateEvent CompiledTask::make_event(const PlacedEvent& placed) {
  const TimedStatement statement = decompose_statement(placed.expression);
  const double offset = to_double(placed.time.offset);
  TemplateEvent event;
  event.role = placed.role;
  event.expression = placed.expression;
  event.index = placed.index;
  event.from_start = placed.time.from_start;
  event.offset = placed.time.from_start ? offset : 0.0 - offset;  // no negative zero
  event.exact_offset = placed.time.offset;
  if (!placed.time.from_start) event.exact_offset = -event.exact_offset;
  event.left_open = placed.left_open;
  event.program = event.is_effect() ? add_effect(statement.body) : add_condition(statement.body);
  event.fluents = fluents_of(placed.expression);
  event.left_time = statement.left;
  event.right_time = statement.right;
  return event;
}

void CompiledTask::refuse_long_durations() const {
  for (const EventTemplate& list : templates_) {
    if (list.lower > LONGEST_TIME) {
      throw InvalidParameterError()
          << "The duration of the action " << list.action->name() << " is too long for this search";
    }
  }
}

// --- the problem's lists ---

void CompiledTask::make_problem_templates() {
  ExpressionFactory& ef = environment().expression_factory();
  for (const Expression goal : statements_.goals) {
    if (!decompose_statement(goal).is_contains) continue;
    throw InternalError() << "The problem needs the transformer 'contains-compiler' first: "
                          << model::print_expression(goal);
  }
  const auto literals = group_by_interval(ef, statements_.timed_literals, ef.make_start_anchor());
  const auto goals = group_by_interval(ef, statements_.goals, ef.make_end_anchor());
  for (const Expression goal : goals) {
    const TimedStatement statement = decompose_statement(goal);
    if (statement.left_closed && is_at_start(ef, statement.left))
      initial_conditions_.push_back(add_condition(statement.body));
  }
  std::vector<PlacedEvent> placed = place_problem_events(ef, literals, goals, exact_gap());
  sort_table(placed);
  templates_.resize(FIRST_ACTION);
  // The two events of a goal have neighbouring numbers, whatever lists they are in.
  std::unordered_map<std::size_t, std::uint32_t> bit_of_index;
  std::vector<PlacedEvent> durative;
  for (const PlacedEvent& event : placed) {
    if (event.role == EventRole::OPENING || event.role == EventRole::CLOSING) {
      durative.push_back(event);
    }
  }
  std::sort(durative.begin(), durative.end(),
            [](const PlacedEvent& a, const PlacedEvent& b) { return a.index < b.index; });
  for (const PlacedEvent& event : durative) {
    bit_of_index.emplace(event.index, static_cast<std::uint32_t>(goal_conditions_.size()));
    goal_conditions_.push_back(add_condition(decompose_statement(event.expression).body));
  }
  for (const PlacedEvent& event : placed) {
    if (event.at_once) {
      initially_open_goals_.push_back(bit_of_index.at(event.index));
      continue;
    }
    TemplateEvent made = make_event(event);
    if (const auto bit = bit_of_index.find(event.index); bit != bit_of_index.end()) {
      made.goal_bit = bit->second;
    }
    EventTemplate& list = templates_[made.from_start ? PROBLEM_START : PROBLEM_END];
    list.events.push_back(std::move(made));
  }
  for (EventTemplate& list : templates_) {
    list.open_at.resize(list.events.size() + 1);
    list.open_reads.resize(list.events.size() + 1);
    list.open_reads_all.resize(list.events.size() + 1);
    add_suffix_offsets(list);
  }
}

// --- actions ---

void CompiledTask::make_action_template(const ActionEvents& action) {
  ExpressionFactory& ef = environment().expression_factory();
  EventTemplate made;
  made.action = action.action;
  made.duration = action.duration;
  made.lower = to_double(action.duration.lower);
  if (action.duration.lower_open) made.lower += NETWORK_EPSILON;
  made.has_upper = action.duration.upper.has_value();
  if (made.has_upper) made.upper = to_double(*action.duration.upper);
  if (action.duration.upper_open) made.upper -= NETWORK_EPSILON;
  made.start_expression = action.start_condition;
  made.start_fluents = fluents_of(action.start_condition);
  if (action.start_condition != nullptr) {
    made.start_condition = compiler_.compile_condition(action.start_condition->child(1));
  }

  std::vector<PlacedEvent> table = place_action_events(ef, action, exact_gap());
  simulate_conditions(table, made);
  add_suffix_offsets(made);
  for (const TemplateEvent& event : made.events) {
    double& earliest = event.from_start ? made.earliest_start : made.earliest_end;
    earliest = std::max(earliest, -event.offset);
    if (!event.is_effect() || !event.from_start) continue;
    made.latest_effect = std::max(made.latest_effect, event.offset);
  }
  // Without an effect an opening changes nothing.
  if (action.effects.empty()) std::swap(made.is_useful, made.is_idle);
  ids_.emplace(action.action, static_cast<std::uint32_t>(templates_.size()));
  templates_.push_back(std::move(made));
}

// Sorts the table into the template's events and notes which durative conditions are open where.
// The second event of a condition closes it if the first stands before it in the list; else, when
// the shift of a left-open condition has moved its opening behind its end, it is an opening itself,
// and the condition stays open for ever.
void CompiledTask::simulate_conditions(const std::vector<PlacedEvent>& table, EventTemplate& made) {
  struct Open {
    Expression expression;
    OpenCondition condition;
  };
  std::vector<Open> open;
  std::vector<PlacedEvent> sorted;
  for (const PlacedEvent& placed : table) {
    if (!placed.at_once) {
      sorted.push_back(placed);
      continue;
    }
    const std::uint32_t program = add_condition(decompose_statement(placed.expression).body);
    open.push_back({placed.expression, {program, OpenCondition::AT_ONCE, false}});
  }
  sort_table(sorted);

  const auto note_open = [&] {
    std::vector<OpenCondition>& here = made.open_at.emplace_back();
    std::vector<std::uint64_t> reads((space_.num_slots() + 63) / 64);
    bool reads_all = false;
    for (const Open& one : open) {
      here.push_back(one.condition);
      add_bits(conditions_[one.condition.program].program.reads, reads);
      reads_all |= conditions_[one.condition.program].program.reads_all;
    }
    made.open_reads.push_back(std::move(reads));
    made.open_reads_all.push_back(reads_all);
  };

  for (const PlacedEvent& placed : sorted) {
    note_open();
    TemplateEvent event = make_event(placed);
    const std::uint32_t position = static_cast<std::uint32_t>(made.events.size());
    if (event.role == EventRole::CLOSING) {
      const auto opened = std::find_if(open.begin(), open.end(), [&](const Open& one) {
        return one.expression == placed.expression;
      });
      if (opened == open.end()) {
        event.role = EventRole::OPENING;
        event.left_open = !decompose_statement(placed.expression).left_closed;
        made.is_useful = false;
      } else {
        open.erase(opened);
      }
    }
    if (event.is_opening()) {
      open.push_back({placed.expression, {event.program, position, event.left_open}});
    }
    made.events.push_back(std::move(event));
  }
  note_open();
  if (!open.empty()) {
    made.is_useful = false;
    LOG(LogLevel::WARN) << "The condition " << model::print_expression(open.front().expression)
                        << " of the action " << made.action->name()
                        << " is too short to open behind an effect: the action is left out";
  }
}

void CompiledTask::add_suffix_offsets(EventTemplate& made) const {
  SuffixOffsets at{INFINITE, INFINITE, INFINITE, INFINITE};
  made.suffix.assign(made.events.size() + 1, at);
  for (std::size_t position = made.events.size(); position > 0; --position) {
    const TemplateEvent& event = made.events[position - 1];
    double& any = event.from_start ? at.start : at.end;
    any = std::min(any, event.offset);
    if (!event.is_effect()) {
      double& condition = event.from_start ? at.start_condition : at.end_condition;
      condition = std::min(condition, event.offset);
    }
    made.suffix[position - 1] = at;
  }
}

}  // namespace kelvo::ftp
