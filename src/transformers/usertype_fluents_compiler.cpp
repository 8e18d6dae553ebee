#include "transformers/usertype_fluents_compiler.h"

#include <optional>
#include <utility>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/expression_identity.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "model/problem_instance.h"
#include "model/types.h"
#include "model/user_type.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/plan_mapping.h"
#include "transformers/problem_parts.h"

namespace kelvo {

using model::Expression;

namespace {

/// Rewrites references, comparisons and assignments of the fluents that are keys of `fluents`.
class UserTypeFluentsSubstituter : public model::ExpressionIdentity {
 public:
  UserTypeFluentsSubstituter(Environment& env, Substitution fluents,
                             std::vector<model::Instance> instances)
      : ExpressionIdentity(env), fluents_(std::move(fluents)), instances_(std::move(instances)) {}

 protected:
  Expression walk_fluent_reference(Expression e) const override {
    const auto found = fluents_.find(e);
    return found == fluents_.end() ? e : found->second;
  }

  Expression walk_functional_apply(Expression e) const override {
    const model::ExpressionFactory& ef = environment().expression_factory();
    if (ef.is_fluent_reference(ef.get_reference_from_functional_apply(e))) {
      for (const Expression argument : e->children()) {
        if (ef.is_constant_reference(argument) || ef.is_instance_reference(argument) ||
            ef.is_constant(argument)) {
          continue;
        }
        throw InternalError(
            "The UserTypeFluentsSubstituter works only with functional apply with constant "
            "parameters!");
      }
    }
    return ExpressionIdentity::walk_functional_apply(e);
  }

  Expression walk_assign(Expression e) const override {
    if (!is_of_new_fluent(e->child(0))) return ExpressionIdentity::walk_assign(e);
    model::ExpressionFactory& ef = environment().expression_factory();
    if (!ef.is_instance_reference(e->child(1))) {
      throw InternalError(
          "The UserTypeFluentsSubstituter supports only constant value as right-value assignment!");
    }
    return for_all_values(e->child(0), e->child(1), [&ef](Expression fluent, Expression value) {
      return ef.make_assign(fluent, value);
    });
  }

  Expression walk_equals(Expression e) const override {
    model::ExpressionFactory& ef = environment().expression_factory();
    Expression fluent = e->child(0);
    Expression value = e->child(1);
    if (ef.is_instance_reference(fluent)) std::swap(fluent, value);
    if (!ef.is_instance_reference(value) || !is_of_new_fluent(fluent)) {
      return ExpressionIdentity::walk_equals(e);
    }
    return for_all_values(fluent, value, [&ef](Expression boolean_fluent, Expression is_value) {
      return ef.make_equals(boolean_fluent, is_value);
    });
  }

 private:
  // Whether `e`, of the input, is a rewritten fluent or an application of one.
  bool is_of_new_fluent(Expression e) const {
    const model::ExpressionFactory& ef = environment().expression_factory();
    if (ef.is_functional_apply(e)) e = ef.get_reference_from_functional_apply(e);
    return fluents_.contains(e);
  }

  // The conjunction of `relate(f(args, i), i == value)` over all instances i of the value's type.
  template <typename Relate>
  Expression for_all_values(Expression fluent, Expression value, Relate relate) const {
    model::ExpressionFactory& ef = environment().expression_factory();
    Expression reference = fluent;
    std::vector<Expression> arguments;
    if (ef.is_functional_apply(fluent)) {
      reference = ef.get_reference_from_functional_apply(fluent);
      for (const Expression argument : fluent->children()) {
        arguments.push_back(memoized_value(argument));
      }
    }
    const model::UserType type = ef.get_instance_from_reference(value)->type();
    arguments.push_back(nullptr);
    std::vector<Expression> parts;
    for (const model::Instance& instance : instances_) {
      if (instance->type() != type) continue;
      arguments.back() = ef.make_instance_reference(instance);
      const Expression application = ef.make_functional_apply(fluents_.at(reference), arguments);
      const Expression is_value = ef.make_boolean_constant(arguments.back() == value);
      parts.push_back(relate(application, is_value));
    }
    return ef.make_and(parts);
  }

