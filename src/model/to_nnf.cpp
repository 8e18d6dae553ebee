#include "model/to_nnf.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/types.h"
#include "shell/environment.h"

namespace kelvo::model {

namespace {

using Kind = ExpressionOperatorKind;

bool is_boolean_reference(const ExpressionFactory& ef, Expression reference) {
  if (ef.is_fluent_reference(reference)) {
    return ef.get_fluent_from_reference(reference)->type()->is_boolean();
  }
  return ef.is_constant_reference(reference) &&
         ef.get_constant_from_reference(reference)->type()->is_boolean();
}

/// Whether an equality with `e` on its left counts as an equivalence.
bool is_boolean_term(const ExpressionFactory& ef, Expression e) {
  if (ef.is_boolean_constant(e)) return true;
  if (ef.is_fluent_reference(e)) return is_boolean_reference(ef, e);
  return ef.is_functional_apply(e) &&
         is_boolean_reference(ef, ef.get_reference_from_functional_apply(e));
}

/// One run of the rewriter, with the results for (expression, sign). Each is made once, so that
/// nested equivalences, which need both signs of both sides, stay linear.
class Rewriter {
 public:
  explicit Rewriter(ExpressionFactory& ef) : ef_(ef) {}

  Expression run(Expression root) {
    std::vector<Entry> todo{{root, true, false}};
    while (!todo.empty()) {
      const Entry top = todo.back();
      if (memo_[top.positive].contains(top.e)) {
        todo.pop_back();
        continue;
      }
      if (!top.scheduled) {
        todo.back().scheduled = true;
        const std::size_t first = todo.size();
        push_operands(top, todo);
        if (todo.size() > first) {
          std::reverse(todo.begin() + static_cast<std::ptrdiff_t>(first), todo.end());
          continue;
        }
      }
      const Expression result = build(top.e, top.positive);
      memo_[top.positive].emplace(top.e, result);
      todo.pop_back();
    }
    return memo_[true].at(root);
  }

 private:
  struct Entry {
    Expression e;
    bool positive;
    bool scheduled;
  };

  /// The operator as which `e` is read: an equality of booleans is an equivalence.
  Kind kind(Expression e) const {
    const Kind kind = kind_of(e);
    return kind == Kind::EQUALS && is_boolean_term(ef_, e->child(0)) ? Kind::IFF : kind;
  }

  void push_operands(const Entry& entry, std::vector<Entry>& todo) const {
    const Expression e = entry.e;
    const bool positive = entry.positive;
    switch (kind(e)) {
      case Kind::NOT:
        todo.push_back({e->child(0), !positive, false});
        break;
      case Kind::AND:
      case Kind::OR:
        for (const Expression child : e->children()) todo.push_back({child, positive, false});
        break;
      case Kind::IMPLY:
        todo.push_back({e->child(0), !positive, false});
        todo.push_back({e->child(1), positive, false});
        break;
      case Kind::IFF:
        for (const bool sign : {true, false}) {
          todo.push_back({e->child(0), sign, false});
          todo.push_back({e->child(1), sign, false});
        }
        break;
      default:
        break;
    }
  }

  Expression value(Expression e, bool positive) const { return memo_[positive].at(e); }

  Expression build(Expression e, bool positive) {
    switch (kind(e)) {
      case Kind::NOT:
        return value(e->child(0), !positive);
      case Kind::AND:
      case Kind::OR: {
        std::vector<Expression> operands;
        operands.reserve(e->arity());
        for (const Expression child : e->children()) operands.push_back(value(child, positive));
        return ef_.is_and(e) == positive ? ef_.make_and(operands) : ef_.make_or(operands);
      }
      case Kind::IMPLY: {
        const Expression a = value(e->child(0), !positive);
        const Expression b = value(e->child(1), positive);
        return positive ? ef_.make_or(a, b) : ef_.make_and(a, b);
      }
      case Kind::IFF: {
        // Both true or both false; negated: the first true and the second false, or the reverse.
        const Expression with_a =
            ef_.make_and(value(e->child(0), true), value(e->child(1), positive));
        const Expression without_a =
            ef_.make_and(value(e->child(0), false), value(e->child(1), !positive));
        return ef_.make_or(with_a, without_a);
      }
      default:
        return positive ? e : ef_.make_not(e);
    }
  }

  ExpressionFactory& ef_;
  std::unordered_map<Expression, Expression> memo_[2];
};

}  // namespace

Expression ToNNF::operator()(Expression e) const {
  return Rewriter(environment().expression_factory()).run(e);
}

}  // namespace kelvo::model
