#include "parsers/type_resolver.h"

#include "model/model_factory.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo {

using model::Type;

namespace {

const std::string& unresolved_name(const Type& type) {
  return static_cast<const model::UserTypeImpl&>(*type).name();
}

}  // namespace

TypeResolver::TypeResolver(Environment& env) : EnvObject(env) {}

model::ProblemInstance TypeResolver::operator()(const model::ProblemInstance& raw) {
  enter_user_types(*raw);
  resolve_base_types(*raw);
  model::TypeScope::ConstantMap constants;
  for (const auto& [name, constant] : raw->constants()) constants[name] = resolve(constant);
  model::TypeScope::FluentMap fluents;
  for (const auto& [name, fluent] : raw->fluents()) fluents[name] = resolve(fluent);
  model::TypeScope::ActionMap actions;
  for (const auto& [name, action] : raw->actions()) actions[name] = resolve(action);
  model::ProblemInstanceImpl::InstanceMap instances;
  for (const auto& [name, instance] : raw->instances()) instances[name] = resolve(instance);
  for (const auto& [name, type] : raw->user_types()) resolve_members(*type);
  return environment().model_factory().make_problem_instance(
      actions, fluents, constants, instances, raw->user_types(), model::ExpressionSet());
}

void TypeResolver::enter_user_types(const model::TypeScope& scope) {
  for (const auto& [name, type] : scope.user_types()) types_.enter(name, type);
  types_.enter("object", environment().model_factory().make_object_type());
}

void TypeResolver::resolve_base_types(const model::TypeScope& scope) const {
  for (const auto& [name, type] : scope.user_types()) {
    const std::vector<Type> bases = type->base_types();
    for (const Type& base : bases) {
      if (!base->is_unresolved()) continue;
      const std::string& base_name = unresolved_name(base);
      const Type* found = types_.find(base_name);
      if (found == nullptr) {
        throw UnresolvedSymbolError(base_name) << ": unknown type used in inheritance statement";
      }
      type->resolve_base_type(base, *found);
    }
  }
}

// Recurses over nested user types, whose depth the reader limits.
void TypeResolver::resolve_members(model::UserTypeImpl& type) {
  path_.push_back(type.name());
  const auto scope = types_.open();
  enter_user_types(type);
  resolve_base_types(type);
  // Each map is changed at the entry that is visited only.
  for (const auto& [name, constant] : type.constants()) {
    if (constant->path().empty()) type.resolve_constant(resolve(constant));
  }
  for (const auto& [name, fluent] : type.fluents()) {
    if (fluent->path().empty()) type.resolve_fluent(resolve(fluent));
  }
  for (const auto& [name, action] : type.actions()) {
    if (action->path().empty()) type.resolve_action(resolve(action));
  }
  for (const auto& [name, nested] : type.user_types()) resolve_members(*nested);
  types_.leave(scope);
  path_.pop_back();
}

// Recurses over sets of sets, whose depth the reader limits.
Type TypeResolver::resolve(const Type& type) const {
  if (type->is_unresolved()) {
    const std::string& name = unresolved_name(type);
    if (const Type* found = types_.find(name)) return *found;
    throw UnresolvedSymbolError(name) << ": type unknown";
  }
  if (type->is_set()) {
    const Type element = resolve(model::as_set_type(type).type());
    return environment().model_factory().make_set_type(element);
  }
  return type;
}

model::Parameters TypeResolver::resolve(const model::Parameters& parameters) const {
  model::Parameters resolved;
  resolved.reserve(parameters.size());
  for (const model::Parameter& p : parameters) {
    const Type type = resolve(p->type());
    resolved.push_back(environment().model_factory().make_parameter(p->name(), type));
  }
  return resolved;
}

model::Constant TypeResolver::resolve(const model::Constant& constant) const {
  const Type type = resolve(constant->type());
  return environment().model_factory().make_constant(constant->name(), type, path_,
                                                     resolve(constant->parameters()));
}

model::Fluent TypeResolver::resolve(const model::Fluent& fluent) const {
  const Type type = resolve(fluent->type());
  return environment().model_factory().make_fluent(fluent->name(), type, path_,
                                                   resolve(fluent->parameters()));
}

model::Action TypeResolver::resolve(const model::Action& action) const {
  return environment().model_factory().make_action(
      action->name(), path_, resolve(action->parameters()), action->expressions());
}

model::Instance TypeResolver::resolve(const model::Instance& instance) const {
  const Type type = resolve(Type(instance->type()));
  return environment().model_factory().make_instance(instance->name(), model::as_user_type(type));
}

}  // namespace kelvo
