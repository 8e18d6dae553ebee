#include "transformers/flattener.h"

#include <cassert>
#include <optional>
#include <tuple>
#include <utility>

#include "model/action.h"
#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/model_factory.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/user_type.h"
#include "plans/time_triggered_plan.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "transformers/plan_mapping.h"

namespace kelvo {

using model::Expression;

// --- expressions ---

// What is left after the walk has no DOT and names no member of a user type:
//   o.f        ->  _T_f(o)           f a fluent or constant of the type T of o
//   o.f(x)     ->  _T_f(o, x)
//   f, f(x)    ->  _T_f(self, ...)   within an action of T
// Instances, top-level fluents and parameters are still those of the input; `subs_` replaces them
// in a second walk, since a name may be needed in its old form to find what it is scoped by.

/// Removes implicit objects and scoped accesses. `self` stands for the object to which a member
/// belongs that is named without one; null where there is none.
class Flattener::InstantiateWalker : public model::ExpressionIdentity {
 public:
  InstantiateWalker(Environment& env, const Flattener& flattener, Expression self)
      : ExpressionIdentity(env), flattener_(flattener), self_(self) {}

 protected:
  Expression walk_fluent_reference(Expression e) const override { return of_self(e); }
  Expression walk_constant_reference(Expression e) const override { return of_self(e); }

  Expression walk_functional_apply(Expression e) const override {
    model::ExpressionFactory& ef = environment().expression_factory();
    const Expression reference = ef.get_reference_from_functional_apply(e);
    const Expression walked =
        is_memoized(reference) ? memoized_value(reference) : (*this)(reference);
    Expressions arguments = walked_children(e);
    if (!ef.is_functional_apply(walked)) return ef.make_functional_apply(walked, arguments);
    // A member applied to its object alone: the object becomes the first argument.
    if (walked->arity() != 1) {
      throw InternalError() << "Invalid functional apply: " << model::print_expression(e);
    }
    arguments.insert(arguments.begin(), walked->child(0));
    return ef.make_functional_apply(ef.get_reference_from_functional_apply(walked), arguments);
  }

  Expression walk_dot(Expression e) const override {
    model::ExpressionFactory& ef = environment().expression_factory();
    assert(e->arity() == 2);
    const Expression child = e->child(1);
    Expression member = child;
    Expressions arguments{memoized_value(e->child(0))};
    if (ef.is_functional_apply(child)) {
      member = ef.get_reference_from_functional_apply(child);
      for (const Expression argument : child->children()) {
        arguments.push_back(memoized_value(argument));
      }
    }
    const Expression flat = flat_member(member);
    if (flat == nullptr) {
      throw InternalError() << "Invalid right-hand side in scoping: " << model::print_expression(e);
    }
    return ef.make_functional_apply(flat, arguments);
  }

 private:
  // The reference of what a member of a user type has become; null for anything else.
  Expression flat_member(Expression reference) const {
    model::ExpressionFactory& ef = environment().expression_factory();
    if (ef.is_fluent_reference(reference)) {
      const auto found = flattener_.fluent_map_.find(ef.get_fluent_from_reference(reference));
      if (found != flattener_.fluent_map_.end()) return ef.make_fluent_reference(found->second);
    } else if (ef.is_constant_reference(reference)) {
      const auto found = flattener_.const_map_.find(ef.get_constant_from_reference(reference));
      if (found != flattener_.const_map_.end()) return ef.make_constant_reference(found->second);
    }
    return nullptr;
  }

  Expression of_self(Expression reference) const {
    const Expression flat = self_ == nullptr ? nullptr : flat_member(reference);
    if (flat == nullptr) return reference;
    return environment().expression_factory().make_functional_apply(flat, {self_});
  }

