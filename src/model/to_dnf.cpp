#include "model/to_dnf.h"

namespace kelvo::model {

namespace {

bool is_junction(Expression e) {
  return kind_of(e) == ExpressionOperatorKind::AND || kind_of(e) == ExpressionOperatorKind::OR;
}

}  // namespace

const ToDNF::Disjunction& ToDNF::operator()(Expression root) const& {
  if (is_memoized(root)) return memoized_value(root);
  collect_operands(root);
  struct Entry {
    Expression e;
    bool scheduled;
  };
  std::vector<Entry> todo{{root, false}};
  while (!todo.empty()) {
    const Expression e = todo.back().e;
    if (is_memoized(e)) {
      todo.pop_back();
    } else if (todo.back().scheduled || !is_junction(e)) {
      evaluate_and_cache_expression(e);
      todo.pop_back();
    } else {
      todo.back().scheduled = true;
      for (const Expression operand : operands_.at(e)) todo.push_back({operand, false});
    }
  }
  operands_.clear();
  return memoized_value(root);
}

void ToDNF::clear_memoization() const {
  ExpressionDefaultWalker::clear_memoization();
  operands_.clear();
}

/// Fills `operands_` for the junctions below `root`. A link of a chain is opened up when nothing
/// else refers to it: one that is shared is computed once for all, and opening up shared links
/// could take exponential time. An empty link stays, for an empty conjunction has no disjuncts.
/// The lists of disjuncts and their order are those of the nested form.
void ToDNF::collect_operands(Expression root) const {
  operands_.clear();
  if (!is_junction(root)) return;
  std::unordered_map<Expression, std::size_t> num_uses;
  std::vector<Expression> todo{root};
  while (!todo.empty()) {
    const Expression e = todo.back();
    todo.pop_back();
    for (const Expression child : e->children()) {
      if (is_junction(child) && ++num_uses[child] == 1) todo.push_back(child);
    }
  }

  todo.push_back(root);
  while (!todo.empty()) {
    const Expression e = todo.back();
    todo.pop_back();
    const auto [place, is_new] = operands_.try_emplace(e);
    if (!is_new) continue;
    std::vector<Expression>& operands = place->second;
    std::vector<Expression> links(e->children().rbegin(), e->children().rend());
    while (!links.empty()) {
      const Expression link = links.back();
      links.pop_back();
      if (kind_of(link) == kind_of(e) && link->arity() > 0 && num_uses.at(link) == 1) {
        links.insert(links.end(), link->children().rbegin(), link->children().rend());
      } else {
        operands.push_back(link);
        if (is_junction(link)) todo.push_back(link);
      }
    }
  }
}

ToDNF::Disjunction ToDNF::walk_and(Expression e) const {
  const std::vector<Expression>& operands = operands_.at(e);
  if (operands.empty()) return {};
  Disjunction result = memoized_value(operands.front());
  for (std::size_t i = 1; i < operands.size(); ++i) {
    const Disjunction& operand = memoized_value(operands[i]);
    if (operand.size() == 1) {  // the common case, and linear for a long conjunction of literals
      for (ExpressionSet& conjunction : result) {
        conjunction.insert(operand.front().begin(), operand.front().end());
      }
      continue;
    }
    Disjunction product;
    product.reserve(result.size() * operand.size());
    for (const ExpressionSet& left : result) {
      for (const ExpressionSet& right : operand) {
        product.push_back(left);
        product.back().insert(right.begin(), right.end());
      }
    }
    result = std::move(product);
  }
  return result;
}

ToDNF::Disjunction ToDNF::walk_or(Expression e) const {
  Disjunction result;
  for (const Expression operand : operands_.at(e)) {
    const Disjunction& conjunctions = memoized_value(operand);
    result.insert(result.end(), conjunctions.begin(), conjunctions.end());
  }
  return result;
}

ToDNF::Disjunction ToDNF::not_supported(Expression) {
  throw InternalError("Not supported!");
}

}  // namespace kelvo::model
