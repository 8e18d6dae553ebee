#include "planners/task/machine.h"

#include <algorithm>
#include <cassert>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <unordered_map>

#include "model/expression_evaluator.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/print_expression.h"
#include "model/types.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo {

using model::Expression;

namespace {

__extension__ using Wide = __int128;

bool is_number(const Value& value) {
  return value.kind == ValueKind::INTEGER || value.kind == ValueKind::RATIONAL;
}

Value boolean(bool value) {
  return {ValueKind::BOOLEAN, value ? ValueTable::TRUE : ValueTable::FALSE};
}

bool is_true(const Value& value) {
  return value.id == ValueTable::TRUE;
}

bool fits(Wide n) {
  return n <= std::numeric_limits<std::int64_t>::max() &&
         n > std::numeric_limits<std::int64_t>::min();
}

// The reduced quotient in `result`; false when it does not fit.
bool make_rational(Wide num, Wide den, Value& result) {
  if (den == 0) return false;
  if (den < 0) {
    num = -num;
    den = -den;
  }
  Wide a = num < 0 ? -num : num;
  Wide b = den;
  while (b != 0) {
    const Wide rest = a % b;
    a = b;
    b = rest;
  }
  num /= a;
  den /= a;
  if (!fits(num) || !fits(den)) return false;
  result = {ValueKind::RATIONAL, 0, static_cast<std::int64_t>(num), static_cast<std::int64_t>(den)};
  return true;
}

bool make_integer(Wide num, Value& result) {
  if (!fits(num)) return false;
  result = {ValueKind::INTEGER, 0, static_cast<std::int64_t>(num), 1};
  return true;
}

bool add_rationals(const Value& a, const Value& b, Value& result) {
  if (a.den == 1 && b.den == 1) return make_rational(Wide{a.num} + b.num, 1, result);
  const Wide left = Wide{a.num} * b.den;
  const Wide right = Wide{b.num} * a.den;
  // Each product has at most 126 bits, so that the sum does not overflow.
  return make_rational(left + right, Wide{a.den} * b.den, result);
}

bool multiply_rationals(const Value& a, const Value& b, Value& result) {
  return make_rational(Wide{a.num} * b.num, Wide{a.den} * b.den, result);
}

// -1, 0 or 1.
int order(const Value& a, const Value& b) {
  const Wide left = Wide{a.num} * b.den;
  const Wide right = Wide{b.num} * a.den;
  return left < right ? -1 : (right < left ? 1 : 0);
}

/// Reads a state in which a fluent may have no value.
class PartialEvaluator : public model::ExpressionEvaluator {
 public:
  PartialEvaluator(Environment& env, const Index& index, const Values& values)
      : ExpressionEvaluator(env, index, values), index_(index), values_(values) {}

 protected:
  Expression lookup(Expression ground_fluent) const override {
    const auto slot = index_.find(ground_fluent);
    if (slot == index_.end() || values_[slot->second] == nullptr) throw OutOfBoundsValue();
    return values_[slot->second];
  }

 private:
  const Index& index_;
  const Values& values_;
};

bool is_connective(const model::ExpressionFactory& ef, Expression e) {
  return ef.is_and(e) || ef.is_or(e) || ef.is_not(e) || ef.is_imply(e) || ef.is_iff(e);
}

// The truth of a connective by that of its parts, each of which may have none.
std::optional<bool> combine_truth(
    const model::ExpressionFactory& ef, Expression e,
    const std::unordered_map<Expression, std::optional<bool>>& known) {
  const std::optional<bool> first = known.at(e->child(0));
  if (ef.is_not(e)) return first ? std::optional(!*first) : first;
  const std::optional<bool> last = known.at(e->child(e->arity() - 1));
  if (ef.is_iff(e)) return first && last ? std::optional(*first == *last) : std::nullopt;
  if (ef.is_imply(e)) {
    if (first == false || last == true) return true;
    return first && last ? std::optional(false) : std::nullopt;
  }
  const bool neutral = ef.is_and(e);
  bool has_all = true;
  for (const Expression child : e->children()) {
    const std::optional<bool> truth = known.at(child);
    if (truth == !neutral) return !neutral;
    has_all = has_all && truth.has_value();
  }
  return has_all ? std::optional(neutral) : std::nullopt;
}

}  // namespace

