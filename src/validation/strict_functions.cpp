#include "validation/strict_functions.h"

#include "model/constant.h"
#include "model/expression_payloads.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "shell/environment.h"

namespace kelvo::strict {

using model::Expression;
using Kind = model::ExpressionOperatorKind;

namespace {

std::vector<ValueType> types_of(Environment& env, const model::Parameters& parameters) {
  std::vector<ValueType> types;
  types.reserve(parameters.size());
  for (const model::Parameter& p : parameters) types.emplace_back(env, p->type());
  return types;
}

}  // namespace

std::size_t Functions::fluent(const model::Fluent& fluent) {
  const auto [found, is_new] = indices_.try_emplace(fluent.get(), fluents_.size());
  if (is_new) {
    fluents_.push_back({fluent->name(), !fluent->path().empty(),
                        ValueType(environment_, fluent->type()),
                        types_of(environment_, fluent->parameters())});
  }
  return found->second;
}

std::size_t Functions::constant(const model::Constant& constant) {
  const auto [found, is_new] = indices_.try_emplace(constant.get(), constants_.size());
  if (is_new) {
    ConstantTable table{
        {constant->name(), !constant->path().empty(), ValueType(environment_, constant->type()),
         types_of(environment_, constant->parameters())},
        constant,
        {}};
    constants_.push_back(std::move(table));
  }
  return found->second;
}

void Functions::fill(ConstantTable& table) {
  table.is_filled = true;
  for (const auto& [object_name, given] : table.constant->all_values()) {
    if (given == nullptr) continue;
    if (object_name.empty()) {
      fill(table, kNoValue, *given);
      continue;
    }
    const Value object = values_.named_instance(object_name);
    if (object != kNoValue) fill(table, object, *given);
  }
}

// An entry whose value or key is not of the declared type is left out, and so has no value.
void Functions::fill(ConstantTable& table, Value object, const model::FunctionValueImpl& given) {
  Table& entries = table.tables[object];
  std::string complaint;
  for (const auto& [key, expression] : given.assignments()) {
    std::vector<Value> arguments;
    for (std::size_t i = 0; i < key.size() && i < table.function.parameters.size(); ++i) {
      const Value argument = literal_value(values_, key[i]);
      arguments.push_back(table.function.parameters[i].fit(values_, argument, complaint));
    }
    const Value literal = literal_value(values_, expression);
    if (literal == kNoValue) continue;
    const Value value = table.function.type.fit(values_, literal, complaint);
    if (value != kNoValue) entries[arguments] = value;
  }
}

Value Functions::constant_value(std::size_t index, const std::vector<Value>& arguments) {
  ConstantTable& table = constants_[index];
  if (!table.is_filled) fill(table);
  const bool is_member = table.function.is_member;
  const std::vector<Value> own(arguments.begin() + (is_member ? 1 : 0), arguments.end());
  for (const Value object : {is_member ? arguments.front() : kNoValue, kNoValue}) {
    const auto entries = table.tables.find(object);
    if (entries == table.tables.end()) continue;
    // The entry with the most arguments written wins.
    std::vector<Value> key = own;
    while (true) {
      const auto found = entries->second.find(key);
      if (found != entries->second.end()) return found->second;
      if (key.empty()) break;
      key.pop_back();
    }
  }
  return kNoValue;
}

namespace {

// The value of a literal that is no set.
Value plain_literal(Values& values, Expression e) {
  switch (model::kind_of(e)) {
    case Kind::EXPR_TRUE:
      return kTrue;
    case Kind::EXPR_FALSE:
      return kFalse;
    case Kind::INTEGER_CONSTANT:
      return values.integer(rational(model::payload_of<model::IntegerPayload>(e).value()));
    case Kind::RATIONAL_CONSTANT:
      return values.rational_number(model::payload_of<model::RationalPayload>(e).value());
    case Kind::INSTANCE_REF:
      return values.instance(model::payload_of<model::InstancePayload>(e).instance());
    default:
      return kNoValue;
  }
}

}  // namespace

Value literal_value(Values& values, Expression root) {
  if (model::kind_of(root) != Kind::SET_CONSTANT) return plain_literal(values, root);
  struct Open {
    Expression set;
    std::vector<Value> elements;
  };
  std::vector<Open> open{{root, {}}};
  while (true) {
    Open& top = open.back();
    if (top.elements.size() == top.set->arity()) {
      const Value done = values.set(std::move(top.elements));
      open.pop_back();
      if (open.empty()) return done;
      open.back().elements.push_back(done);
      continue;
    }
    const Expression element = top.set->child(top.elements.size());
    if (model::kind_of(element) == Kind::SET_CONSTANT) {
      open.push_back({element, {}});
      continue;
    }
    const Value value = plain_literal(values, element);
    if (value == kNoValue) return kNoValue;
    top.elements.push_back(value);
  }
}

std::string application_text(const Values& values, const Function& function,
                             const std::vector<Value>& arguments) {
  std::string text;
  std::size_t first = 0;
  if (function.is_member) {
    text += values.text(arguments.front()) + ".";
    first = 1;
  }
  text += function.name;
  if (arguments.size() == first) return text;
  for (std::size_t i = first; i < arguments.size(); ++i) {
    text += (i == first ? "(" : ", ") + values.text(arguments[i]);
  }
  return text + ")";
}

}  // namespace kelvo::strict
