#pragma once

#include <unordered_map>
#include <utility>
#include <vector>

#include "model/domains.h"
#include "model/expression_default_walker.h"
#include "model/expression_simplifier.h"

namespace kelvo {

/// What an expression over sets becomes: an expression without sets, or for a set-valued one a
/// boolean expression for each element that may be in the set.
struct ExpressionForSet {
  using Elements = std::vector<std::pair<model::Expression, model::Expression>>;

  /// Null for a set.
  model::Expression expression = nullptr;
  /// In a fixed order: that of the element type, or of the text.
  Elements elements;

  bool is_set() const { return expression == nullptr; }
};

/// Rewrites operations on sets into boolean combinations, element by element. Set-valued fluents
/// and constants are those that the two maps relate to boolean ones with the element as a further
/// parameter: the last of a fluent, the first of a constant.
///
/// Throws `InternalError` on an element that is no value and on an operation that has no such form.
class ExpressionSetCompiler : public model::ExpressionDefaultWalker<ExpressionForSet> {
 public:
  using Fluents = std::unordered_map<model::Fluent, model::Fluent>;
  using Constants = std::unordered_map<model::Constant, model::Constant>;

  ExpressionSetCompiler(Environment& env, const Fluents& fluents, const Constants& constants,
                        const model::ProblemInstance& problem);

  /// The rewritten form of an expression that is no set.
  model::Expression compile(model::Expression e) const;

 protected:
  ExpressionForSet walk_default(model::Expression e) const override;
  ExpressionForSet walk_fluent_reference(model::Expression e) const override;
  ExpressionForSet walk_constant_reference(model::Expression e) const override;
  ExpressionForSet walk_functional_apply(model::Expression e) const override;
  ExpressionForSet walk_set_constant(model::Expression e) const override;
  ExpressionForSet walk_union(model::Expression e) const override;
  ExpressionForSet walk_intersection(model::Expression e) const override;
  ExpressionForSet walk_difference(model::Expression e) const override;
  ExpressionForSet walk_in(model::Expression e) const override;
  ExpressionForSet walk_subset(model::Expression e) const override;
  ExpressionForSet walk_equals(model::Expression e) const override;
  ExpressionForSet walk_assign(model::Expression e) const override;

 private:
  using Expressions = std::vector<model::Expression>;
  using MakeBinary = model::Expression (model::ExpressionFactory::*)(model::Expression,
                                                                     model::Expression);

  /// The set that a set-valued fluent or constant, applied to `arguments`, stands for; nothing for
  /// others.
  bool find_set(model::Expression reference, const Expressions& arguments,
                ExpressionForSet& set) const;
  ExpressionForSet combined(model::Expression e, MakeBinary make) const;
  const ExpressionForSet::Elements& set_child(model::Expression e, std::size_t i) const;

  const Fluents& fluents_;
  const Constants& constants_;
  model::Domains domains_;
  model::ExpressionSimplifier simplify_;
};

/// The refusal of an expression that sets can't be compiled out of.
[[noreturn]] void refuse_set_expression(model::Expression e);

}  // namespace kelvo
