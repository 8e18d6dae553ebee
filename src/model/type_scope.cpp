#include "model/type_scope.h"

#include <ostream>
#include <vector>

#include "model/action.h"
#include "model/constant.h"
#include "model/fluent.h"
#include "model/print_expression.h"
#include "model/types.h"
#include "model/user_type.h"
#include "shell/errors.h"

namespace kelvo::model {

bool TypeScope::TypeNameLess::operator()(const UserType& a, const UserType& b) const {
  return a->name() < b->name();
}

namespace {

void require_free_name(const TypeScope& scope, const std::string& name) {
  if (scope.has_name(name)) {
    throw RedefinitionError() << "Name '" << name << "' already defined in this scope";
  }
}

}  // namespace

void TypeScope::add_action(const Action& a) {
  require_free_name(*this, a->name());
  actions_.emplace(a->name(), a);
}

void TypeScope::add_user_type(const UserType& ut) {
  require_free_name(*this, ut->name());
  user_types_.emplace(ut->name(), ut);
}

void TypeScope::add_fluent(const Fluent& f) {
  require_free_name(*this, f->name());
  fluents_.emplace(f->name(), f);
}

void TypeScope::add_constant(const Constant& c) {
  require_free_name(*this, c->name());
  constants_.emplace(c->name(), c);
}

void TypeScope::add_set_type(const SetType& st) {
  const UserType element = as_user_type(st->type());
  if (!set_types_.emplace(element, st).second) {
    throw RedefinitionError() << "Set type 'set(" << element->name()
                              << ")' already defined in this scope";
  }
}

bool TypeScope::has_name(const std::string& name) const {
  return has_action(name) || has_user_type(name) || has_fluent(name) || has_constant(name);
}

void TypeScope::resolve_action(const Action& a) {
  actions_[a->name()] = a;
}

void TypeScope::resolve_user_type(const UserType& ut) {
  user_types_[ut->name()] = ut;
}

void TypeScope::resolve_fluent(const Fluent& f) {
  fluents_[f->name()] = f;
}

void TypeScope::resolve_constant(const Constant& c) {
  constants_[c->name()] = c;
}

namespace {

// Whether `test` holds for `root` or for a user type nested in it to any depth.
template <typename Test>
bool any_scope(const TypeScope& root, Test test) {
  std::vector<const TypeScope*> todo{&root};
  while (!todo.empty()) {
    const TypeScope& scope = *todo.back();
    todo.pop_back();
    if (test(scope)) return true;
    for (const auto& [name, type] : scope.user_types()) todo.push_back(type.get());
  }
  return false;
}

// Whether `test` holds for the object of some entry of `map`.
template <typename Map, typename Test>
bool any_of_map(const Map& map, Test test) {
  for (const auto& [name, object] : map) {
    if (test(*object)) return true;
  }
  return false;
}

}  // namespace

bool TypeScope::has_temporal_uncertainty() const {
  return any_scope(*this, [](const TypeScope& scope) {
    return any_of_map(scope.actions(),
                      [](const ActionImpl& a) { return a.is_temporally_uncertain(false); });
  });
}

bool TypeScope::has_intermediate_effects() const {
  return any_scope(*this, [](const TypeScope& scope) {
    return any_of_map(scope.actions(),
                      [](const ActionImpl& a) { return a.has_intermediate_effects(); });
  });
}

bool TypeScope::has_sets() const {
  return any_scope(*this, [](const TypeScope& scope) {
    return any_of_map(scope.fluents(), [](const FluentImpl& f) { return f.type()->is_set(); });
  });
}

bool TypeScope::is_ground(bool only_action) const {
  const auto has_parameters = [](const auto& object) { return object.has_parameters(); };
  return !any_scope(*this, [&](const TypeScope& scope) {
    if (any_of_map(scope.actions(), has_parameters)) return true;
    return !only_action && (any_of_map(scope.fluents(), has_parameters) ||
                            any_of_map(scope.constants(), has_parameters));
  });
}

namespace {

template <typename Map>
void print_declarations(std::ostream& os, const char* keyword, const Map& objects) {
  for (const auto& [name, object] : objects) {
    os << keyword << object->type() << ' ' << name;
    if (object->has_parameters()) {
      os << '(';
      print_parameters(os, object->parameters());
      os << ')';
    }
    os << ";\n";
  }
}

// One line: [instance "."] name ["(" arguments ")"] " := " value. An argument that the key leaves
// out prints as "*".
void print_value(std::ostream& os, const std::string& instance, const ConstantImpl& constant,
                 const FunctionValueImpl::Key& key, Expression value) {
  if (!instance.empty()) os << instance << '.';
  os << constant.name();
  if (!key.empty()) {
    os << '(';
    for (std::size_t i = 0; i < constant.arity(); ++i) {
      if (i > 0) os << ", ";
      if (i < key.size()) {
        os << print_expression(key[i]);
      } else {
        os << '*';
      }
    }
    os << ')';
  }
  os << " := " << print_expression(value) << ";\n";
}

}  // namespace

void print_constant_values(std::ostream& os, const TypeScope& scope) {
  for (const auto& [name, constant] : scope.constants()) {
    for (const auto& [instance, value] : constant->all_values()) {
      if (value == nullptr) continue;
      if (constant->has_parameters()) {
        for (const auto& [key, entry] : value->sorted_assignments()) {
          if (!key.empty()) print_value(os, instance, *constant, key, entry);
        }
      }
      if (const Expression entry = value->default_value()) {
        print_value(os, instance, *constant, {}, entry);
      }
    }
  }
}

std::ostream& operator<<(std::ostream& os, const TypeScope& scope) {
  const bool types_or_actions = !scope.user_types().empty() || !scope.actions().empty();
  print_declarations(os, "constant ", scope.constants());
  if (!scope.constants().empty() && (!scope.fluents().empty() || types_or_actions)) os << '\n';
  print_declarations(os, "fluent ", scope.fluents());
  if (!scope.fluents().empty() && types_or_actions) os << '\n';
  for (const auto& [name, type] : scope.user_types()) os << *type << '\n';
  if (!scope.actions().empty()) os << '\n';
  for (const auto& [name, action] : scope.actions()) os << *action << '\n';
  return os;
}

}  // namespace kelvo::model