bool Machine::holds(const Program& program, const StateValues& state) {
  const model::ExpressionFactory& ef = environment().expression_factory();
  try {
    if (run(program, state, program.steps.size()) && stack_.back().kind == ValueKind::BOOLEAN) {
      return is_true(stack_.back());
    }
    const Expression value = evaluate_expression(program.expression, state);
    if (!ef.is_boolean_constant(value)) {
      throw InternalError() << "A boolean constant was expected: "
                            << model::print_expression(value);
    }
    return ef.get_boolean_constant(value);
  } catch (const OutOfBoundsValue&) {
    return is_connective(ef, program.expression) && holds_in_part(program.expression, state);
  }
}

// Whether a condition holds some parts of which have no value, as when an argument is out of its
// bounds: where one side of a connective decides, the other one need not have any.
bool Machine::holds_in_part(Expression root, const StateValues& state) {
  const model::ExpressionFactory& ef = environment().expression_factory();
  const std::vector<Expression> values = space_.expressions(state);
  const PartialEvaluator evaluator(environment(), space_.fluent_index(), values);
  std::unordered_map<Expression, std::optional<bool>> known;
  std::vector<Expression> open{root};
  while (!open.empty()) {
    const Expression e = open.back();
    const std::size_t num_open = open.size();
    if (!known.contains(e) && is_connective(ef, e)) {
      for (const Expression child : e->children()) {
        if (!known.contains(child)) open.push_back(child);
      }
    }
    if (open.size() > num_open) continue;
    open.pop_back();
    if (known.contains(e)) continue;
    if (is_connective(ef, e)) {
      known.emplace(e, combine_truth(ef, e, known));
      continue;
    }
    std::optional<bool> truth;
    try {
      truth = ef.is_true(evaluator(e));
    } catch (const OutOfBoundsValue&) {
      // It has no value, or reads a fluent that has none.
    } catch (const std::overflow_error&) {
      // A quotient by 0 has none either.
    }
    known.emplace(e, truth);
  }
  return known.at(root).value_or(false);
}

Value Machine::evaluate(const Program& program, const StateValues& state) {
  if (run(program, state, program.steps.size())) return stack_.back();
  const Expression value = evaluate_expression(program.expression, state);
  return space_.value_table().value(space_.value_table().id_of(value));
}

Expression Machine::evaluate_expression(Expression e, const StateValues& state) {
  const bool is_stateless = state.bits == nullptr && state.ids == nullptr;
  const std::vector<Expression> values =
      is_stateless ? std::vector<Expression>(space_.num_slots()) : space_.expressions(state);
  try {
    return PartialEvaluator(environment(), space_.fluent_index(), values)(e);
  } catch (const std::overflow_error&) {  // a quotient by 0
    throw OutOfBoundsValue();
  }
}

std::optional<Value> Machine::combine(const Program& program, const ProgramStep& step,
                                      std::span<const Value> operands) {
  stack_.assign(operands.begin(), operands.end());
  try {
    if (run_step(program, step, StateValues())) return stack_.back();
  } catch (const KelvoError&) {
    // A constant has no value there, or an argument is out of bounds.
  }
  return std::nullopt;
}

// --- effects ---

