// How a plan is laid out on the line of time: what happens, and what is asked when.

#include <algorithm>

#include "model/print_expression.h"
#include "shell/errors.h"
#include "validation/strict_simulation.h"

namespace kelvo::strict {

const StatementList& Simulation::list_of(std::uint32_t step) const {
  return step == Writer::kProblem ? task_.problem : *steps_[step].list;
}

const Statement& Simulation::statement_of(std::uint32_t step, std::uint32_t statement) const {
  return list_of(step).statements[statement];
}

void Simulation::bind(std::uint32_t step) {
  if (step == Writer::kProblem) {
    bindings_ = {{}, kNoValue, zero_, horizon_, horizon_};
  } else {
    bindings_ = {steps_[step].parameters, steps_[step].object, starts_[step], ends_[step],
                 durations_[step]};
  }
}

// The end of the plan depends on the effects of its steps, so these are laid out first.
bool Simulation::lay_out() {
  Values& values = task_.values;
  for (const PlannedStep& step : steps_) {
    starts_.push_back(values.rational_number(step.start));
    durations_.push_back(values.rational_number(step.duration));
    ends_.push_back(values.sum(starts_.back(), durations_.back()));
  }
  Value last = zero_;
  const auto count = [&](Value time) {
    if (values.less(last, time)) last = time;
  };
  for (std::uint32_t step = 0; step < steps_.size(); ++step) {
    count(ends_[step]);
    if (!lay_out_list(step)) return false;
  }
  for (const Item& item : items_) {
    if (item.phase == Phase::EFFECT && item.moment != ends_[item.step] &&
        item.moment != starts_[item.step]) {
      count(item.moment);
    }
  }
  horizon_ = values.rational_number(values.number_of(last) + 1);
  if (!lay_out_list(Writer::kProblem)) return false;
  number_times();
  return true;
}

bool Simulation::lay_out_list(std::uint32_t step) {
  bind(step);
  const std::size_t size = list_of(step).statements.size();
  for (std::uint32_t number = 0; number < size; ++number) {
    if (!lay_out_statement(step, number)) return false;
  }
  return true;
}

bool Simulation::lay_out_statement(std::uint32_t step, std::uint32_t number) {
  const bool is_of_problem = step == Writer::kProblem;
  if (is_of_problem && task_.is_initial[number]) return true;
  const Statement& statement = statement_of(step, number);
  if (is_of_problem && !(statement.left.label.empty() && statement.right.label.empty())) {
    lay_out_about_label(number);
    return true;
  }
  Value from = is_of_problem ? horizon_ : starts_[step];
  if (statement.is_timed && statement.kind != Statement::Kind::DURATION) {
    from = time_of(statement.left, statement);
    if (from == kNoValue) return fail("its time has no value", step, number);
    if (!statement.is_point) {
      const Value to = time_of(statement.right, statement);
      if (to == kNoValue) return fail("its time has no value", step, number);
      return lay_out_window(step, number, from, to);
    }
  }
  if (statement.kind == Statement::Kind::CONTAINS) {
    return lay_out_window(step, number, from, from);
  }
  const bool is_effect = statement.kind == Statement::Kind::EFFECT;
  if (task_.values.less(from, zero_)) {
    return fail(
        is_effect ? "the effect comes before time 0" : "the condition is about a time before 0",
        step, number);
  }
  if (is_effect) {
    items_.push_back({from, Phase::EFFECT, step, number, kNone, kNone});
    return true;
  }
  for (std::uint32_t i = 0; i < statement.conjuncts.size(); ++i) {
    items_.push_back({from, Phase::ASK, step, number, i, kNone});
  }
  return true;
}

bool Simulation::lay_out_window(std::uint32_t step, std::uint32_t number, Value from, Value to) {
  const Values& values = task_.values;
  const Statement& statement = statement_of(step, number);
  const bool is_contains = statement.kind == Statement::Kind::CONTAINS;
  const bool both_closed = statement.left_closed && statement.right_closed;
  bool from_closed = statement.left_closed;
  bool is_empty = from == to ? !both_closed : values.less(to, from);
  if (!is_empty && values.less(from, zero_)) {
    if (!is_contains) return fail("the condition is about times before 0", step, number);
    from = zero_;  // there are no times before
    from_closed = true;
    is_empty = values.less(to, zero_) || (to == zero_ && !statement.right_closed);
  }
  if (is_empty) {
    if (!is_contains) return true;
    return fail("its window is empty, so that the condition is met at no time of it", step, number);
  }
  for (std::uint32_t i = 0; i < statement.conjuncts.size(); ++i) {
    if (from == to && !is_contains) {
      items_.push_back({from, Phase::ASK, step, number, i, kNone});
      continue;
    }
    const auto window = static_cast<std::uint32_t>(windows_.size());
    windows_.push_back({from,
                        to,
                        from_closed,
                        statement.right_closed,
                        step,
                        number,
                        i,
                        false,
                        false,
                        {},
                        is_contains ? std::make_unique<Recorder>() : nullptr});
    items_.push_back({from, from_closed ? Phase::ASK : Phase::OPEN, step, number, kNone, window});
    // A window of one moment closes after it, any other before the effects at its end.
    items_.push_back({to, from == to ? Phase::OPEN : Phase::CLOSE, step, number, kNone, window});
  }
  return true;
}

// Of a statement of the owner that is bound. Equal times are one value: all are rationals.
Value Simulation::time_of(const TimeBound& bound, const Statement& statement) {
  if (!bound.label.empty()) {
    throw InvalidParameterError() << "Labels belong to the problem, not to an action: "
                                  << model::print_expression(statement.source);
  }
  if (bound.time.size() == 1) {  // nearly always
    if (bound.time.front().op == Op::START) return bindings_.start;
    if (bound.time.front().op == Op::END) return bindings_.end;
  }
  task_.evaluator.forget();
  const Value time = task_.evaluator.evaluate(bound.time, bindings_, state_);
  if (!task_.values.is_number(time)) return kNoValue;
  return task_.values.as_element(time);
}

// Replaces times by their numbers in ascending order, and orders what happens.
void Simulation::number_times() {
  std::vector<Value> moments;
  for (const Item& item : items_) moments.push_back(item.moment);
  std::ranges::sort(moments);
  moments.erase(std::unique(moments.begin(), moments.end()), moments.end());
  std::ranges::sort(moments, [this](Value a, Value b) { return task_.values.less(a, b); });
  std::vector<std::uint32_t> numbers;
  for (const Value moment : moments) {
    if (moment >= numbers.size()) numbers.resize(moment + 1);
    numbers[moment] = static_cast<std::uint32_t>(times_.size());
    times_.push_back(task_.values.number_of(moment));
  }
  for (Item& item : items_) item.moment = numbers[item.moment];
  for (Window& window : windows_) {
    window.from = numbers[window.from];
    window.to = numbers[window.to];
  }
  std::ranges::stable_sort(items_, [](const Item& a, const Item& b) {
    return a.moment != b.moment ? a.moment < b.moment : a.phase < b.phase;
  });
}

}  // namespace kelvo::strict
