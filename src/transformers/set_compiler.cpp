#include "transformers/set_compiler.h"

#include <algorithm>
#include <optional>
#include <unordered_set>
#include <utility>

#include "model/action.h"
#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/model_factory.h"
#include "model/problem_instance.h"
#include "model/types.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/expression_set_compiler.h"
#include "transformers/plan_mapping.h"
#include "transformers/problem_parts.h"

namespace kelvo {

using model::Expression;

SetCompiler::SetCompiler(const model::ProblemInstance& input_problem)
    : BasicTransformer(input_problem) {}

void SetCompiler::do_computation() {
  const model::ProblemInstance& problem = input_problem();
  ProblemParts parts;
  parts.take_instances(problem);
  parts.take_user_types(problem);
  ExpressionSetCompiler::Constants set_constants;
  for (const auto& [name, constant] : problem->constants()) {
    if (!constant->type()->is_set()) {
      parts.add(constant);
      continue;
    }
    set_constants[constant] = compile_constant(constant);
    parts.add(set_constants[constant]);
  }
  ExpressionSetCompiler::Fluents set_fluents;
  for (const auto& [name, fluent] : problem->fluents()) {
    if (!fluent->type()->is_set()) {
      parts.add(fluent);
      continue;
    }
    const model::Fluent compiled = compile_fluent(fluent);
    set_fluents[fluent] = compiled;
    fluents_[compiled] = fluent;
    parts.add(compiled);
  }

  const ExpressionSetCompiler compiler(environment(), set_fluents, set_constants, problem);
  for (const auto& [name, action] : problem->actions()) {
    Substitution substitution;
    const model::Parameters parameters =
        copy_parameters(environment(), action->parameters(), substitution);
    const ExpressionSubstituter substitute(environment(), substitution);
    model::ExpressionSet expressions;
    for (const Expression e : action->expressions()) {
      const auto statements = split_assignments(environment(), compiler.compile(substitute(e)));
      expressions.insert(statements.begin(), statements.end());
    }
    const model::Action compiled =
        environment().model_factory().make_action(name, {}, parameters, expressions);
    parts.add(compiled);
    actions_[compiled] = action;
    new_actions_[action] = compiled;
  }
  for (const Expression e : problem->expressions()) {
    const auto statements = split_assignments(environment(), compiler.compile(e));
    parts.expressions.insert(statements.begin(), statements.end());
  }
  for (const auto& [first, second] : problem->labels_orderings()) {
    const Expression new_first = compiler.compile(first);
    parts.add_ordering(new_first, compiler.compile(second));
  }
  output_problem_ = parts.make(environment());
}

namespace {

// Whether an entry with a shorter key, which covers `key` too, has `element` in its set.
bool is_in_wider_entry(const model::FunctionValueImpl& value,
                       const model::FunctionValueImpl::Key& key, Expression element) {
  model::FunctionValueImpl::Key prefix = key;
  while (!prefix.empty()) {
    prefix.pop_back();
    const auto found = value.assignments().find(prefix);
    if (found == value.assignments().end()) continue;
    const auto elements = found->second->children();
    if (std::ranges::find(elements, element) != elements.end()) return true;
  }
  return false;
}

}  // namespace

model::Constant SetCompiler::compile_constant(const model::Constant& constant) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  model::ModelFactory& mf = environment().model_factory();
  Substitution unused;
  model::Parameters parameters = copy_parameters(environment(), constant->parameters(), unused);
  parameters.insert(parameters.begin(),
                    mf.make_parameter("st", model::as_set_type(constant->type()).type()));
  auto value = std::make_shared<model::FunctionValueImpl>();
  value->default_value(ef.make_false());
  if (const model::FunctionValue old_value = constant->value(); old_value != nullptr) {
    // An element that only a wider entry has must be switched off for this one.
    std::vector<Expression> all_elements;
    std::unordered_set<Expression> seen;
    const auto entries = old_value->sorted_assignments();
    for (const auto& [key, set] : entries) {
      if (!ef.is_set_constant(set)) refuse_set_expression(set);
      for (const Expression element : set->children()) {
        if (seen.insert(element).second) all_elements.push_back(element);
      }
    }
    for (const auto& [key, set] : entries) {
      for (const Expression element : all_elements) {
        const bool is_in = std::ranges::find(set->children(), element) != set->children().end();
        if (!is_in && !is_in_wider_entry(*old_value, key, element)) continue;
        model::FunctionValueImpl::Key arguments{element};
        arguments.insert(arguments.end(), key.begin(), key.end());
        value->add_assignment(arguments, ef.make_boolean_constant(is_in));
      }
    }
  }
  return mf.make_constant(constant->name(), mf.make_boolean_type(), {}, parameters, {{"", value}});
}

