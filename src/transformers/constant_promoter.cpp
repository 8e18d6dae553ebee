#include "transformers/constant_promoter.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "model/action.h"
#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/expression_simplifier.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "model/problem_instance.h"
#include "model/timed_effect.h"
#include "model/user_type.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "transformers/plan_mapping.h"

namespace kelvo {

using model::Expression;

namespace {

const std::string prefix = "_cp_";

bool is_value(const model::ExpressionFactory& ef, Expression e) {
  return ef.is_constant(e) || ef.is_instance_reference(e);
}

/// Walks the nested types of a scope without recursion. `enter` sees each type's scope in front of
/// the types nested in it, `leave` after them.
template <typename Enter, typename Leave>
void walk_nested_types(const model::TypeScope& top, Enter enter, Leave leave) {
  struct Frame {
    model::TypeScope::UserTypeMap::const_iterator next;
    model::TypeScope::UserTypeMap::const_iterator end;
  };
  std::vector<Frame> stack{{top.user_types().begin(), top.user_types().end()}};
  while (!stack.empty()) {
    if (stack.back().next == stack.back().end) {
      leave();
      stack.pop_back();
      continue;
    }
    const model::UserType& type = (stack.back().next++)->second;
    enter(type);
    stack.push_back({type->user_types().begin(), type->user_types().end()});
  }
}

// Enters a member into a type that may hold one of that name from an earlier use of its name.
void put(const model::UserType& type, const model::Fluent& fluent) {
  type->has_fluent(fluent->name()) ? type->resolve_fluent(fluent) : type->add_fluent(fluent);
}
void put(const model::UserType& type, const model::Constant& constant) {
  type->has_constant(constant->name()) ? type->resolve_constant(constant)
                                       : type->add_constant(constant);
}
void put(const model::UserType& type, const model::Action& action) {
  type->has_action(action->name()) ? type->resolve_action(action) : type->add_action(action);
}
void put(const model::UserType& type, const model::UserType& nested) {
  type->has_user_type(nested->name()) ? type->resolve_user_type(nested)
                                      : type->add_user_type(nested);
}

}  // namespace

ConstantPromoter::ConstantPromoter(const model::ProblemInstance& input_problem)
    : BasicTransformer(input_problem) {}

void ConstantPromoter::do_computation() {
  LOG(LogLevel::DEBUG) << "ConstantPromoter started!";
  make_user_types();
  collect_written_fluents(*input_problem());
  walk_nested_types(
      *input_problem(), [this](const model::UserType& type) { collect_written_fluents(*type); },
      [] {});
  collect_initial_values();
  make_instances();
  if (!rewrite_scopes()) {
    unchanged_ = true;
    output_problem_ = input_problem();
    return;
  }
  for (const auto& [name, type] : input_problem()->user_types()) parts_.add(user_types_.at(type));
  rewrite_all_actions();
  LOG(LogLevel::DEBUG) << "--> Re-write problem expressions";
  rewrite_expressions();
  output_problem_ = parts_.make(environment());
  LOG(LogLevel::DEBUG) << "ConstantPromoter completed!";
}

void ConstantPromoter::make_user_types() {
  model::ModelFactory& mf = environment().model_factory();
  std::vector<model::UserType> types;
  walk_nested_types(
      *input_problem(), [&types](const model::UserType& type) { types.push_back(type); }, [] {});
  for (const model::UserType& type : types) {
    user_types_[type] = mf.make_user_type(prefix + type->name());
  }
  for (const model::UserType& type : types) {
    for (const model::Type& base : type->base_types()) {
      user_types_.at(type)->add_base_type(new_type(base));
    }
  }
}

void ConstantPromoter::collect_written_fluents(const model::TypeScope& scope) {
  const model::ExpressionFactory& ef = environment().expression_factory();
  for (const auto& [name, action] : scope.actions()) {
    std::vector<Expression> todo(action->expressions().begin(), action->expressions().end());
    std::unordered_set<Expression> seen;
    while (!todo.empty()) {
      const Expression e = todo.back();
      todo.pop_back();
      if (!seen.insert(e).second) continue;
      todo.insert(todo.end(), e->children().begin(), e->children().end());
      if (!ef.is_assign(e)) continue;
      Expression target = e->child(0);
      while (ef.is_scoping(target) || ef.is_functional_apply(target)) {
        target = ef.is_scoping(target) ? target->child(1)
                                       : ef.get_reference_from_functional_apply(target);
      }
      if (ef.is_fluent_reference(target)) written_.insert(ef.get_fluent_from_reference(target));
    }
  }
}

void ConstantPromoter::collect_initial_values() {
  for (const Expression e : input_problem()->expressions()) {
    const model::Fluent fluent = read_initial_value(e);
    if (fluent != nullptr) initialised_by_[e] = fluent;
  }
}

model::Fluent ConstantPromoter::read_initial_value(Expression e) {
  model::ExpressionFactory& ef = environment().expression_factory();
  const std::optional<Effect> effect = get_effect(ef, e);
  if (!effect) return nullptr;
  const model::ExpressionSimplifier simplify(environment());
  const Expression value = simplify(effect->value());
  model::FunctionValueImpl::Key key;
  for (const Expression argument : effect->actual_parameters()) key.push_back(simplify(argument));
  const bool has_ground_key =
      std::ranges::all_of(key, [&ef](Expression argument) { return is_value(ef, argument); });
  const bool has_known_owner =
      effect->path().empty() || input_problem()->has_instance(effect->path());
  if (is_at_start(ef, effect->timing()) && is_value(ef, value) && has_ground_key &&
      has_known_owner) {
    model::FunctionValue& table = initial_values_[effect->fluent()][effect->path()];
    if (table == nullptr) table = std::make_shared<model::FunctionValueImpl>();
    if (!table->has_assignments(key) || table->assignments().at(key) == value) {
      table->add_assignment(key, value);
      return effect->fluent();
    }
  }
  written_.insert(effect->fluent());
  return nullptr;
}

void ConstantPromoter::relate(Expression old_reference, Expression new_reference) {
  forward_[old_reference] = new_reference;
  backward_[new_reference] = old_reference;
}

void ConstantPromoter::make_instances() {
  model::ExpressionFactory& ef = environment().expression_factory();
  for (const auto& [name, instance] : input_problem()->instances()) {
    const auto type = user_types_.find(instance->type());
    const model::Instance made = environment().model_factory().make_instance(
        prefix + name, type == user_types_.end() ? instance->type() : type->second);
    parts_.add(made);
    const Expression old_reference = ef.make_instance_reference(instance);
    relate(old_reference, ef.make_instance_reference(made));
    new_to_old_instances_[made] = instance;
    old_to_new_instances_[instance] = made;
  }
}

model::Type ConstantPromoter::new_type(const model::Type& type) const {
  if (type->is_user_defined()) {
    const auto found = user_types_.find(model::as_user_type(type));
    return found == user_types_.end() ? type : found->second;
  }
  if (type->is_set()) {
    const model::Type& element = model::as_set_type(type).type();
    const model::Type new_element = new_type(element);
    if (new_element != element) return environment().model_factory().make_set_type(new_element);
  }
  return type;
}

model::Parameters ConstantPromoter::new_parameters(const model::Parameters& parameters,
                                                   Substitution& substitution) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  model::Parameters made;
  for (const model::Parameter& p : parameters) {
    made.push_back(environment().model_factory().make_parameter(p->name(), new_type(p->type())));
    const Expression old_reference = ef.make_parameter_reference(p);
    substitution[old_reference] = ef.make_parameter_reference(made.back());
  }
  return made;
}

