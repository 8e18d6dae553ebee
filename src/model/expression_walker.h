#pragma once

#include <utility>
#include <vector>

#include "model/expression_memo.h"
#include "model/expression_payloads.h"
#include "model/print_expression.h"
#include "shell/env_object.h"
#include "shell/errors.h"

namespace kelvo::model {

/// A bottom-up computation with one value for each distinct node. A handler runs after the values
/// of all children (and of the function reference of an application) are memoized, and reads them
/// by `memoized_value`. The walk has its own stack, so that depth of input is no depth of calls.
///
/// The memo lasts until `clear_memoization()`. References that `operator()` and `memoized_value`
/// return stay valid as long; a temporary walker, whose memo goes at once, returns the value
/// itself. A value that is memoized before a walk (`do_memoize_value`) keeps the walk from entering
/// that node. Cost: one lookup and one handler call for each distinct node.
template <typename T>
class ExpressionWalker : public EnvObject {
 public:
  explicit ExpressionWalker(Environment& env) : EnvObject(env) {}

  /// A class that overrides this must make the next one visible by a using declaration.
  virtual const T& operator()(Expression e) const&;
  T operator()(Expression e) const&& { return std::as_const(*this)(e); }
  virtual void clear_memoization() const { memoization_.clear(); }

 protected:
  virtual T walk_and(Expression e) const = 0;
  virtual T walk_or(Expression e) const = 0;
  virtual T walk_not(Expression e) const = 0;
  virtual T walk_imply(Expression e) const = 0;
  virtual T walk_iff(Expression e) const = 0;
  virtual T walk_equals(Expression e) const = 0;
  virtual T walk_lt(Expression e) const = 0;
  virtual T walk_le(Expression e) const = 0;
  virtual T walk_gt(Expression e) const = 0;
  virtual T walk_ge(Expression e) const = 0;
  virtual T walk_times(Expression e) const = 0;
  virtual T walk_plus(Expression e) const = 0;
  virtual T walk_div(Expression e) const = 0;
  virtual T walk_minus(Expression e) const = 0;
  virtual T walk_in(Expression e) const = 0;
  virtual T walk_subset(Expression e) const = 0;
  virtual T walk_union(Expression e) const = 0;
  virtual T walk_intersection(Expression e) const = 0;
  virtual T walk_difference(Expression e) const = 0;
  virtual T walk_assign(Expression e) const = 0;
  virtual T walk_in_assign(Expression e) const = 0;
  virtual T walk_interval(Expression e) const = 0;
  virtual T walk_temporal_expression(Expression e) const = 0;
  virtual T walk_start(Expression e) const = 0;
  virtual T walk_end(Expression e) const = 0;
  virtual T walk_duration(Expression e) const = 0;
  virtual T walk_true(Expression e) const = 0;
  virtual T walk_false(Expression e) const = 0;
  virtual T walk_rational_constant(Expression e) const = 0;
  virtual T walk_set_constant(Expression e) const = 0;
  virtual T walk_integer_constant(Expression e) const = 0;
  virtual T walk_dot(Expression e) const = 0;
  virtual T walk_unresolved_symbol(Expression e) const = 0;
  virtual T walk_fluent_reference(Expression e) const = 0;
  virtual T walk_constant_reference(Expression e) const = 0;
  virtual T walk_parameter_reference(Expression e) const = 0;
  virtual T walk_instance_reference(Expression e) const = 0;
  virtual T walk_label_reference(Expression e) const = 0;
  virtual T walk_functional_apply(Expression e) const = 0;
  virtual T walk_contains(Expression e) const = 0;
  virtual T walk_action_status_is(Expression e) const = 0;

  /// Whether the walk enters the children of `e` before it calls the handler. A walker whose
  /// handler gives them another meaning (another state, another action) says no.
  virtual bool walks_children(Expression) const { return true; }

 public:
  /// Throws `InternalError` when `e` has no value yet.
  virtual const T& memoized_value(Expression e) const;
  virtual void evaluate_and_cache_expression(Expression e) const;
  /// A value that is stored first stays.
  virtual void do_memoize_value(Expression e, T value) const {
    memoization_.insert(e, std::move(value));
  }
  virtual bool is_memoized(Expression e) const { return memoization_.contains(e); }

 protected:
  mutable ExpressionMemo<T> memoization_;

 private:
  struct Scheduled {
    Expression e;
    bool has_children_scheduled;
  };

  T evaluate(Expression e) const;