model::Fluent SetCompiler::compile_fluent(const model::Fluent& fluent) const {
  model::ModelFactory& mf = environment().model_factory();
  if (!fluent->type()->is_finite_domain()) {
    throw InternalError() << "Infinite sets are not supported: " << fluent->type();
  }
  Substitution unused;
  model::Parameters parameters = copy_parameters(environment(), fluent->parameters(), unused);
  parameters.push_back(mf.make_parameter("st", model::as_set_type(fluent->type()).type()));
  return mf.make_fluent(fluent->name(), mf.make_boolean_type(), {}, parameters);
}

const model::Action& SetCompiler::original_of(const model::Action& action) const {
  const auto found = actions_.find(action);
  if (found == actions_.end()) {
    throw InternalError("Found an action that is unknown to the set compiler!");
  }
  return found->second;
}

// The conjuncts on elements of one set become one conjunct on the set, after all others.
Expression SetCompiler::restore_sets(Expression post_condition) const {
  if (post_condition == nullptr) return nullptr;
  model::ExpressionFactory& ef = environment().expression_factory();
  std::vector<Expression> conjuncts;
  std::vector<std::pair<Expression, std::vector<Expression>>> sets;
  std::unordered_map<Expression, std::size_t> index;
  for (const Expression conjunct : post_condition_conjuncts(post_condition)) {
    const Expression left = conjunct->arity() == 2 ? conjunct->child(0) : nullptr;
    const Expression reference = left != nullptr && ef.is_functional_apply(left)
                                     ? ef.get_reference_from_functional_apply(left)
                                     : nullptr;
    const auto found = reference != nullptr && ef.is_fluent_reference(reference)
                           ? fluents_.find(ef.get_fluent_from_reference(reference))
                           : fluents_.end();
    if (found == fluents_.end()) {
      conjuncts.push_back(conjunct);
      continue;
    }
    if (!ef.is_true(conjunct->child(1))) continue;
    Expression set = ef.make_fluent_reference(found->second);
    if (left->arity() > 1) {
      set = ef.make_functional_apply(set, {left->children().begin(), left->children().end() - 1});
    }
    const auto [place, is_new] = index.try_emplace(set, sets.size());
    if (is_new) sets.push_back({set, {}});
    sets[place->second].second.push_back(left->child(left->arity() - 1));
  }
  for (const auto& [set, elements] : sets) {
    const Expression constant = ef.make_set_constant(elements);
    conjuncts.push_back(ef.make_equals(set, constant));
  }
  return ef.make_and(conjuncts);
}

std::shared_ptr<Plan> SetCompiler::map_back(const std::shared_ptr<Plan>& plan) const {
  return map_plan(plan, "the set compiler", [this](MappedStep step) -> std::optional<MappedStep> {
    step.action = original_of(step.action);
    step.duration = step.duration.value_or(rational(0));
    step.post_condition = restore_sets(step.post_condition);
    return step;
  });
}

BasicTransformer::Step SetCompiler::map_back(const model::Instance& object,
                                             const model::Action& action,
                                             const std::vector<Expression>& parameters) const {
  return {object, original_of(action), parameters};
}

std::vector<BasicTransformer::ForwardStep> SetCompiler::map_forward(
    const model::Instance& object, const model::Action& action,
    const std::vector<Expression>& parameters) const {
  const auto found = new_actions_.find(action);
  if (found == new_actions_.end()) {
    throw InternalError("Found an action that is unknown to the set compiler!");
  }
  return {ForwardStep{object, found->second, parameters, nullptr}};
}

}  // namespace kelvo
