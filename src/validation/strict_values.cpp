#include "validation/strict_values.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "model/instance.h"
#include "model/model_factory.h"
#include "model/types.h"
#include "model/user_type.h"
#include "shell/environment.h"

namespace kelvo::strict {

namespace {

// The usual hash of a rational is its integer part, which all of (-1, 1) share.
std::size_t hash_of(const kelvo::integer& number) {
  const std::size_t size = number.backend().size();
  std::size_t hash = number < 0 ? 1 : 0;
  for (std::size_t i = 0; i < size; ++i) {
    hash = (hash ^ static_cast<std::size_t>(number.backend().limbs()[i])) * 0x9e3779b97f4a7c15;
    hash ^= hash >> 32;
  }
  return hash;
}

}  // namespace

std::size_t Values::NumberHash::operator()(const std::pair<rational, ValueKind>& number) const {
  const std::size_t top = hash_of(numerator(number.first));
  const std::size_t bottom = hash_of(denominator(number.first));
  return (top * 31 + bottom) * 31 + static_cast<std::size_t>(number.second);
}

std::size_t Values::SetHash::operator()(const std::vector<Value>& elements) const {
  std::size_t hash = elements.size();
  for (const Value v : elements) hash = (hash ^ v) * 0x9e3779b97f4a7c15;
  return hash;
}

Values::Values() {
  add(ValueKind::NONE, 0);
  add(ValueKind::BOOLEAN, 0);
  add(ValueKind::BOOLEAN, 0);
}

Value Values::add(ValueKind kind, std::size_t place) {
  entries_.push_back({kind, static_cast<std::uint32_t>(place)});
  return static_cast<Value>(entries_.size() - 1);
}

Value Values::instance(const model::Instance& instance) {
  const auto [found, is_new] = instance_ids_.try_emplace(instance.get());
  if (is_new) {
    found->second = add(ValueKind::INSTANCE, instances_.size());
    instances_.push_back(instance);
    instance_names_.try_emplace(instance->name(), found->second);
  }
  return found->second;
}

Value Values::named_instance(const std::string& name) const {
  const auto found = instance_names_.find(name);
  return found == instance_names_.end() ? kNoValue : found->second;
}

Value Values::number(const rational& value, ValueKind kind) {
  const auto [found, is_new] = number_ids_.try_emplace({value, kind});
  if (is_new) {
    found->second = add(kind, numbers_.size());
    numbers_.push_back(value);
    approximations_.push_back(to_double(value));
  }
  return found->second;
}

Value Values::set(std::vector<Value> elements) {
  for (Value& v : elements) v = as_element(v);
  std::sort(elements.begin(), elements.end());
  elements.erase(std::unique(elements.begin(), elements.end()), elements.end());
  const auto [found, is_new] = set_ids_.try_emplace(elements);
  if (is_new) {
    found->second = add(ValueKind::SET, sets_.size());
    sets_.push_back(std::move(elements));
  }
  return found->second;
}

// Exact comparison takes a division or more; nearly all numbers are told apart by their first
// digits. A quotient of two rounded numbers is wrong in the last three bits of 53 at most.
bool Values::less(Value a, Value b) const {
  if (a == b) return false;
  const double left = approximations_[entries_[a].place];
  const double right = approximations_[entries_[b].place];
  const double distance = right - left;
  const double doubt = 1e-12 * (std::abs(left) + std::abs(right)) + 1e-300;
  if (distance > doubt) return true;
  if (-distance > doubt) return false;
  const rational& exact_left = number_of(a);
  const rational& exact_right = number_of(b);
  return numerator(exact_left) * denominator(exact_right) <
         numerator(exact_right) * denominator(exact_left);
}

bool Values::equal(Value a, Value b) const {
  if (a == b) return true;
  return is_number(a) && is_number(b) && kind(a) != kind(b) && number_of(a) == number_of(b);
}

Value Values::as_element(Value v) {
  return kind(v) == ValueKind::INTEGER ? rational_number(rational(number_of(v))) : v;
}

ValueKind Values::common_kind(Value a, Value b) const {
  const bool both = kind(a) == ValueKind::INTEGER && kind(b) == ValueKind::INTEGER;
  return both ? ValueKind::INTEGER : ValueKind::RATIONAL;
}

Value Values::sum(Value a, Value b) {
  const rational result = number_of(a) + number_of(b);
  return number(result, common_kind(a, b));
}

Value Values::difference(Value a, Value b) {
  const rational result = number_of(a) - number_of(b);
  return number(result, common_kind(a, b));
}

Value Values::product(Value a, Value b) {
  const rational result = number_of(a) * number_of(b);
  return number(result, common_kind(a, b));
}

Value Values::quotient(Value a, Value b) {
  if (number_of(b) == 0) return kNoValue;
  const rational exact = number_of(a) / number_of(b);
  if (common_kind(a, b) == ValueKind::RATIONAL) return rational_number(exact);
  const kelvo::integer cut_off = numerator(exact) / denominator(exact);  // towards zero
  return integer(rational(cut_off));
}

std::string Values::text(Value v) const {
  switch (kind(v)) {
    case ValueKind::NONE:
      return "";
    case ValueKind::BOOLEAN:
      return v == kTrue ? "true" : "false";
    case ValueKind::INSTANCE:
      return instance_of(v)->name();
    case ValueKind::INTEGER:
    case ValueKind::RATIONAL: {
      std::ostringstream text;
      text << number_of(v);
      return text.str();
    }
    case ValueKind::SET:
      break;
  }
  // Sets of sets are nested as deep as types are; their texts are put together on a stack.
  std::string text;
  std::vector<std::pair<Value, std::size_t>> open{{v, 0}};
  text += "{";
  while (!open.empty()) {
    auto& [set, next] = open.back();
    const std::vector<Value>& elements = elements_of(set);
    if (next == elements.size()) {
      text += "}";
      open.pop_back();
      continue;
    }
    if (next > 0) text += ", ";
    const Value element = elements[next++];
    if (kind(element) == ValueKind::SET) {
      text += "{";
      open.emplace_back(element, 0);
    } else {
      text += this->text(element);
    }
  }
  return text;
}

ValueType::ValueType(Environment& env, const model::Type& type) : environment_(env), type_(type) {
  if (type->is_integer()) {
    const model::IntegerTypeBase& bounds = model::as_integer_type(type);
    if (bounds.has_lower_bound()) lower_ = rational(bounds.lower_bound());
    if (bounds.has_upper_bound()) upper_ = rational(bounds.upper_bound());
  } else if (type->is_rational()) {
    const model::RationalTypeBase& bounds = model::as_rational_type(type);
    if (bounds.has_lower_bound()) lower_ = bounds.lower_bound();
    if (bounds.has_upper_bound()) upper_ = bounds.upper_bound();
  }
}

bool ValueType::is_within_bounds(const rational& number) const {
  return !(lower_ && number < *lower_) && !(upper_ && number > *upper_);
}

// Types match by name: an object of a derived type does not stand for its base type. The reader of
// PDDL keeps which types are members of a union, `(either a b)`, with their placeholders.
bool ValueType::has_instance(const model::Instance& instance) const {
  if (type_->is_equal(instance->type())) return true;
  const model::UserType placeholder =
      environment_.model_factory().make_unresolved_type(instance->type()->name());
  return placeholder->is_derived_from(type_, /*recursive=*/false);
}

Value ValueType::fit(Values& values, Value v, std::string& complaint) const {
  bool has_type = true;
  switch (type_->kind()) {
    case model::TypeCode::BOOLEAN:
      has_type = values.kind(v) == ValueKind::BOOLEAN;
      break;
    case model::TypeCode::INTEGER:
    case model::TypeCode::RATIONAL: {
      has_type = values.is_number(v);
      if (!has_type) break;
      const bool is_integer = type_->is_integer();
      if (!is_within_bounds(values.number_of(v)) ||
          (is_integer && !is_integral(values.number_of(v)))) {
        complaint = "the value " + values.text(v) + " is not one of " + type_->reference_name();
        return kNoValue;
      }
      const ValueKind kind = is_integer ? ValueKind::INTEGER : ValueKind::RATIONAL;
      if (values.kind(v) != kind) v = values.number(rational(values.number_of(v)), kind);
      break;
    }
    case model::TypeCode::USERDEFINED:
      has_type = values.kind(v) == ValueKind::INSTANCE && has_instance(values.instance_of(v));
      break;
    case model::TypeCode::SET:
      has_type = values.kind(v) == ValueKind::SET;
      break;
    default:
      has_type = false;
  }
  if (has_type) return v;
  complaint = values.text(v) + " is no value of type " + type_->reference_name();
  return kNoValue;
}

}  // namespace kelvo::strict