bool Machine::apply(const EffectProgram& effect, const StateValues& before, std::uint64_t* bits,
                    ValueId* ids) {
  if (effect.never) return false;
  for (const WordUpdate& update : effect.updates) {
    bits[update.word] = (bits[update.word] & ~update.clear) | update.set;
  }
  if (effect.assignments.empty()) return true;
  try {
    if (effect.writes_all && writes_twice(effect, before)) return false;
    for (const Assignment& assignment : effect.assignments) {
      if (!assign(assignment, before, bits, ids)) return false;
    }
  } catch (const OutOfBoundsValue&) {
    return false;
  }
  return true;
}

// Whether left sides whose arguments depend on the state meet another one.
bool Machine::writes_twice(const EffectProgram& effect, const StateValues& before) {
  written_ = effect.writes;
  for (const Assignment& assignment : effect.assignments) {
    if (assignment.target == nullptr) continue;
    written_.push_back(static_cast<std::uint32_t>(target_slot(*assignment.target, before)));
  }
  std::sort(written_.begin(), written_.end());
  return std::adjacent_find(written_.begin(), written_.end()) != written_.end();
}

bool Machine::assign(const Assignment& assignment, const StateValues& before, std::uint64_t* bits,
                     ValueId* ids) {
  const std::size_t slot =
      assignment.target == nullptr ? assignment.slot : target_slot(*assignment.target, before);
  if (assignment.is_constant && assignment.target == nullptr) {
    space_.set(bits, ids, slot, assignment.constant);  // tested when it was compiled
    return true;
  }
  ValueTable& table = space_.value_table();
  Value value = assignment.is_constant ? table.value(assignment.constant)
                                       : evaluate(assignment.value, before);
  const model::Type& type = space_.type(slot);
  if (type->is_boolean() && value.kind != ValueKind::BOOLEAN) {
    throw InternalError() << "A boolean constant was expected: "
                          << model::print_expression(table.expression(table.id_of(value)));
  }
  if (type->is_integer() && value.kind == ValueKind::RATIONAL && value.den == 1) {
    value.kind = ValueKind::INTEGER;
  } else if (type->is_rational() && value.kind == ValueKind::INTEGER) {
    value.kind = ValueKind::RATIONAL;
  }
  ValueId id = table.id_of(value);
  if (value.kind == ValueKind::BIG) {
    model::ExpressionFactory& ef = environment().expression_factory();
    id = table.id_of(model::as_stored(ef, type, table.expression(id)));
  }
  if (type->is_numeric() &&
      model::is_out_of_bounds(environment().expression_factory(), type, table.expression(id))) {
    return false;
  }
  space_.set(bits, ids, slot, id);
  return true;
}

std::size_t Machine::target_slot(const Program& target, const StateValues& state) {
  const ProgramStep& last = target.steps.back();
  if (last.op == ProgramOp::FLUENT && run(target, state, target.steps.size() - 1)) {
    const ApplicationTable& table = *target.tables[last.arg];
    if (collect_arguments(table, last.count)) {
      const auto slot = table.entries.find(arguments_);
      if (slot != table.entries.end()) return slot->second;
    }
  }
  model::ExpressionFactory& ef = environment().expression_factory();
  if (ef.is_functional_apply(target.expression)) {
    const std::vector<Expression> values = space_.expressions(state);
    const PartialEvaluator evaluator(environment(), space_.fluent_index(), values);
    const Expression reference = ef.get_reference_from_functional_apply(target.expression);
    const model::Parameters& parameters = ef.get_fluent_from_reference(reference)->parameters();
    std::vector<Expression> arguments;
    for (const Expression argument : target.expression->children()) {
      const model::Type& type = parameters[arguments.size()]->type();
      const Expression value = evaluator(argument);
      if (model::is_out_of_bounds(ef, type, value)) throw OutOfBoundsValue();
      arguments.push_back(value);
    }
    const auto slot = space_.fluent_index().find(ef.make_functional_apply(reference, arguments));
    if (slot != space_.fluent_index().end()) return slot->second;
  }
  throw InternalError() << "Found an unexpected fluent: "
                        << model::print_expression(target.expression);
}