  const Flattener& flattener_;
  Expression self_;
};

// --- the problem ---

Flattener::Flattener(const model::ProblemInstance& input_problem)
    : BasicTransformer(input_problem) {}

Flattener::~Flattener() = default;

// The order matters: values of constants read the instances, and the walks of actions and problem
// expressions read the members of all types.
void Flattener::do_computation() {
  LOG(LogLevel::DEBUG) << "Flattener started!";
  LOG(LogLevel::DEBUG) << "--> Re-introduce the user-types as a non-structured enumerations";
  const std::vector<ScopedType> types = build_types();
  LOG(LogLevel::DEBUG) << "--> Re-introduce the top-level instances, fluents and constants";
  rewrite_instances();
  rewrite_top_level_fluents();
  rewrite_top_level_constants();
  // All fluents and constants before any action: a member may be named in an outer or a later type.
  for (const ScopedType& scoped : types) {
    rewrite_member_fluents(scoped);
    rewrite_member_constants(scoped);
  }
  for (const ScopedType& scoped : types) rewrite_member_actions(scoped);
  rewrite_top_level_actions();
  LOG(LogLevel::DEBUG) << "--> Rewrite the expressions to get rid of scoping";
  rewrite_expressions();
  output_problem_ = parts_.make(environment());
  LOG(LogLevel::DEBUG) << "Flattening completed!";
}

// Depth first with a stack of its own, in the order of names: a nested type comes after the type
// that it stands in, whose flat name its own begins with.
std::vector<Flattener::ScopedType> Flattener::build_types() {
  std::vector<ScopedType> types;
  std::vector<ScopedType> todo;
  const auto push_types_of = [&todo](const model::TypeScope& scope, const std::string& prefix) {
    const auto& nested = scope.user_types();
    for (auto it = nested.rbegin(); it != nested.rend(); ++it) todo.push_back({prefix, it->second});
  };
  push_types_of(*input_problem(), "_");
  while (!todo.empty()) {
    ScopedType scoped = std::move(todo.back());
    todo.pop_back();
    const std::string flat_name = scoped.prefix + scoped.type->name();
    const model::UserType flat = environment().model_factory().make_user_type(flat_name);
    parts_.add(flat);
    type_map_[scoped.type] = flat;
    scoped.prefix = flat_name + "_";
    push_types_of(*scoped.type, scoped.prefix);
    types.push_back(std::move(scoped));
  }
  return types;
}

// Both ways, and one to one: flat names are unique.
void Flattener::relate(Expression old_reference, Expression new_reference) {
  assert(!subs_back_.contains(new_reference) || subs_back_.at(new_reference) == old_reference);
  subs_[old_reference] = new_reference;
  subs_back_[new_reference] = old_reference;
}

model::Type Flattener::flat_type(const model::Type& type) const {
  if (type->is_user_defined()) {
    const auto found = type_map_.find(model::as_user_type(type));
    return found == type_map_.end() ? type : found->second;
  }
  if (type->is_set()) {
    const model::Type& element = model::as_set_type(type).type();
    const model::Type flat_element = flat_type(element);
    if (flat_element != element) return environment().model_factory().make_set_type(flat_element);
  }
  return type;
}

model::Parameters Flattener::flat_parameters(const model::Parameters& parameters,
                                             Substitution& substitution) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  model::Parameters flat;
  for (const model::Parameter& p : parameters) {
    const model::Type type = flat_type(p->type());
    if (type == p->type()) {
      flat.push_back(p);
      continue;
    }
    flat.push_back(environment().model_factory().make_parameter(p->name(), type));
    const Expression old_reference = ef.make_parameter_reference(p);
    substitution[old_reference] = ef.make_parameter_reference(flat.back());
  }
  return flat;
}

model::Parameters Flattener::member_parameters(const model::UserType& type,
                                               const model::Parameters& parameters,
                                               Substitution& substitution) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  model::ModelFactory& mf = environment().model_factory();
  assert(type_map_.contains(type) && "types are built first");
  model::Parameters flat{mf.make_parameter("object", type_map_.at(type))};
  for (const model::Parameter& p : parameters) {
    flat.push_back(mf.make_parameter(p->name(), flat_type(p->type())));
    const Expression old_reference = ef.make_parameter_reference(p);
    substitution[old_reference] = ef.make_parameter_reference(flat.back());
  }
  return flat;
}