  // A handler may walk again, and an exception may leave a walk: each one works above the height at
  // which it began.
  mutable std::vector<Scheduled> todo_;
};

template <typename T>
const T& ExpressionWalker<T>::operator()(Expression root) const& {
  struct Cut {
    std::vector<Scheduled>& todo;
    std::size_t bottom;
    ~Cut() { todo.erase(todo.begin() + static_cast<std::ptrdiff_t>(bottom), todo.end()); }
  };
  const Cut at_end{todo_, todo_.size()};
  todo_.push_back({root, false});
  while (todo_.size() > at_end.bottom) {
    const auto [e, has_children_scheduled] = todo_.back();
    if (is_memoized(e)) {
      todo_.pop_back();
    } else if (has_children_scheduled || e->arity() == 0 || !walks_children(e)) {
      evaluate_and_cache_expression(e);
      todo_.pop_back();
    } else {
      todo_.back().has_children_scheduled = true;
      for (const Expression child : e->children()) todo_.push_back({child, false});
      if (kind_of(e) == ExpressionOperatorKind::FLUENT_FUN_APPLY) {
        todo_.push_back({payload_of<FluentFunApplyPayload>(e).reference(), false});
      }
    }
  }
  return memoized_value(root);
}

template <typename T>
const T& ExpressionWalker<T>::memoized_value(Expression e) const {
  const T* found = memoization_.find(e);
  if (found == nullptr) {
    throw InternalError() << "Unexplored expression queried to 'memoized_value': "
                          << print_expression(e);
  }
  return *found;
}

template <typename T>
void ExpressionWalker<T>::evaluate_and_cache_expression(Expression e) const {
  do_memoize_value(e, evaluate(e));
}

template <typename T>
T ExpressionWalker<T>::evaluate(Expression e) const {
  switch (kind_of(e)) {
    case ExpressionOperatorKind::AND:
      return walk_and(e);
    case ExpressionOperatorKind::OR:
      return walk_or(e);
    case ExpressionOperatorKind::NOT:
      return walk_not(e);
    case ExpressionOperatorKind::IMPLY:
      return walk_imply(e);
    case ExpressionOperatorKind::EQUALS:
      return walk_equals(e);
    case ExpressionOperatorKind::IFF:
      return walk_iff(e);
    case ExpressionOperatorKind::LT:
      return walk_lt(e);
    case ExpressionOperatorKind::LE:
      return walk_le(e);
    case ExpressionOperatorKind::GT:
      return walk_gt(e);
    case ExpressionOperatorKind::GE:
      return walk_ge(e);
    case ExpressionOperatorKind::TIMES:
      return walk_times(e);
    case ExpressionOperatorKind::PLUS:
      return walk_plus(e);
    case ExpressionOperatorKind::DIV:
      return walk_div(e);
    case ExpressionOperatorKind::MINUS:
      return walk_minus(e);
    case ExpressionOperatorKind::ASSIGN:
      return walk_assign(e);
    case ExpressionOperatorKind::IN_ASSIGN:
      return walk_in_assign(e);
    case ExpressionOperatorKind::INTERVAL:
      return walk_interval(e);
    case ExpressionOperatorKind::TEMPORAL_EXPR:
      return walk_temporal_expression(e);
    case ExpressionOperatorKind::START:
      return walk_start(e);
    case ExpressionOperatorKind::END:
      return walk_end(e);
    case ExpressionOperatorKind::DURATION:
      return walk_duration(e);
    case ExpressionOperatorKind::DOT:
      return walk_dot(e);
    case ExpressionOperatorKind::EXPR_TRUE:
      return walk_true(e);
    case ExpressionOperatorKind::EXPR_FALSE:
      return walk_false(e);
    case ExpressionOperatorKind::RATIONAL_CONSTANT:
      return walk_rational_constant(e);
    case ExpressionOperatorKind::INTEGER_CONSTANT:
      return walk_integer_constant(e);
    case ExpressionOperatorKind::UNRESOLVED_SYMBOL:
      return walk_unresolved_symbol(e);
    case ExpressionOperatorKind::FLUENT_REF:
      return walk_fluent_reference(e);
    case ExpressionOperatorKind::CONSTANT_REF:
      return walk_constant_reference(e);
    case ExpressionOperatorKind::PARAMETER_REF:
      return walk_parameter_reference(e);
    case ExpressionOperatorKind::INSTANCE_REF:
      return walk_instance_reference(e);
    case ExpressionOperatorKind::LABEL_REF:
      return walk_label_reference(e);
    case ExpressionOperatorKind::FLUENT_FUN_APPLY:
      return walk_functional_apply(e);
    case ExpressionOperatorKind::ACTION_STATUS_IS:
      return walk_action_status_is(e);
    case ExpressionOperatorKind::CONTAINS:
      return walk_contains(e);
    case ExpressionOperatorKind::IN:
      return walk_in(e);
    case ExpressionOperatorKind::SUBSET:
      return walk_subset(e);
    case ExpressionOperatorKind::UNION:
      return walk_union(e);
    case ExpressionOperatorKind::INTERSECTION:
      return walk_intersection(e);
    case ExpressionOperatorKind::DIFFERENCE:
      return walk_difference(e);
    case ExpressionOperatorKind::SET_CONSTANT:
      return walk_set_constant(e);
  }
  throw InternalError(
      "Unknown node type encountered in walking (bug in expression_walker.template)");
}

}  // namespace kelvo::model