// --- the steps ---

// Runs the first steps of the program and leaves the result on the stack; false to punt.
bool Machine::run(const Program& program, const StateValues& state, std::size_t num_steps) {
  assert(num_steps <= program.steps.size());
  stack_.clear();
  for (std::size_t i = 0; i < num_steps; ++i) {
    if (!run_step(program, program.steps[i], state)) return false;
  }
  assert(num_steps < program.steps.size() || stack_.size() == 1);
  return true;
}

bool Machine::run_step(const Program& program, const ProgramStep& step, const StateValues& state) {
  switch (step.op) {
    case ProgramOp::VALUE:
      stack_.push_back(space_.value_table().value(step.arg));
      return true;
    case ProgramOp::BIT:
      stack_.push_back(boolean(((state.bits[step.arg / 64] >> (step.arg % 64)) & 1) != 0));
      return true;
    case ProgramOp::ID: {
      const ValueId id = state.ids[step.arg];
      stack_.push_back(space_.value_table().value(id));
      return id != ValueTable::NONE;
    }
    case ProgramOp::FLUENT: {
      const ApplicationTable& table = *program.tables[step.arg];
      if (!collect_arguments(table, step.count)) return false;
      const auto slot = table.entries.find(arguments_);
      if (slot == table.entries.end()) return false;
      const ValueId id = space_.value(state, slot->second);
      stack_.push_back(space_.value_table().value(id));
      return id != ValueTable::NONE;
    }
    case ProgramOp::CONSTANT: {
      const ApplicationTable& table = *program.tables[step.arg];
      if (!collect_arguments(table, step.count)) return false;
      auto known = table.entries.find(arguments_);
      if (known == table.entries.end()) {
        std::vector<Expression> arguments;
        for (const ValueId id : arguments_)
          arguments.push_back(space_.value_table().expression(id));
        const Expression application =
            environment().expression_factory().make_functional_apply(table.reference, arguments);
        const Expression value = evaluate_expression(application, state);
        known = table.entries.emplace(arguments_, space_.value_table().id_of(value)).first;
      }
      stack_.push_back(space_.value_table().value(known->second));
      return true;
    }
    case ProgramOp::NOT:
      stack_.back() = boolean(!is_true(stack_.back()));
      return true;
    case ProgramOp::AND:
    case ProgramOp::OR: {
      const bool neutral = step.op == ProgramOp::AND;
      bool result = neutral;
      assert(stack_.size() >= step.count);
      for (std::uint32_t i = 0; i < step.count; ++i) {
        if (is_true(stack_.back()) != neutral) result = !neutral;
        stack_.pop_back();
      }
      stack_.push_back(boolean(result));
      return true;
    }
    case ProgramOp::IMPLY:
    case ProgramOp::IFF: {
      assert(stack_.size() >= 2);
      const bool right = is_true(stack_.back());
      stack_.pop_back();
      const bool left = is_true(stack_.back());
      stack_.back() = boolean(step.op == ProgramOp::IFF ? left == right : !left || right);
      return true;
    }
    case ProgramOp::EQUALS:
    case ProgramOp::LT:
    case ProgramOp::LE:
    case ProgramOp::GT:
    case ProgramOp::GE:
      return compare(step.op);
    case ProgramOp::TIMES:
      return multiply(step.count);
    case ProgramOp::PLUS:
      return add_up(step.count);
    case ProgramOp::DIV:
      return divide();
    case ProgramOp::MINUS:
      return subtract();
    case ProgramOp::PUNT:
      return false;
  }
  return false;
}

// Moves the top `count` values into `arguments_`.
bool Machine::collect_arguments(const ApplicationTable& table, std::size_t count) {
  assert(stack_.size() >= count);
  if (count != table.is_numeric.size()) return false;
  arguments_.resize(count);
  for (std::size_t i = count; i > 0; --i) {
    Value& value = stack_.back();
    if (value.kind == ValueKind::RATIONAL && value.den == 1 && table.is_numeric[i - 1]) {
      value.kind = ValueKind::INTEGER;
    }
    arguments_[i - 1] = space_.value_table().id_of(value);
    stack_.pop_back();
  }
  return true;
}