// --- instances, fluents and constants ---

// An instance of a type that is not the problem's own is kept.
void Flattener::rewrite_instances() {
  model::ExpressionFactory& ef = environment().expression_factory();
  for (const auto& [name, instance] : input_problem()->instances()) {
    const auto found = type_map_.find(instance->type());
    model::Instance flat = instance;
    if (found != type_map_.end()) {
      flat = environment().model_factory().make_instance(name, found->second);
      const Expression old_reference = ef.make_instance_reference(instance);
      relate(old_reference, ef.make_instance_reference(flat));
    }
    parts_.add(flat);
    instances_[name] = flat;
  }
}

void Flattener::rewrite_top_level_fluents() {
  model::ExpressionFactory& ef = environment().expression_factory();
  for (const auto& [name, fluent] : input_problem()->fluents()) {
    Substitution unused;
    const model::Parameters parameters = flat_parameters(fluent->parameters(), unused);
    const model::Fluent flat = environment().model_factory().make_fluent(
        name, flat_type(fluent->type()), fluent->path(), parameters);
    parts_.add(flat);
    const Expression old_reference = ef.make_fluent_reference(fluent);
    relate(old_reference, ef.make_fluent_reference(flat));
  }
}

namespace {

// Enters the rewritten entries of `old_value` into `value`, each key after `prefix`.
void add_rewritten_entries(const ExpressionSubstituter& substitute,
                           const model::FunctionValueImpl& old_value,
                           const std::vector<Expression>& prefix, model::FunctionValueImpl& value) {
  for (const auto& [old_key, old_result] : old_value.sorted_assignments()) {
    std::vector<Expression> key = prefix;
    for (const Expression e : old_key) key.push_back(substitute(e));
    value.add_assignment(key, substitute(old_result));
  }
}

}  // namespace

void Flattener::rewrite_top_level_constants() {
  model::ExpressionFactory& ef = environment().expression_factory();
  for (const auto& [name, constant] : input_problem()->constants()) {
    Substitution unused;
    const model::Parameters parameters = flat_parameters(constant->parameters(), unused);
    model::ConstantImpl::Values values;
    if (constant->value() != nullptr) {
      const ExpressionSubstituter substitute(environment(), subs_);
      values[""] = std::make_shared<model::FunctionValueImpl>();
      add_rewritten_entries(substitute, *constant->value(), {}, *values[""]);
    }
    const model::Constant flat = environment().model_factory().make_constant(
        name, flat_type(constant->type()), constant->path(), parameters, values);
    parts_.add(flat);
    const Expression old_reference = ef.make_constant_reference(constant);
    relate(old_reference, ef.make_constant_reference(flat));
  }
}

void Flattener::rewrite_member_fluents(const ScopedType& scoped) {
  for (const auto& [name, fluent] : scoped.type->fluents()) {
    Substitution unused;
    const model::Parameters parameters =
        member_parameters(scoped.type, fluent->parameters(), unused);
    const model::Fluent flat = environment().model_factory().make_fluent(
        scoped.prefix + name, flat_type(fluent->type()), {}, parameters);
    parts_.add(flat);
    fluent_map_[fluent] = flat;
    fluent_map_back_[flat] = fluent;
  }
}

