#include "transformers/expression_set_compiler.h"

#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/expression_identity.h"
#include "model/fluent.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/types.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo {

using model::Expression;
using Elements = ExpressionForSet::Elements;

namespace {

/// Finds what says that an element is in a set; false for one that never is.
class Membership {
 public:
  Membership(model::ExpressionFactory& ef, const Elements& elements)
      : false_(ef.make_false()), conditions_(elements.begin(), elements.end()) {}

  bool contains(Expression element) const { return conditions_.contains(element); }
  Expression operator()(Expression element) const {
    const auto found = conditions_.find(element);
    return found == conditions_.end() ? false_ : found->second;
  }

 private:
  Expression false_;
  std::unordered_map<Expression, Expression> conditions_;
};

}  // namespace

void refuse_set_expression(Expression e) {
  throw InternalError() << "Set compiler is not able to handle this expression: "
                        << model::print_expression(e);
}

ExpressionSetCompiler::ExpressionSetCompiler(Environment& env, const Fluents& fluents,
                                             const Constants& constants,
                                             const model::ProblemInstance& problem)
    : ExpressionDefaultWalker(env),
      fluents_(fluents),
      constants_(constants),
      domains_(*problem),
      simplify_(env) {}

Expression ExpressionSetCompiler::compile(Expression e) const {
  const ExpressionForSet& result = (*this)(e);
  if (result.is_set()) refuse_set_expression(e);
  return result.expression;
}

// Rebuilds the one node over its rewritten children.
ExpressionForSet ExpressionSetCompiler::walk_default(Expression e) const {
  const model::ExpressionIdentity rebuild(environment());
  for (const Expression child : e->children()) {
    const ExpressionForSet& value = memoized_value(child);
    if (value.is_set()) refuse_set_expression(e);
    rebuild.do_memoize_value(child, value.expression);
  }
  return {rebuild(e), {}};
}

const Elements& ExpressionSetCompiler::set_child(Expression e, std::size_t i) const {
  const ExpressionForSet& value = memoized_value(e->child(i));
  if (!value.is_set()) refuse_set_expression(e);
  return value.elements;
}

bool ExpressionSetCompiler::find_set(Expression reference, const Expressions& arguments,
                                     ExpressionForSet& set) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  Expression function = nullptr;
  model::Type element_type;
  bool element_is_last = true;
  if (ef.is_fluent_reference(reference)) {
    const auto found = fluents_.find(ef.get_fluent_from_reference(reference));
    if (found == fluents_.end()) return false;
    function = ef.make_fluent_reference(found->second);
    element_type = found->second->parameters().back()->type();
  } else {
    const auto found = constants_.find(ef.get_constant_from_reference(reference));
    if (found == constants_.end()) return false;
    function = ef.make_constant_reference(found->second);
    element_type = found->second->parameters().front()->type();
    element_is_last = false;
  }
  for (const Expression element : domains_.elements(element_type)) {
    Expressions extended = arguments;
    extended.insert(element_is_last ? extended.end() : extended.begin(), element);
    set.elements.emplace_back(element, ef.make_functional_apply(function, extended));
  }
  return true;
}

ExpressionForSet ExpressionSetCompiler::walk_fluent_reference(Expression e) const {
  ExpressionForSet set;
  const model::ExpressionFactory& ef = environment().expression_factory();
  if (ef.get_fluent_from_reference(e)->has_parameters()) return {e, {}};
  return find_set(e, {}, set) ? set : ExpressionForSet{e, {}};
}

ExpressionForSet ExpressionSetCompiler::walk_constant_reference(Expression e) const {
  ExpressionForSet set;
  const model::ExpressionFactory& ef = environment().expression_factory();
  if (ef.get_constant_from_reference(e)->has_parameters()) return {e, {}};
  return find_set(e, {}, set) ? set : ExpressionForSet{e, {}};
}

ExpressionForSet ExpressionSetCompiler::walk_functional_apply(Expression e) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  const Expression reference = ef.get_reference_from_functional_apply(e);
  if (!ef.is_fluent_reference(reference) && !ef.is_constant_reference(reference)) {
    refuse_set_expression(e);
  }
  Expressions arguments;
  for (const Expression child : e->children()) {
    const ExpressionForSet& value = memoized_value(child);
    if (value.is_set()) refuse_set_expression(e);
    arguments.push_back(value.expression);
  }
  ExpressionForSet set;
  return find_set(reference, arguments, set) ? set : walk_default(e);
}