ConstantPromoter::InitialValues ConstantPromoter::new_values(const InitialValues& values) const {
  const ExpressionSubstituter substitute(environment(), forward_);
  InitialValues made;
  for (const auto& [instance_name, old_table] : values) {
    auto table = std::make_shared<model::FunctionValueImpl>();
    if (old_table != nullptr) {
      for (const auto& [old_key, value] : old_table->sorted_assignments()) {
        model::FunctionValueImpl::Key key;
        for (const Expression e : old_key) key.push_back(substitute(e));
        table->add_assignment(key, substitute(value));
      }
    }
    made[instance_name.empty() ? instance_name : prefix + instance_name] = table;
  }
  return made;
}

bool ConstantPromoter::is_promoted(const model::Fluent& fluent) const {
  return !written_.contains(fluent) && initial_values_.contains(fluent);
}

bool ConstantPromoter::rewrite_members(const model::TypeScope& scope,
                                       const model::UserType& target) {
  model::ExpressionFactory& ef = environment().expression_factory();
  model::ModelFactory& mf = environment().model_factory();
  const auto add = [this, &target](const auto& object) {
    if (target == nullptr) {
      parts_.add(object);
    } else {
      put(target, object);
    }
  };
  for (const auto& [name, constant] : scope.constants()) {
    Substitution unused;
    const model::Parameters parameters = new_parameters(constant->parameters(), unused);
    const model::Constant made =
        mf.make_constant(prefix + name, new_type(constant->type()), constant->path(), parameters,
                         new_values(constant->all_values()));
    add(made);
    const Expression old_reference = ef.make_constant_reference(constant);
    relate(old_reference, ef.make_constant_reference(made));
  }
  bool has_promoted = false;
  for (const auto& [name, fluent] : scope.fluents()) {
    Substitution unused;
    const model::Parameters parameters = new_parameters(fluent->parameters(), unused);
    const Expression old_reference = ef.make_fluent_reference(fluent);
    if (!is_promoted(fluent)) {
      const model::Fluent made =
          mf.make_fluent(prefix + name, new_type(fluent->type()), fluent->path(), parameters);
      add(made);
      relate(old_reference, ef.make_fluent_reference(made));
      continue;
    }
    LOG(LogLevel::DEBUG) << "--> Promoting fluent '" << name << "' to constant";
    has_promoted = true;
    const model::Constant made =
        mf.make_constant(prefix + name, new_type(fluent->type()), fluent->path(), parameters,
                         new_values(initial_values_.at(fluent)));
    add(made);
    relate(old_reference, ef.make_constant_reference(made));
    note_promoted_values(fluent);
  }
  LOG(LogLevel::DEBUG) << "--> Recursively re-write other TypeScopes...";
  return has_promoted;
}