// A member constant has a table for each instance, and one under no name for all of them. Its flat
// constant has one table, whose keys begin with the object:  _T_c(o, k) = c_o(k).
void Flattener::rewrite_member_constants(const ScopedType& scoped) {
  model::ExpressionFactory& ef = environment().expression_factory();
  const ExpressionSubstituter substitute(environment(), subs_);
  for (const auto& [name, constant] : scoped.type->constants()) {
    Substitution unused;
    const model::Parameters parameters =
        member_parameters(scoped.type, constant->parameters(), unused);
    auto value = std::make_shared<model::FunctionValueImpl>();
    const auto add_entries_of = [&](const std::string& instance_name,
                                    const model::FunctionValueImpl& old_value) {
      const Expression object = ef.make_instance_reference(instances_.at(instance_name));
      add_rewritten_entries(substitute, old_value, {object}, *value);
    };
    // The name of no instance comes first, so that the value of an instance overrides it.
    for (const auto& [instance_name, old_value] : constant->all_values()) {
      if (old_value == nullptr) continue;
      if (instances_.contains(instance_name)) {
        add_entries_of(instance_name, *old_value);
      } else if (instance_name.empty()) {
        for (const auto& [name_of_any, instance] : input_problem()->instances(scoped.type)) {
          add_entries_of(name_of_any, *old_value);
        }
      }
    }
    const model::Constant flat = environment().model_factory().make_constant(
        scoped.prefix + name, flat_type(constant->type()), {}, parameters, {{"", value}});
    parts_.add(flat);
    const_map_[constant] = flat;
  }
}

// --- actions and statements ---

// The parameters of all actions enter one substitution: they are told apart by identity.
void Flattener::rewrite_member_actions(const ScopedType& scoped) {
  model::ExpressionFactory& ef = environment().expression_factory();
  for (const auto& [name, action] : scoped.type->actions()) {
    const model::Parameters parameters =
        member_parameters(scoped.type, action->parameters(), subs_);
    const Expression self = ef.make_parameter_reference(parameters.front());
    const InstantiateWalker instantiate(environment(), *this, self);
    const ExpressionSubstituter substitute(environment(), subs_);
    model::ExpressionSet expressions;
    for (const Expression e : action->expressions()) expressions.insert(substitute(instantiate(e)));
    const model::Action flat = environment().model_factory().make_action(scoped.prefix + name, {},
                                                                         parameters, expressions);
    parts_.add(flat);
    action_map_[action] = flat;
    action_map_back_[flat] = action;
  }
}

void Flattener::rewrite_top_level_actions() {
  const InstantiateWalker instantiate(environment(), *this, /*self=*/nullptr);
  const ExpressionSubstituter substitute(environment(), subs_);
  for (const auto& [name, action] : input_problem()->actions()) {
    Substitution local;
    const model::Parameters parameters = flat_parameters(action->parameters(), local);
    const ExpressionSubstituter substitute_parameters(environment(), local);
    model::ExpressionSet expressions;
    for (const Expression e : action->expressions()) {
      expressions.insert(substitute_parameters(substitute(instantiate(e))));
    }
    const model::Action flat =
        environment().model_factory().make_action(name, action->path(), parameters, expressions);
    parts_.add(flat);
    top_level_actions_[action] = flat;
    top_level_actions_back_[flat] = action;
  }
}

void Flattener::rewrite_expressions() {
  const InstantiateWalker instantiate(environment(), *this, /*self=*/nullptr);
  const ExpressionSubstituter substitute(environment(), subs_);
  for (const Expression e : input_problem()->expressions()) {
    parts_.expressions.insert(substitute(instantiate(e)));
  }
  for (const auto& [first, second] : input_problem()->labels_orderings()) {
    const Expression flat_first = substitute(instantiate(first));
    parts_.add_ordering(flat_first, substitute(instantiate(second)));
  }
}

// --- plans ---

// Instances are related by name: plan and problem may come from different flattenings of one text.
Flattener::Expressions Flattener::forward_parameters(const model::Instance& object,
                                                     const Expressions& parameters) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  const auto flat_instance = [this, &ef](const model::Instance& instance) {
    const auto found = instances_.find(instance->name());
    return ef.make_instance_reference(found == instances_.end() ? instance : found->second);
  };
  Expressions flat;
  if (object != nullptr) flat.push_back(flat_instance(object));
  for (const Expression e : parameters) {
    flat.push_back(ef.is_instance_reference(e) ? flat_instance(ef.get_instance_from_reference(e))
                                               : e);
  }
  return flat;
}

std::vector<BasicTransformer::ForwardStep> Flattener::map_forward(
    const model::Instance& object, const model::Action& action,
    const std::vector<Expression>& parameters) const {
  const auto found = action_map_.find(action);
  if (found == action_map_.end()) {
    throw InternalError("Found an action that is unknown to the flattener!");
  }
  return {ForwardStep{nullptr, found->second, forward_parameters(object, parameters), nullptr}};
}

