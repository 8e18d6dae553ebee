#pragma once

#include <unordered_map>
#include <vector>

#include "model/expression_default_walker.h"

namespace kelvo::model {

/// Disjunctive normal form of an expression in negation normal form: a list of conjunctions, each a
/// set of literals, in the order of the cross products. Can be exponential in the input. Nothing is
/// dropped: contradictions and duplicates stay, and `true` and `false` are literals, so simplify
/// first (an `and` without children is the empty list here).
///
/// Implications, equivalences and timed statements are an `InternalError`. Literals are not looked
/// into.
class ToDNF : public ExpressionDefaultWalker<std::vector<ExpressionSet>> {
 public:
  using Disjunction = std::vector<ExpressionSet>;

  using ExpressionDefaultWalker::ExpressionDefaultWalker;

  using ExpressionDefaultWalker::operator();
  const Disjunction& operator()(Expression e) const& override;
  void clear_memoization() const override;

 protected:
  Disjunction walk_and(Expression e) const override;
  Disjunction walk_or(Expression e) const override;
  Disjunction walk_imply(Expression e) const override { return not_supported(e); }
  Disjunction walk_iff(Expression e) const override { return not_supported(e); }
  Disjunction walk_assign(Expression e) const override { return not_supported(e); }
  Disjunction walk_in_assign(Expression e) const override { return not_supported(e); }
  Disjunction walk_interval(Expression e) const override { return not_supported(e); }
  Disjunction walk_temporal_expression(Expression e) const override { return not_supported(e); }
  Disjunction walk_contains(Expression e) const override { return not_supported(e); }
  /// A literal.
  Disjunction walk_default(Expression e) const override { return {{e}}; }

 private:
  [[noreturn]] static Disjunction not_supported(Expression e);
  void collect_operands(Expression root) const;

  // For each `and` and `or`, its operands with chains of the same operator opened up: building the
  // sets of each link of a chain would cost quadratic time and memory.
  mutable std::unordered_map<Expression, std::vector<Expression>> operands_;
};

}  // namespace kelvo::model