ExpressionForSet ExpressionSetCompiler::walk_set_constant(Expression e) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  ExpressionForSet set;
  for (const Expression element : e->children()) {
    if (!ef.is_constant(element) && !ef.is_instance_reference(element)) refuse_set_expression(e);
    set.elements.emplace_back(element, ef.make_true());
  }
  return set;
}

// The elements of either operand, with what `make` says of being in the left and in the right one.
ExpressionForSet ExpressionSetCompiler::combined(Expression e, MakeBinary make) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  const Elements& left = set_child(e, 0);
  const Elements& right = set_child(e, 1);
  const Membership in_left(ef, left);
  const Membership in_right(ef, right);
  ExpressionForSet set;
  for (const auto& [element, condition] : left) {
    set.elements.emplace_back(element, simplify_((ef.*make)(condition, in_right(element))));
  }
  for (const auto& [element, condition] : right) {
    if (in_left.contains(element)) continue;
    set.elements.emplace_back(element, simplify_((ef.*make)(in_left(element), condition)));
  }
  return set;
}

ExpressionForSet ExpressionSetCompiler::walk_union(Expression e) const {
  return combined(e, &model::ExpressionFactory::make_or);
}

ExpressionForSet ExpressionSetCompiler::walk_intersection(Expression e) const {
  return combined(e, &model::ExpressionFactory::make_and);
}

ExpressionForSet ExpressionSetCompiler::walk_difference(Expression e) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  const Elements& left = set_child(e, 0);
  const Membership in_right(ef, set_child(e, 1));
  ExpressionForSet set;
  for (const auto& [element, condition] : left) {
    const Expression is_out = ef.make_not(in_right(element));
    set.elements.emplace_back(element, simplify_(ef.make_and(condition, is_out)));
  }
  return set;
}

ExpressionForSet ExpressionSetCompiler::walk_in(Expression e) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  const Expression element = memoized_value(e->child(0)).expression;
  if (element == nullptr || (!ef.is_constant(element) && !ef.is_instance_reference(element))) {
    refuse_set_expression(e);
  }
  return {Membership(ef, set_child(e, 1))(element), {}};
}

ExpressionForSet ExpressionSetCompiler::walk_subset(Expression e) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  const Elements& left = set_child(e, 0);
  const Membership in_right(ef, set_child(e, 1));
  Expressions conjuncts;
  for (const auto& [element, condition] : left) {
    conjuncts.push_back(ef.make_imply(condition, in_right(element)));
  }
  return {simplify_(ef.make_and(conjuncts)), {}};
}

ExpressionForSet ExpressionSetCompiler::walk_equals(Expression e) const {
  if (!memoized_value(e->child(0)).is_set() && !memoized_value(e->child(1)).is_set()) {
    return walk_default(e);
  }
  model::ExpressionFactory& ef = environment().expression_factory();
  const Elements& left = set_child(e, 0);
  const Elements& right = set_child(e, 1);
  const Membership in_left(ef, left);
  const Membership in_right(ef, right);
  Expressions conjuncts;
  for (const auto& [element, condition] : left) {
    conjuncts.push_back(ef.make_iff(condition, in_right(element)));
  }
  for (const auto& [element, condition] : right) {
    if (!in_left.contains(element)) conjuncts.push_back(ef.make_not(condition));
  }
  return {ef.make_and(conjuncts), {}};
}

ExpressionForSet ExpressionSetCompiler::walk_assign(Expression e) const {
  if (!memoized_value(e->child(0)).is_set() && !memoized_value(e->child(1)).is_set()) {
    return walk_default(e);
  }
  model::ExpressionFactory& ef = environment().expression_factory();
  const Elements& left = set_child(e, 0);
  const Membership in_right(ef, set_child(e, 1));
  Expressions assignments;
  for (const auto& [element, fluent] : left) {
    assignments.push_back(ef.make_assign(fluent, in_right(element)));
  }
  return {ef.make_and(assignments), {}};
}

}  // namespace kelvo
