#include "model/function_value.h"

#include <algorithm>

#include "model/expression_payloads.h"
#include "model/expression_substituter.h"

namespace kelvo::model {

std::vector<std::pair<FunctionValueImpl::Key, Expression>> FunctionValueImpl::sorted_assignments()
    const {
  std::vector<std::pair<Key, Expression>> entries(assignments_.begin(), assignments_.end());
  std::ranges::sort(entries, [](const auto& a, const auto& b) {
    if (a.first.size() != b.first.size()) return a.first.size() < b.first.size();
    return std::ranges::lexicographical_compare(a.first, b.first, ExpressionLess());
  });
  return entries;
}

namespace {

bool is_point_coordinate(Expression e) {
  switch (kind_of(e)) {
    case ExpressionOperatorKind::EXPR_TRUE:
    case ExpressionOperatorKind::EXPR_FALSE:
    case ExpressionOperatorKind::RATIONAL_CONSTANT:
    case ExpressionOperatorKind::INTEGER_CONSTANT:
    case ExpressionOperatorKind::INSTANCE_REF:
      return true;
    default:
      return false;
  }
}

}  // namespace

Expression FunctionValueImpl::assignment(const Key& key) const {
  if (const auto exact = assignments_.find(key); exact != assignments_.end()) return exact->second;
  if (!std::ranges::all_of(key, is_point_coordinate)) return nullptr;
  Key prefix = key;
  while (!prefix.empty()) {
    prefix.pop_back();
    if (const auto found = assignments_.find(prefix); found != assignments_.end()) {
      return found->second;
    }
  }
  return nullptr;
}

Expression FunctionValueImpl::default_value() const {
  const auto found = assignments_.find({});
  return found == assignments_.end() ? nullptr : found->second;
}

FunctionValue substitute_function_value(Environment& env, const FunctionValue& fv,
                                        std::unordered_map<Expression, Expression>& substitutions) {
  const ExpressionSubstituter substitute(env, substitutions);
  const auto result = std::make_shared<FunctionValueImpl>();
  for (const auto& [key, value] : fv->sorted_assignments()) {  // in an order: this makes nodes
    FunctionValueImpl::Key new_key;
    new_key.reserve(key.size());
    for (const Expression element : key) new_key.push_back(substitute(element));
    result->add_assignment(new_key, substitute(value));
  }
  return result;
}

}  // namespace kelvo::model
