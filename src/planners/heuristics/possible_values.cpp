#include "planners/heuristics/possible_values.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <utility>

#include "model/expression_evaluator.h"
#include "model/types.h"
#include "shell/environment.h"

namespace kelvo {

namespace {

// Pairs beyond this are not formed: the result is any value.
constexpr std::size_t MAX_PAIRS = 100000;

bool is_relation(ProgramOp op) {
  switch (op) {
    case ProgramOp::IMPLY:
    case ProgramOp::IFF:
    case ProgramOp::EQUALS:
    case ProgramOp::LT:
    case ProgramOp::LE:
    case ProgramOp::GT:
    case ProgramOp::GE:
      return true;
    default:
      return false;
  }
}

bool is_bounded(const model::Type& type) {
  if (type->is_integer()) {
    const model::IntegerTypeBase& numbers = model::as_integer_type(type);
    return numbers.has_lower_bound() || numbers.has_upper_bound();
  }
  if (!type->is_rational()) return false;
  const model::RationalTypeBase& numbers = model::as_rational_type(type);
  return numbers.has_lower_bound() || numbers.has_upper_bound();
}

ValueSet both_booleans() {
  return {{ValueTable::FALSE, ValueTable::TRUE}, false};
}

}  // namespace

// --- sets of values ---

// Invariant: `values` is sorted, without duplicates, and empty when `any` is set; a set with more
// than `MAX_SIZE` values becomes `any`. So each set changes at most `MAX_SIZE` + 1 times, and an
// exploration that stops when no set grows comes to its end whatever numbers the effects make.

bool ValueSet::contains(ValueId value) const {
  return any || std::binary_search(values.begin(), values.end(), value);
}

bool ValueSet::insert(ValueId value) {
  if (any) return false;
  assert(value != ValueTable::NONE && "a slot without a value has none to add");
  const auto place = std::lower_bound(values.begin(), values.end(), value);
  if (place != values.end() && *place == value) return false;
  values.insert(place, value);
  if (values.size() > MAX_SIZE) *this = all();
  return true;
}

bool ValueSet::merge(const ValueSet& other) {
  if (any) return false;
  if (other.any) {
    *this = all();
    return true;
  }
  assert(std::is_sorted(other.values.begin(), other.values.end()));
  const std::size_t size = values.size();
  std::vector<ValueId> merged;
  std::set_union(values.begin(), values.end(), other.values.begin(), other.values.end(),
                 std::back_inserter(merged));
  values = std::move(merged);
  const bool grew = values.size() > size;
  if (values.size() > MAX_SIZE) *this = all();
  return grew;
}

// --- the slots ---

// A boolean slot is a bit in each of two sets of words, what it can be; any other slot has a set.
// Both only grow between two calls of `assign`, which is what makes the exploration monotone: what
// was possibly true stays so (delete relaxation by accumulated values; Hoffmann, "The Metric-FF
// planning system", JAIR 2003, does the same with intervals of numbers).

PossibleValues::PossibleValues(StateSpace& space)
    : space_(space),
      machine_(space),
      can_be_true_(space.num_words()),
      can_be_false_(space.num_words()),
      sets_(space.num_ids()) {}

void PossibleValues::assign(const StateValues& state) {
  assert(can_be_true_.size() == space_.num_words() && sets_.size() == space_.num_ids());
  for (std::size_t word = 0; word < can_be_true_.size(); ++word) {
    can_be_true_[word] = state.bits[word];
    can_be_false_[word] = ~state.bits[word];
  }
  for (std::size_t i = 0; i < sets_.size(); ++i) {
    sets_[i] = state.ids[i] == ValueTable::NONE ? ValueSet() : ValueSet::of(state.ids[i]);
  }
}

bool PossibleValues::add(std::size_t slot, const ValueSet& values) {
  const SlotPlace at = space_.place(slot);
  if (at.is_boolean) {
    const std::uint64_t bit = std::uint64_t{1} << (at.position % 64);
    std::uint64_t& can_be_true = can_be_true_[at.position / 64];
    std::uint64_t& can_be_false = can_be_false_[at.position / 64];
    const bool grew = (values.contains(ValueTable::TRUE) && (can_be_true & bit) == 0) ||
                      (values.contains(ValueTable::FALSE) && (can_be_false & bit) == 0);
    if (values.contains(ValueTable::TRUE)) can_be_true |= bit;
    if (values.contains(ValueTable::FALSE)) can_be_false |= bit;
    return grew;
  }
  const model::Type& type = space_.type(slot);
  if (!values.any && type->is_rational()) return add_rationals(at.position, type, values);
  if (values.any || !is_bounded(type)) return sets_[at.position].merge(values);
  ValueSet inside;
  const model::ExpressionFactory& ef = space_.environment().expression_factory();
  for (const ValueId value : values.values) {
    if (!model::is_out_of_bounds(ef, type, space_.value_table().expression(value))) {
      inside.values.push_back(value);
    }
  }
  return sets_[at.position].merge(inside);
}

// An integer is a rational once it is stored: the quotients differ.
bool PossibleValues::add_rationals(std::uint32_t position, const model::Type& type,
                                   const ValueSet& values) {
  ValueTable& table = space_.value_table();
  model::ExpressionFactory& ef = space_.environment().expression_factory();
  const bool has_bounds = is_bounded(type);
  ValueSet inside;
  for (ValueId id : values.values) {
    if (table.value(id).kind != ValueKind::RATIONAL) {
      id = table.id_of(model::as_stored(ef, type, table.expression(id)));
    }
    if (!has_bounds || !model::is_out_of_bounds(ef, type, table.expression(id))) inside.insert(id);
  }
  return sets_[position].merge(inside);
}

std::uint64_t PossibleValues::add_booleans(std::uint32_t word, std::uint64_t can_be_true,
                                           std::uint64_t can_be_false) {
  assert(word < can_be_true_.size());
  const std::uint64_t grew =
      (can_be_true & ~can_be_true_[word]) | (can_be_false & ~can_be_false_[word]);
  can_be_true_[word] |= can_be_true;
  can_be_false_[word] |= can_be_false;
  return grew;
}

// --- conditions and expressions ---

// The value of an expression is the set of what it gives for some choice of a possible value for
// each slot it reads, each reading by itself: `p and not p` may be true where p may be both. The
// stack machine of `Machine` runs with sets in the place of values. An operand that may have no
// value at all is an empty set, and what is made of it is what the evaluation of states gives then.

bool PossibleValues::possibly_true(const Condition& condition) {
  if (!condition.is_mask) return evaluate(condition.program).contains(ValueTable::TRUE);
  if (condition.never) return false;
  for (const WordTest& test : condition.tests) {
    const std::uint64_t positive = test.expected;
    const std::uint64_t negative = test.mask & ~test.expected;
    if ((can_be_true_[test.word] & positive) != positive) return false;
    if ((can_be_false_[test.word] & negative) != negative) return false;
  }
  return true;
}

ValueSet PossibleValues::evaluate(const Program& program) {
  run(program, program.steps.size());
  assert(stack_.size() == 1 && "a program leaves its value alone");
  return pop();
}

std::vector<std::size_t> PossibleValues::target_slots(const Program& target) {
  assert(!target.steps.empty());
  const ProgramStep& last = target.steps.back();
  if (last.op != ProgramOp::FLUENT) return {};
  run(target, target.steps.size() - 1);
  return matching_slots(*target.tables[last.arg], last.count);
}

void PossibleValues::run(const Program& program, std::size_t num_steps) {
  stack_.clear();
  for (std::size_t i = 0; i < num_steps; ++i) run_step(program, program.steps[i]);
}

ValueSet PossibleValues::pop() {
  assert(!stack_.empty());
  ValueSet top = std::move(stack_.back());
  stack_.pop_back();
  return top;
}

void PossibleValues::run_step(const Program& program, const ProgramStep& step) {
  switch (step.op) {
    case ProgramOp::VALUE:
      stack_.push_back(ValueSet::of(step.arg));
      return;
    case ProgramOp::BIT: {
      ValueSet set;
      if ((can_be_false_[step.arg / 64] >> (step.arg % 64) & 1) != 0) set.insert(ValueTable::FALSE);
      if ((can_be_true_[step.arg / 64] >> (step.arg % 64) & 1) != 0) set.insert(ValueTable::TRUE);
      stack_.push_back(std::move(set));
      return;
    }
    case ProgramOp::ID:
      stack_.push_back(sets_[step.arg]);
      return;
    case ProgramOp::FLUENT: {
      ValueSet result;
      for (const std::size_t slot : matching_slots(*program.tables[step.arg], step.count)) {
        const SlotPlace at = space_.place(slot);
        if (!at.is_boolean) {
          result.merge(sets_[at.position]);
          continue;
        }
        const std::uint64_t bit = std::uint64_t{1} << (at.position % 64);
        if ((can_be_false_[at.position / 64] & bit) != 0) result.insert(ValueTable::FALSE);
        if ((can_be_true_[at.position / 64] & bit) != 0) result.insert(ValueTable::TRUE);
      }
      stack_.push_back(std::move(result));
      return;
    }
    case ProgramOp::CONSTANT:
      stack_.push_back(apply_constant(program, step));
      return;
    case ProgramOp::NOT: {
      const ValueSet operand = pop();
      ValueSet result;
      if (operand.contains(ValueTable::TRUE)) result.insert(ValueTable::FALSE);
      if (operand.contains(ValueTable::FALSE)) result.insert(ValueTable::TRUE);
      stack_.push_back(std::move(result));
      return;
    }
    case ProgramOp::AND:
    case ProgramOp::OR:
      stack_.push_back(junction(step));
      return;
    case ProgramOp::TIMES:
    case ProgramOp::PLUS:
      stack_.push_back(fold(program, step));
      return;
    case ProgramOp::PUNT:
      stack_.push_back(ValueSet::all());
      return;
    default: {
      const ValueSet right = pop();
      const ValueSet left = pop();
      stack_.push_back(binary(program, step, left, right));
      return;
    }
  }
}

// A conjunction may be true when each operand may, and false when one may be false.
ValueSet PossibleValues::junction(const ProgramStep& step) {
  const bool conjunction = step.op == ProgramOp::AND;
  const ValueId neutral = conjunction ? ValueTable::TRUE : ValueTable::FALSE;
  const ValueId other = conjunction ? ValueTable::FALSE : ValueTable::TRUE;
  bool may_be_neutral = true;
  bool may_be_other = false;
  for (std::uint32_t i = 0; i < step.count; ++i) {
    const ValueSet operand = pop();
    may_be_neutral = may_be_neutral && operand.contains(neutral);
    may_be_other = may_be_other || operand.contains(other) || operand.is_empty();
  }
  ValueSet result;
  if (may_be_neutral) result.insert(neutral);
  if (may_be_other || !may_be_neutral) result.insert(other);
  return result;
}

// { l op r : l in left, r in right }, or everything of the operator's type where that would take
// too long to list or some pair does not fit machine words.
ValueSet PossibleValues::binary(const Program& program, const ProgramStep& step,
                                const ValueSet& left, const ValueSet& right) {
  const bool relation = is_relation(step.op);
  const bool too_large =
      left.any || right.any || left.values.size() * right.values.size() > MAX_PAIRS;
  if (too_large) return relation ? both_booleans() : ValueSet::all();
  ValueSet result;
  ValueTable& table = space_.value_table();
  for (const ValueId l : left.values) {
    for (const ValueId r : right.values) {
      const Value operands[] = {table.value(l), table.value(r)};
      const std::optional<Value> value = machine_.combine(program, step, operands);
      // Not for machine words: nothing is known.
      if (!value) return relation ? both_booleans() : ValueSet::all();
      result.insert(table.id_of(*value));
      if (result.any || (relation && result.values.size() == 2)) return result;
    }
  }
  return result;
}

// A sum or product of several operands, pair by pair. The last operand is on top of the stack, so
// the pairs are formed from the right: which order does not matter to the exact numbers.
ValueSet PossibleValues::fold(const Program& program, const ProgramStep& step) {
  if (step.count == 0) {
    const Value neutral{ValueKind::INTEGER, 0, step.op == ProgramOp::TIMES ? 1 : 0, 1};
    return ValueSet::of(space_.value_table().id_of(neutral));
  }
  ProgramStep pair = step;
  pair.count = 2;
  ValueSet result = pop();
  for (std::uint32_t i = 1; i < step.count; ++i) {
    const ValueSet operand = pop();
    result = binary(program, pair, operand, result);
  }
  return result;
}

// The entries of a constant's table for all tuples of possible arguments, which are numbered in a
// mixed radix: the first argument changes fastest.
ValueSet PossibleValues::apply_constant(const Program& program, const ProgramStep& step) {
  std::vector<ValueSet> arguments(step.count);
  std::size_t num_tuples = 1;
  bool any = false;
  for (std::size_t i = step.count; i > 0; --i) {
    arguments[i - 1] = pop();
    any = any || arguments[i - 1].any;
    num_tuples *= arguments[i - 1].values.size();
    if (num_tuples > MAX_PAIRS) any = true;
    if (any) num_tuples = 1;
  }
  if (any) return ValueSet::all();
  ValueTable& table = space_.value_table();
  ValueSet result;
  for (std::size_t tuple = 0; tuple < num_tuples; ++tuple) {
    std::vector<Value> operands;
    std::size_t rest = tuple;
    for (const ValueSet& argument : arguments) {
      operands.push_back(table.value(argument.values[rest % argument.values.size()]));
      rest /= argument.values.size();
    }
    // Where the constant has no value there is none to add.
    if (const std::optional<Value> value = machine_.combine(program, step, operands)) {
      result.insert(table.id_of(*value));
    }
  }
  return result;
}

// Pops the arguments. Tested entry by entry: there are no more than ground fluents.
std::vector<std::size_t> PossibleValues::matching_slots(const ApplicationTable& table,
                                                        std::size_t count) {
  std::vector<ValueSet> arguments(count);
  ValueTable& values = space_.value_table();
  for (std::size_t i = count; i > 0; --i) {
    ValueSet& argument = arguments[i - 1];
    argument = pop();
    if (!table.is_numeric[i - 1]) continue;
    const std::vector<ValueId> given = argument.values;
    for (const ValueId id : given) {
      Value value = values.value(id);
      if (value.kind != ValueKind::RATIONAL || value.den != 1) continue;
      value.kind = ValueKind::INTEGER;
      argument.insert(values.id_of(value));
    }
  }
  std::vector<std::size_t> result;
  for (const auto& [key, slot] : table.entries) {
    bool matches = true;
    for (std::size_t i = 0; matches && i < count; ++i) matches = arguments[i].contains(key[i]);
    if (matches) result.push_back(slot);
  }
  return result;
}

}  // namespace kelvo
