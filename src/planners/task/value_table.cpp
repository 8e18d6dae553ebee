#include "planners/task/value_table.h"

#include <cassert>
#include <limits>

#include "model/expression_factory.h"
#include "shell/environment.h"
#include "shell/numbers.h"

namespace kelvo {

using model::Expression;

namespace {

bool fits(const integer& n) {
  // One short of the full range, so that every value can be negated.
  static const integer limit = std::numeric_limits<std::int64_t>::max();
  return n <= limit && n >= -limit;
}

}  // namespace

ValueTable::ValueTable(Environment& env)
    : EnvObject(env), small_integer_ids_(static_cast<std::size_t>(MAX_SMALL), NONE) {
  add(env.expression_factory().make_false());
  add(env.expression_factory().make_true());
  expressions_.push_back(nullptr);
  values_.emplace_back().id = NONE;
  assert(values_[TRUE].kind == ValueKind::BOOLEAN && values_.size() == NONE + 1);
}

ValueId ValueTable::id_of(Expression constant) {
  assert(constant != nullptr && "no value is NONE, not a constant");
  const auto known = ids_.find(constant);
  return known != ids_.end() ? known->second : add(constant);
}

ValueId ValueTable::id_of(const Value& value) {
  if (value.kind != ValueKind::INTEGER && value.kind != ValueKind::RATIONAL) return value.id;
  assert(value.den > 0 && (value.kind == ValueKind::RATIONAL || value.den == 1));
  const bool is_integer = value.kind == ValueKind::INTEGER;
  const bool is_small = is_integer && value.num >= 0 && value.num < MAX_SMALL;
  if (is_small) {
    const ValueId known = small_integer_ids_[static_cast<std::size_t>(value.num)];
    if (known != NONE) return known;
  } else {
    const auto known = number_ids_.find({value.num, is_integer ? 0 : value.den});
    if (known != number_ids_.end()) return known->second;
  }
  model::ExpressionFactory& ef = environment().expression_factory();
  if (is_integer) return id_of(ef.make_integer_constant(value.num));
  return id_of(ef.make_rational_constant(rational(value.num, value.den)));
}

ValueId ValueTable::add(Expression constant) {
  const ValueId id = static_cast<ValueId>(expressions_.size());
  assert(expressions_.size() == values_.size() && !ids_.contains(constant));
  expressions_.push_back(constant);
  Value value = describe(constant);
  value.id = id;
  values_.push_back(value);
  ids_.emplace(constant, id);
  if (value.kind == ValueKind::INTEGER && value.num >= 0 && value.num < MAX_SMALL) {
    small_integer_ids_[static_cast<std::size_t>(value.num)] = id;
  } else if (value.kind == ValueKind::INTEGER) {
    number_ids_.emplace(NumberKey{value.num, 0}, id);
  } else if (value.kind == ValueKind::RATIONAL) {
    number_ids_.emplace(NumberKey{value.num, value.den}, id);
  }
  return id;
}

Value ValueTable::describe(Expression constant) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  Value value;
  if (ef.is_boolean_constant(constant)) {
    value.kind = ValueKind::BOOLEAN;
  } else if (ef.is_integer_constant(constant)) {
    const integer& n = ef.get_integer_constant(constant);
    value.kind = fits(n) ? ValueKind::INTEGER : ValueKind::BIG;
    if (fits(n)) value.num = static_cast<std::int64_t>(n);
  } else if (ef.is_rational_constant(constant)) {
    const integer num = numerator(ef.get_rational_constant(constant));
    const integer den = denominator(ef.get_rational_constant(constant));
    const bool small = fits(num) && fits(den);
    value.kind = small ? ValueKind::RATIONAL : ValueKind::BIG;
    if (small) value.num = static_cast<std::int64_t>(num);
    if (small) value.den = static_cast<std::int64_t>(den);
  }
  return value;
}

}  // namespace kelvo
