#pragma once

#include <string>
#include <vector>

#include "model/type_scope.h"
#include "model/types.h"

namespace kelvo::model {

/// A user type: a type and, when it is structured, a scope with members of its own. Interned by
/// name for the whole run.
class UserTypeImpl : public TypeScope, public TypeBase {
 public:
  UserTypeImpl(Environment& env, const std::string& name, TypeCode kind = TypeCode::USERDEFINED)
      : EnvObject(env), TypeScope(env), TypeBase(kind), name_(name) {}

  const std::string& name() const { return name_; }
  const std::string& reference_name() const override { return name_; }
  bool is_finite_domain() const override { return true; }

  /// Whether it holds an action, a fluent or a user type; constants do not count.
  bool is_structured() const;
  /// In the order in which they were added, without duplicates.
  const std::vector<Type>& base_types() const { return base_types_; }
  void add_base_type(const Type& base);
  /// A type is not derived from itself. Ends also on a cyclic hierarchy.
  bool is_derived_from(const Type& base, bool recursive = true) const;
  /// Replaces a placeholder among the base types, in its place.
  void resolve_base_type(const Type& unresolved_base, const Type& new_base);
  /// Back to a type without members and base types.
  void forget_declaration();

 private:
  std::string name_;
  std::vector<Type> base_types_;
};

/// "type name ..." as a printed problem has it.
std::ostream& operator<<(std::ostream& os, const UserTypeImpl& type);

/// Stands for a type name that was used before its declaration, while reading only.
class UnresolvedType final : public UserTypeImpl {
 public:
  UnresolvedType(Environment& env, const std::string& name)
      : EnvObject(env),
        UserTypeImpl(env, name, TypeCode::UNRESOLVED),
        ref_name_("unresolved<" + name + ">") {}
  const std::string& reference_name() const override { return ref_name_; }

 private:
  std::string ref_name_;
};

}  // namespace kelvo::model
