#pragma once

#include <unordered_map>
#include <utility>
#include <vector>

#include "shell/errors.h"
#include "smt/formula.h"

namespace kelvo::smt {

/// A bottom-up computation with one memoized value for each distinct formula, on a stack of its
/// own. A handler reads the values of its children by `memoized_value`; the last child is handled
/// first. A value may be null: what is memoized is told by presence.
template <typename T>
class FormulaWalker {
 public:
  virtual ~FormulaWalker() = default;

  /// The reference stays valid as long as the walker, which therefore must not be a temporary.
  virtual const T& walk(Formula root) &;

 protected:
  virtual T walk_and(Formula f) = 0;
  virtual T walk_or(Formula f) = 0;
  virtual T walk_not(Formula f) = 0;
  virtual T walk_imply(Formula f) = 0;
  virtual T walk_iff(Formula f) = 0;
  virtual T walk_equals(Formula f) = 0;
  virtual T walk_lt(Formula f) = 0;
  virtual T walk_le(Formula f) = 0;
  virtual T walk_gt(Formula f) = 0;
  virtual T walk_ge(Formula f) = 0;
  virtual T walk_times(Formula f) = 0;
  virtual T walk_plus(Formula f) = 0;
  virtual T walk_div(Formula f) = 0;
  virtual T walk_minus(Formula f) = 0;
  virtual T walk_ite(Formula f) = 0;
  virtual T walk_true(Formula f) = 0;
  virtual T walk_false(Formula f) = 0;
  virtual T walk_rational_constant(Formula f) = 0;
  virtual T walk_integer_constant(Formula f) = 0;
  virtual T walk_variable(Formula f) = 0;
  virtual T walk_function_application(Formula f) = 0;

 public:
  /// Throws `InternalError` when `f` has no value yet. Valid as long as the walker.
  virtual const T& memoized_value(Formula f) const {
    const auto found = memo_.find(f);
    if (found == memo_.end()) {
      throw InternalError("Unexplored formula queried to 'memoized_value'");
    }
    return found->second;
  }
  /// Calls the handler of the kind of `f`.
  virtual T dispatch(Formula f);
  virtual void do_memoize_value(Formula f, T value) { memo_.try_emplace(f, std::move(value)); }
  virtual bool is_memoized(Formula f) const { return memo_.contains(f); }

 private:
  std::unordered_map<Formula, T> memo_;
};

template <typename T>
const T& FormulaWalker<T>::walk(Formula root) & {
  struct Entry {
    Formula f;
    bool expanded;
  };
  std::vector<Entry> todo{{root, false}};
  while (!todo.empty()) {
    const auto [f, expanded] = todo.back();
    if (is_memoized(f)) {
      todo.pop_back();
    } else if (expanded || f->arity() == 0) {
      do_memoize_value(f, dispatch(f));
      todo.pop_back();
    } else {
      todo.back().expanded = true;
      for (const Formula child : f->children()) todo.push_back({child, false});
    }
  }
  return memoized_value(root);
}

template <typename T>
T FormulaWalker<T>::dispatch(Formula f) {
  switch (kind_of(f)) {
    case FormulaOperatorKind::AND:
      return walk_and(f);
    case FormulaOperatorKind::OR:
      return walk_or(f);
    case FormulaOperatorKind::NOT:
      return walk_not(f);
    case FormulaOperatorKind::IMPLY:
      return walk_imply(f);
    case FormulaOperatorKind::EQUALS:
      return walk_equals(f);
    case FormulaOperatorKind::IFF:
      return walk_iff(f);
    case FormulaOperatorKind::LT:
      return walk_lt(f);
    case FormulaOperatorKind::LE:
      return walk_le(f);
    case FormulaOperatorKind::GT:
      return walk_gt(f);
    case FormulaOperatorKind::GE:
      return walk_ge(f);
    case FormulaOperatorKind::TIMES:
      return walk_times(f);
    case FormulaOperatorKind::PLUS:
      return walk_plus(f);
    case FormulaOperatorKind::DIV:
      return walk_div(f);
    case FormulaOperatorKind::MINUS:
      return walk_minus(f);
    case FormulaOperatorKind::ITE:
      return walk_ite(f);
    case FormulaOperatorKind::SMT_TRUE:
      return walk_true(f);
    case FormulaOperatorKind::SMT_FALSE:
      return walk_false(f);
    case FormulaOperatorKind::RATIONAL_CONSTANT:
      return walk_rational_constant(f);
    case FormulaOperatorKind::INTEGER_CONSTANT:
      return walk_integer_constant(f);
    case FormulaOperatorKind::VARIABLE:
      return walk_variable(f);
    case FormulaOperatorKind::FUNCTION_APPLICATION:
      return walk_function_application(f);
  }
  throw InternalError() << "Unknown node type encountered in SMT formula  walking (bug in "
                           "walker.template). The node type is: "
                        << kind_of(f);
}

}  // namespace kelvo::smt
