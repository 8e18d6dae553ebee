#pragma once

#include <iosfwd>
#include <map>
#include <string>

#include "model/model_fwd.h"
#include "shell/env_object.h"

namespace kelvo::model {

/// A scope of named things: the base of problems and of user types. Iteration is in name order.
/// The `add_` functions take shared ownership and throw `RedefinitionError` on a name that is
/// taken.
class TypeScope : public virtual EnvObject {
 public:
  /// Orders set types by the name of their element type.
  struct TypeNameLess {
    bool operator()(const UserType& a, const UserType& b) const;
  };
  using SetTypeMap = std::map<UserType, SetType, TypeNameLess>;
  using UserTypeMap = std::map<std::string, UserType>;
  using FluentMap = std::map<std::string, Fluent>;
  using ConstantMap = std::map<std::string, Constant>;
  using ActionMap = std::map<std::string, Action>;

  explicit TypeScope(Environment& env) : EnvObject(env) {}

  virtual void add_action(const Action& a);
  virtual bool has_name(const std::string& name) const;
  void add_user_type(const UserType& ut);
  void add_fluent(const Fluent& f);
  void add_constant(const Constant& c);
  void add_set_type(const SetType& st);

  bool has_action(const std::string& name) const { return actions_.contains(name); }
  bool has_user_type(const std::string& name) const { return user_types_.contains(name); }
  bool has_set_type(const UserType& element) const { return set_types_.contains(element); }
  bool has_fluent(const std::string& name) const { return fluents_.contains(name); }
  bool has_constant(const std::string& name) const { return constants_.contains(name); }

  const ActionMap& actions() const { return actions_; }
  const FluentMap& fluents() const { return fluents_; }
  const ConstantMap& constants() const { return constants_; }
  const UserTypeMap& user_types() const { return user_types_; }
  const SetTypeMap& set_types() const { return set_types_; }

  /// Replace the member of that kind and that name in this scope.
  void resolve_action(const Action& a);
  void resolve_user_type(const UserType& ut);
  void resolve_fluent(const Fluent& f);
  void resolve_constant(const Constant& c);

  /// These four look into nested user types to any depth.
  bool has_temporal_uncertainty() const;
  bool has_intermediate_effects() const;
  bool has_sets() const;
  /// No action has parameters and, unless `only_action`, no fluent and no constant has.
  bool is_ground(bool only_action) const;

 protected:
  SetTypeMap set_types_;
  UserTypeMap user_types_;
  FluentMap fluents_;
  ConstantMap constants_;
  ActionMap actions_;
};

std::ostream& operator<<(std::ostream& os, const TypeScope& scope);

/// One line for each value of each constant of the scope:
/// [instance "."] name ["(" arguments ")"] " := " value ";" newline.
void print_constant_values(std::ostream& os, const TypeScope& scope);

}  // namespace kelvo::model