bool Machine::compare(ProgramOp op) {
  const Value right = stack_.back();
  stack_.pop_back();
  Value& left = stack_.back();
  if (op == ProgramOp::EQUALS && (!is_number(left) || !is_number(right))) {
    if (left.kind == ValueKind::BIG || right.kind == ValueKind::BIG) return false;
    // Two values of different kinds are an error of the model: left to the evaluator.
    if (left.kind != right.kind) return false;
    left = boolean(left.id == right.id);
    return true;
  }
  if (!is_number(left) || !is_number(right)) return false;
  const int o = order(left, right);
  switch (op) {
    case ProgramOp::EQUALS:
      left = boolean(o == 0);
      break;
    case ProgramOp::LT:
      left = boolean(o < 0);
      break;
    case ProgramOp::LE:
      left = boolean(o <= 0);
      break;
    case ProgramOp::GT:
      left = boolean(o > 0);
      break;
    default:
      left = boolean(o >= 0);
      break;
  }
  return true;
}

// Integers and rationals are summed apart, and the result is a rational unless the rationals
// cancel out: the kinds of the simplifier.
bool Machine::add_up(std::size_t count) {
  Value integers{ValueKind::INTEGER, 0, 0, 1};
  Value rationals{ValueKind::RATIONAL, 0, 0, 1};
  bool has_rational = false;
  for (std::size_t i = 0; i < count; ++i) {
    const Value value = stack_.back();
    stack_.pop_back();
    if (!is_number(value)) return false;
    if (value.kind == ValueKind::INTEGER) {
      if (!make_integer(Wide{integers.num} + value.num, integers)) return false;
    } else {
      has_rational = true;
      if (!add_rationals(rationals, value, rationals)) return false;
    }
  }
  stack_.push_back(integers);
  return !has_rational || add_rationals(rationals, integers, stack_.back());
}

bool Machine::multiply(std::size_t count) {
  Value integers{ValueKind::INTEGER, 0, 1, 1};
  Value rationals{ValueKind::RATIONAL, 0, 1, 1};
  bool has_rational = false;
  for (std::size_t i = 0; i < count; ++i) {
    const Value value = stack_.back();
    stack_.pop_back();
    if (!is_number(value)) return false;
    if (value.kind == ValueKind::INTEGER) {
      if (!make_integer(Wide{integers.num} * value.num, integers)) return false;
    } else {
      has_rational = true;
      if (!multiply_rationals(rationals, value, rationals)) return false;
    }
  }
  stack_.push_back(integers);
  return !has_rational || multiply_rationals(rationals, integers, stack_.back());
}

bool Machine::subtract() {
  const Value right = stack_.back();
  stack_.pop_back();
  Value& left = stack_.back();
  if (!is_number(left) || !is_number(right)) return false;
  if (left.kind == ValueKind::INTEGER && right.kind == ValueKind::INTEGER) {
    return make_integer(Wide{left.num} - right.num, left);
  }
  Value negated = right;
  negated.num = -right.num;
  return add_rationals(left, negated, left);
}

// The quotient of two integers is truncated, and a rational all the same.
bool Machine::divide() {
  const Value right = stack_.back();
  stack_.pop_back();
  Value& left = stack_.back();
  if (!is_number(left) || !is_number(right) || right.num == 0) return false;
  if (left.kind == ValueKind::INTEGER && right.kind == ValueKind::INTEGER) {
    return make_rational(Wide{left.num} / right.num, 1, left);
  }
  return make_rational(Wide{left.num} * right.den, Wide{left.den} * right.num, left);
}

}  // namespace kelvo