  Substitution fluents_;
  std::vector<model::Instance> instances_;
};

}  // namespace

UserTypeFluentsCompiler::UserTypeFluentsCompiler(const model::ProblemInstance& input_problem)
    : BasicTransformer(input_problem) {}

void UserTypeFluentsCompiler::do_computation() {
  const model::ProblemInstance& problem = input_problem();
  model::ExpressionFactory& ef = environment().expression_factory();
  model::ModelFactory& mf = environment().model_factory();
  ProblemParts parts;
  parts.take_constants(problem);
  parts.take_instances(problem);
  parts.take_user_types(problem);
  Substitution references;
  for (const auto& [name, fluent] : problem->fluents()) {
    if (!fluent->type()->is_user_defined()) {
      parts.add(fluent);
      continue;
    }
    Substitution unused;
    model::Parameters parameters = copy_parameters(environment(), fluent->parameters(), unused);
    parameters.push_back(mf.make_parameter("ut", fluent->type()));
    const model::Fluent made = mf.make_fluent(name, mf.make_boolean_type(), {}, parameters);
    parts.add(made);
    fluents_[made] = fluent;
    const Expression old_reference = ef.make_fluent_reference(fluent);
    references[old_reference] = ef.make_fluent_reference(made);
  }

  std::vector<model::Instance> instances;
  for (const auto& [name, instance] : problem->instances()) instances.push_back(instance);
  const UserTypeFluentsSubstituter substitute(environment(), references, instances);
  for (const auto& [name, action] : problem->actions()) {
    if (action->has_parameters()) {
      throw InternalError("UserTypeFluentsCompiler transformer only works with ground actions!");
    }
    model::ExpressionSet expressions;
    for (const Expression e : action->expressions()) {
      const auto statements = split_assignments(environment(), substitute(e));
      expressions.insert(statements.begin(), statements.end());
    }
    const model::Action made = mf.make_action(name, {}, {}, expressions);
    parts.add(made);
    actions_[made] = action;
  }
  for (const Expression e : problem->expressions()) {
    const auto statements = split_assignments(environment(), substitute(e));
    parts.expressions.insert(statements.begin(), statements.end());
  }
  for (const auto& [first, second] : problem->labels_orderings()) {
    const Expression new_first = substitute(first);
    parts.add_ordering(new_first, substitute(second));
  }
  output_problem_ = parts.make(environment());
}

// `f(args, v) == true` says `f(args) == v`; that it is false for the other values follows.
Expression UserTypeFluentsCompiler::restore_conjunct(Expression conjunct) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  if (conjunct->arity() != 2 || !ef.is_functional_apply(conjunct->child(0))) return conjunct;
  const Expression left = conjunct->child(0);
  const Expression reference = ef.get_reference_from_functional_apply(left);
  if (!ef.is_fluent_reference(reference)) return conjunct;
  const auto found = fluents_.find(ef.get_fluent_from_reference(reference));
  if (found == fluents_.end()) return conjunct;
  if (!ef.is_true(conjunct->child(1))) return nullptr;
  Expression fluent = ef.make_fluent_reference(found->second);
  if (left->arity() > 1) {
    fluent =
        ef.make_functional_apply(fluent, {left->children().begin(), left->children().end() - 1});
  }
  return ef.make_equals(fluent, left->child(left->arity() - 1));
}

std::shared_ptr<Plan> UserTypeFluentsCompiler::map_back(const std::shared_ptr<Plan>& plan) const {
  return map_plan(
      plan, "the usertype fluents compiler", [this](MappedStep step) -> std::optional<MappedStep> {
        const auto found = actions_.find(step.action);
        if (found == actions_.end()) {
          throw InternalError("Found an action that is unknown to the usertype fluents compiler!");
        }
        step.action = found->second;
        step.duration = step.duration.value_or(rational(0));
        step.post_condition =
            map_post_condition(environment(), step.post_condition,
                               [this](Expression conjunct) { return restore_conjunct(conjunct); });
        return step;
      });
}

}  // namespace kelvo