void ConstantPromoter::note_promoted_values(const model::Fluent& fluent) {
  model::ExpressionFactory& ef = environment().expression_factory();
  for (const auto& [instance_name, table] : initial_values_.at(fluent)) {
    for (const auto& [key, value] : table->sorted_assignments()) {
      Expression left = ef.make_fluent_reference(fluent);
      if (!key.empty()) left = ef.make_functional_apply(left, key);
      if (!instance_name.empty()) {
        const model::Instance& owner = input_problem()->instances().at(instance_name);
        left = ef.make_scoping(ef.make_instance_reference(owner), left);
      }
      promoted_values_.push_back(ef.make_equals(left, value));
    }
  }
}

bool ConstantPromoter::rewrite_scopes() {
  bool has_promoted = rewrite_members(*input_problem(), nullptr);
  walk_nested_types(
      *input_problem(),
      [&](const model::UserType& type) {
        LOG(LogLevel::DEBUG) << "--> Considering '" << type->name() << "'";
        const model::UserType& target = user_types_.at(type);
        has_promoted = rewrite_members(*type, target) || has_promoted;
        for (const auto& [name, nested] : type->user_types()) put(target, user_types_.at(nested));
      },
      [] { LOG(LogLevel::DEBUG) << "Finished handling TypeScope"; });
  return has_promoted;
}