const model::Action* Flattener::find_flat_action(const model::Action& action) const {
  if (const auto member = action_map_.find(action); member != action_map_.end()) {
    return &member->second;
  }
  const auto top_level = top_level_actions_.find(action);
  return top_level == top_level_actions_.end() ? nullptr : &top_level->second;
}

std::shared_ptr<TimeTriggeredPlan> Flattener::map_forward(
    const std::shared_ptr<TimeTriggeredPlan>& plan) const {
  return map_time_triggered_plan(*plan, [this](MappedStep step) -> std::optional<MappedStep> {
    const model::Action* flat = find_flat_action(step.action);
    if (flat == nullptr) throw InternalError("Found an action that is unknown to the flattener!");
    step.parameters = forward_parameters(step.object, step.parameters);
    step.action = *flat;
    step.object = nullptr;
    step.post_condition = nullptr;
    return step;
  });
}

BasicTransformer::Step Flattener::map_back(const model::Instance& object,
                                           const model::Action& action,
                                           const std::vector<Expression>& parameters) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  const auto& instances = input_problem()->instances();
  const auto old_instance = [&instances](const model::Instance& flat) {
    const auto found = instances.find(flat->name());
    return found == instances.end() ? flat : found->second;
  };
  Expressions old_parameters;
  for (const Expression e : parameters) {
    if (!ef.is_instance_reference(e)) {
      old_parameters.push_back(e);
      continue;
    }
    const model::Instance instance = old_instance(ef.get_instance_from_reference(e));
    old_parameters.push_back(ef.make_instance_reference(instance));
  }
  const model::Instance kept_object = object == nullptr ? nullptr : old_instance(object);

  const auto member = action_map_back_.find(action);
  if (member == action_map_back_.end()) {
    const auto top_level = top_level_actions_back_.find(action);
    const bool is_copy = top_level != top_level_actions_back_.end();
    return {kept_object, is_copy ? top_level->second : action, old_parameters};
  }
  if (old_parameters.empty() || !ef.is_instance_reference(old_parameters.front())) {
    throw InternalError() << "Invalid object parameter for action " << action->name();
  }
  const model::Instance owner = ef.get_instance_from_reference(old_parameters.front());
  old_parameters.erase(old_parameters.begin());
  return {owner, member->second, old_parameters};
}

// A conjunct of a post-condition, `_T_f(o, x) == v`, becomes `o.f(x) == v`.
Expression Flattener::map_conjunct_back(Expression conjunct) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  const Expression renamed = ExpressionSubstituter(environment(), subs_back_)(conjunct);
  if (renamed->arity() != 2 || !ef.is_functional_apply(renamed->child(0))) return renamed;
  const Expression left = renamed->child(0);
  const Expression reference = ef.get_reference_from_functional_apply(left);
  if (!ef.is_fluent_reference(reference)) return renamed;
  const auto found = fluent_map_back_.find(ef.get_fluent_from_reference(reference));
  if (found == fluent_map_back_.end()) return renamed;
  Expression member = ef.make_fluent_reference(found->second);
  if (left->arity() > 1) {
    member =
        ef.make_functional_apply(member, {left->children().begin() + 1, left->children().end()});
  }
  const Expression scoped = ef.make_scoping(left->child(0), member);
  return ef.make_equals(scoped, renamed->child(1));
}

std::shared_ptr<Plan> Flattener::map_back(const std::shared_ptr<Plan>& plan) const {
  return map_plan(plan, "flattener", [this](MappedStep step) -> std::optional<MappedStep> {
    std::tie(step.object, step.action, step.parameters) =
        map_back(step.object, step.action, step.parameters);
    step.post_condition =
        map_post_condition(environment(), step.post_condition,
                           [this](Expression conjunct) { return map_conjunct_back(conjunct); });
    return step;
  });
}

}  // namespace kelvo
