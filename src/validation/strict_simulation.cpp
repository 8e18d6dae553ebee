#include "validation/strict_simulation.h"

#include <algorithm>
#include <set>
#include <sstream>

#include "model/fluent.h"
#include "model/instance.h"
#include "model/problem_instance.h"

namespace kelvo::strict {

Simulation::Simulation(Task& task, const std::vector<PlannedStep>& steps)
    : task_(task),
      steps_(steps),
      zero_(task.values.rational_number(0)),
      state_(task.initial.state) {}

std::optional<StrictFault> Simulation::run() {
  if (!lay_out()) return fault_;
  if (task_.options.no_moving_targets) touches_.emplace(task_.options.epsilon, times_);
  has_started_ = true;
  for (std::size_t begin = 0; begin < items_.size();) {
    std::size_t end = begin;
    while (end < items_.size() && items_[end].moment == items_[begin].moment) ++end;
    if (!run_time(begin, end)) return fault_;
    begin = end;
  }
  check_labels();
  return fault_;
}

// At one time: windows that end close, conditions and right sides read the state as it is, then the
// effects happen together, and windows that are still open are asked again.
bool Simulation::run_time(std::size_t begin, std::size_t end) {
  now_ = items_[begin].moment;
  is_just_behind_ = false;
  std::size_t i = begin;
  for (; i < end && items_[i].phase == Phase::CLOSE; ++i) {
    if (!close_window(items_[i].window)) return false;
  }
  for (; i < end && items_[i].phase == Phase::ASK; ++i) {
    if (!ask(items_[i])) return false;
  }
  for (; i < end && items_[i].phase == Phase::EFFECT; ++i) {
    if (!take_effect(items_[i])) return false;
  }
  apply_effects();
  is_just_behind_ = true;
  if (!ask_dirty_windows()) return false;
  for (; i < end; ++i) {
    const std::uint32_t window = items_[i].window;
    const bool ends_here = windows_[window].from == windows_[window].to;
    if (!(ends_here ? close_window(window) : open_window(window))) return false;
  }
  return true;
}

bool Simulation::ask(const Item& item) {
  if (item.window != kNone) return open_window(item.window);
  const Statement& statement = statement_of(item.step, item.statement);
  bind(item.step);
  task_.evaluator.forget();
  const Value result =
      task_.evaluator.evaluate(statement.conjuncts[item.conjunct].program, bindings_, state_);
  if (result != kTrue) {
    return fail_condition(result, item.step, item.statement, item.conjunct);
  }
  const bool is_happening = !statement.is_timed || statement.is_point;
  return !is_happening || touch_reads(item.step, item.statement, kNoSlot);
}

bool Simulation::take_effect(const Item& item) {
  const Statement& statement = statement_of(item.step, item.statement);
  const Function& function = task_.functions.fluent(statement.target.fluent);
  Evaluator& evaluator = task_.evaluator;
  bind(item.step);
  evaluator.forget();
  arguments_.clear();
  for (const Program& program : statement.target.arguments) {
    arguments_.push_back(evaluator.evaluate(program, bindings_, state_));
  }
  if (!evaluator.fit_arguments(function, arguments_)) {
    return fail("the effect has no target: " + evaluator.complaint(), item.step, item.statement,
                /*with_values=*/true);
  }
  const Slot slot = task_.fluents.slot(statement.target.fluent, arguments_);
  const Value written = evaluator.evaluate(statement.value, bindings_, state_);
  if (written == kNoValue) {
    return fail("the effect has no value: " + evaluator.complaint(), item.step, item.statement,
                /*with_values=*/true);
  }
  std::string complaint;
  const Value value = function.type.fit(task_.values, written, complaint);
  if (value == kNoValue) {
    return fail("the effect gives " + name_of(slot) + " a wrong value: " + complaint, item.step,
                item.statement, /*with_values=*/true);
  }
  const bool is_increase = task_.options.no_moving_targets && statement.is_increase;
  if (!touch_reads(item.step, item.statement, is_increase ? slot : kNoSlot) ||
      !touch(slot, is_increase ? Touch::INCREASE : Touch::WRITE, item.step, item.statement)) {
    return false;
  }
  return enter_effect({slot, value, item.step, item.statement, is_increase});
}

// Increases of one fluent add up; any other two effects on one fluent exclude each other.
bool Simulation::enter_effect(const Pending& effect) {
  if (effect.slot >= pending_of_slot_.size()) pending_of_slot_.resize(effect.slot + 1, kNone);
  std::uint32_t& known = pending_of_slot_[effect.slot];
  if (known == kNone) {
    known = static_cast<std::uint32_t>(pending_.size());
    pending_.push_back(effect);
    return true;
  }
  Pending& other = pending_[known];
  if (!effect.is_increase || !other.is_increase) {
    fail("there are two effects on " + name_of(effect.slot) + " at one time", effect.step,
         effect.statement);
    fault_->other = source_of(other.step, other.statement);
    return false;
  }
  Values& values = task_.values;
  const Value added = values.difference(effect.value, state_.value(effect.slot));
  std::string complaint;
  const Function& function = task_.functions.fluent(task_.fluents.fluent_of(effect.slot));
  other.value = function.type.fit(values, values.sum(other.value, added), complaint);
  if (other.value != kNoValue) return true;
  return fail("the effects give " + name_of(effect.slot) + " a wrong value: " + complaint,
              effect.step, effect.statement);
}

void Simulation::apply_effects() {
  for (const Pending& effect : pending_) {
    state_.write(effect.slot, effect.value, {effect.step, effect.statement, now_});
    pending_of_slot_[effect.slot] = kNone;
    if (effect.slot >= watchers_.size()) continue;
    std::vector<std::uint32_t>& watchers = watchers_[effect.slot];
    std::erase_if(watchers, [this](std::uint32_t window) { return !windows_[window].is_open; });
    for (const std::uint32_t window : watchers) {
      if (windows_[window].is_dirty || windows_[window].to == now_) continue;
      windows_[window].is_dirty = true;
      dirty_.push_back(window);
    }
  }
  pending_.clear();
}

bool Simulation::ask_dirty_windows() {
  std::ranges::sort(dirty_);
  for (const std::uint32_t window : dirty_) {
    windows_[window].is_dirty = false;
    if (!ask_window(window)) return false;
  }
  dirty_.clear();
  return true;
}

bool Simulation::open_window(std::uint32_t number) {
  windows_[number].is_open = true;
  return ask_window(number);
}

bool Simulation::ask_window(std::uint32_t number) {
  Window& window = windows_[number];
  const Statement& statement = statement_of(window.step, window.statement);
  bind(window.step);
  task_.evaluator.forget();
  const Value result =
      task_.evaluator.evaluate(statement.conjuncts[window.conjunct].program, bindings_, state_);
  watch(number);
  if (window.recorder == nullptr) {
    if (result == kTrue) return true;
    fail_condition(result, window.step, window.statement, window.conjunct);
    fault_->window =
        StrictWindow{times_[window.from], times_[window.to], window.from_closed, window.to_closed};
    return false;
  }
  window.recorder->note(result == kTrue, times_[now_], !is_just_behind_);
  return true;
}

// What a condition depends on may change with the arguments of fluents, so it only grows.
void Simulation::watch(std::uint32_t number) {
  std::vector<Slot>& watched = windows_[number].watched;
  for (const Slot slot : task_.evaluator.reads()) {
    const auto place = std::ranges::lower_bound(watched, slot);
    if (place != watched.end() && *place == slot) continue;
    watched.insert(place, slot);
    if (slot >= watchers_.size()) watchers_.resize(slot + 1);
    watchers_[slot].push_back(number);
  }
}

bool Simulation::close_window(std::uint32_t number) {
  Window& window = windows_[number];
  window.is_open = false;
  if (window.recorder == nullptr) return true;
  window.recorder->end(times_[window.to], window.to_closed);
  if (window.is_about_label) return true;
  const Statement& statement = statement_of(window.step, window.statement);
  bool is_met = window.recorder->is_met();
  if (!statement.lasting.empty()) {
    const std::optional<rational> lasting = lasting_of(window);
    if (!lasting) return fail("its duration has no value", window.step, window.statement);
    is_met = !window.recorder->starts_of(*lasting).empty();
  }
  if (is_met) return true;
  bind(window.step);
  task_.evaluator.forget();
  task_.evaluator.evaluate(statement.conjuncts[window.conjunct].program, bindings_, state_);
  fail("the condition is met at no time of its window", window.step, window.statement,
       /*with_values=*/true);
  fault_->window =
      StrictWindow{times_[window.from], times_[window.to], window.from_closed, window.to_closed};
  return false;
}

std::optional<rational> Simulation::lasting_of(const Window& window) {
  const Statement& statement = statement_of(window.step, window.statement);
  if (statement.lasting.empty()) return rational(0);
  bind(window.step);
  const Value value = task_.evaluator.evaluate(statement.lasting, bindings_, state_);
  if (!task_.values.is_number(value)) return std::nullopt;
  return task_.values.number_of(value);
}

bool Simulation::touch_reads(std::uint32_t step, std::uint32_t statement, Slot except) {
  if (!touches_ || step == Writer::kProblem) return true;
  for (const Slot slot : task_.evaluator.reads()) {
    if (slot != except && !touch(slot, Touch::READ, step, statement)) return false;
  }
  return true;
}

bool Simulation::touch(Slot slot, Touch touch, std::uint32_t step, std::uint32_t statement) {
  if (!touches_ || step == Writer::kProblem) return true;
  const auto earlier = touches_->enter(slot, touch, {step, statement, now_});
  if (!earlier) return true;
  std::ostringstream rule;
  rule << "two steps touch " << name_of(slot) << " less than " << task_.options.epsilon
       << " apart, and one of them writes it";
  fail(rule.str(), step, statement);
  fault_->other = source_of(earlier->step, earlier->statement);
  fault_->other_time = times_[earlier->time];
  return false;
}

StrictSource Simulation::source_of(std::uint32_t step, std::uint32_t statement) const {
  return {step == Writer::kProblem ? nullptr : steps_[step].step, list_of(step).owner,
          statement_of(step, statement).source};
}

std::string Simulation::name_of(Slot slot) const {
  const std::span<const Value> arguments = task_.fluents.arguments_of(slot);
  return application_text(task_.values, task_.functions.fluent(task_.fluents.fluent_of(slot)),
                          {arguments.begin(), arguments.end()});
}

std::vector<StrictRead> Simulation::read_values() const {
  std::vector<StrictRead> result;
  std::set<Slot> seen;
  for (const Slot slot : task_.evaluator.reads()) {
    if (!seen.insert(slot).second) continue;
    StrictRead read{name_of(slot), task_.values.text(state_.value(slot)), {}, std::nullopt};
    if (!read.value.empty()) {
      const Writer& writer = state_.writer(slot);
      if (writer.time == Writer::kInitial) {
        read.writer.statement = task_.initial.sources[writer.statement];
      } else {
        read.writer = source_of(writer.step, writer.statement);
        read.written_at = times_[writer.time];
      }
    }
    result.push_back(std::move(read));
  }
  return result;
}

bool Simulation::fail(const std::string& rule, std::uint32_t step, std::uint32_t statement,
                      bool with_values) {
  fault_.emplace();
  fault_->rule = rule;
  fault_->source = source_of(step, statement);
  if (has_started_) {
    fault_->time = times_[now_];
    fault_->just_behind = is_just_behind_;
  }
  if (with_values) fault_->reads = read_values();
  return false;
}

bool Simulation::fail_condition(Value result, std::uint32_t step, std::uint32_t statement,
                                std::uint32_t conjunct) {
  const Statement& asked = statement_of(step, statement);
  const bool is_about_duration = asked.kind == Statement::Kind::DURATION;
  std::string rule =
      is_about_duration ? "the duration is not allowed" : "the condition does not hold";
  if (result == kNoValue) {
    rule = "the condition has no value: " + task_.evaluator.complaint();
  }
  fail(rule, step, statement, /*with_values=*/true);
  if (asked.conjuncts.size() > 1) fault_->part = asked.conjuncts[conjunct].expression;
  return false;
}

}  // namespace kelvo::strict