void ConstantPromoter::rewrite_actions(const model::TypeScope& scope,
                                       const model::UserType& target) {
  LOG(LogLevel::DEBUG) << "--> Re-write all the actions in the TypeScope";
  const ExpressionSubstituter substitute(environment(), forward_);
  for (const auto& [name, action] : scope.actions()) {
    Substitution parameter_subs;
    const model::Parameters parameters = new_parameters(action->parameters(), parameter_subs);
    const ExpressionSubstituter substitute_parameters(environment(), parameter_subs);
    model::ExpressionSet expressions;
    for (const Expression e : action->expressions()) {
      expressions.insert(substitute(substitute_parameters(e)));
    }
    const model::Action made =
        environment().model_factory().make_action(name, action->path(), parameters, expressions);
    if (target == nullptr) {
      parts_.add(made);
    } else {
      put(target, made);
    }
    new_to_old_actions_[made] = action;
    old_to_new_actions_[action] = made;
  }
}

void ConstantPromoter::rewrite_all_actions() {
  rewrite_actions(*input_problem(), nullptr);
  walk_nested_types(
      *input_problem(),
      [this](const model::UserType& type) {
        LOG(LogLevel::DEBUG) << "--> Considering '" << type->name() << "' for expression rewriting";
        rewrite_actions(*type, user_types_.at(type));
      },
      [] {});
}

void ConstantPromoter::rewrite_expressions() {
  const ExpressionSubstituter substitute(environment(), forward_);
  for (const Expression e : input_problem()->expressions()) {
    const auto initialised = initialised_by_.find(e);
    if (initialised != initialised_by_.end() && is_promoted(initialised->second)) continue;
    parts_.expressions.insert(substitute(e));
  }
  for (const auto& [first, second] : input_problem()->labels_orderings()) {
    const Expression new_first = substitute(first);
    parts_.add_ordering(new_first, substitute(second));
  }
}

std::vector<Expression> ConstantPromoter::substituted(const std::vector<Expression>& values,
                                                      const Substitution& substitution) const {
  const ExpressionSubstituter substitute(environment(), substitution);
  std::vector<Expression> result;
  for (const Expression e : values) result.push_back(substitute(e));
  return result;
}

namespace {

// The partner of an object; null for null.
model::Instance partner(const std::unordered_map<model::Instance, model::Instance>& partners,
                        const model::Instance& object) {
  const auto found = partners.find(object);
  return found == partners.end() ? object : found->second;
}

model::Action partner(const std::unordered_map<model::Action, model::Action>& partners,
                      const model::Action& action) {
  const auto found = partners.find(action);
  if (found == partners.end()) {
    throw InternalError("Found an action that is unknown to the constant-promoter!");
  }
  return found->second;
}

}  // namespace

std::shared_ptr<Plan> ConstantPromoter::map_back(const std::shared_ptr<Plan>& plan) const {
  if (unchanged_) return plan;
  return map_plan(plan, "constant-promoter", [this](MappedStep step) -> std::optional<MappedStep> {
    step.object = partner(new_to_old_instances_, step.object);
    step.action = partner(new_to_old_actions_, step.action);
    step.parameters = substituted(step.parameters, backward_);
    if (step.post_condition != nullptr) {
      std::vector<Expression> conjuncts = promoted_values_;
      const auto own = substituted(post_condition_conjuncts(step.post_condition), backward_);
      conjuncts.insert(conjuncts.end(), own.begin(), own.end());
      step.post_condition = environment().expression_factory().make_and(conjuncts);
    }
    return step;
  });
}

BasicTransformer::Step ConstantPromoter::map_back(const model::Instance& object,
                                                  const model::Action& action,
                                                  const std::vector<Expression>& parameters) const {
  if (unchanged_) return {object, action, parameters};
  return {partner(new_to_old_instances_, object), partner(new_to_old_actions_, action),
          substituted(parameters, backward_)};
}

std::vector<BasicTransformer::ForwardStep> ConstantPromoter::map_forward(
    const model::Instance& object, const model::Action& action,
    const std::vector<Expression>& parameters) const {
  if (unchanged_) return {ForwardStep{object, action, parameters, nullptr}};
  return {ForwardStep{partner(old_to_new_instances_, object), partner(old_to_new_actions_, action),
                      substituted(parameters, forward_), nullptr}};
}

}  // namespace kelvo
