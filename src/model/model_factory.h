#pragma once

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "model/action.h"
#include "model/constant.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/problem_instance.h"
#include "model/user_type.h"

namespace kelvo::model {

/// Makes all types and model objects, interned by content: equal objects are one. Objects are
/// owned by those who hold them; the factory's tables hold them weakly, but for types that fluents
/// refer to weakly (numeric types, set types, placeholders), which live as long as the factory.
class ModelFactory : public EnvObject {
 public:
  explicit ModelFactory(Environment& env);
  ~ModelFactory() override;
  ModelFactory(const ModelFactory&) = delete;
  ModelFactory& operator=(const ModelFactory&) = delete;

  Type make_boolean_type() { return boolean_type_; }
  Type make_rational_type() { return rational_type_; }
  Type make_rational_type(const rational& minimum, const rational& maximum);
  Type make_rational_type(const rational& bound, bool lower);
  Type make_integer_type() { return integer_type_; }
  Type make_integer_type(const integer& minimum, const integer& maximum);
  Type make_integer_type(const integer& bound, bool lower);

  UserType make_unresolved_type(const std::string& name);
  /// The root of the user types, "object".
  UserType make_object_type();
  UserType make_user_type(const std::string& name);
  /// The user types of all problems that are alive, nested ones included.
  std::unordered_set<const UserTypeImpl*> user_types_in_use() const;
  SetType make_set_type(const Type& type);

  Parameter make_parameter(const std::string& name, const Type& type);
  /// The parameters get the new object as their owner. Throws `RedefinitionError` when two
  /// parameters have one name.
  Fluent make_fluent(const std::string& name, const Type& type, const Path& path = {},
                     const Parameters& parameters = {});
  Constant make_constant(const std::string& name, const Type& type, const Path& path = {},
                         const Parameters& parameters = {},
                         const ConstantImpl::Values& all_values = {});
  Action make_action(const std::string& name, const Path& path, const Parameters& parameters,
                     const ExpressionSet& expressions);
  Instance make_instance(const std::string& name, const UserType& type);

  /// Throws `RedefinitionError` when a name occurs twice.
  ProblemInstance make_problem_instance(const TypeScope::ActionMap& actions,
                                        const TypeScope::FluentMap& fluents,
                                        const TypeScope::ConstantMap& constants,
                                        const ProblemInstanceImpl::InstanceMap& instances,
                                        const TypeScope::UserTypeMap& user_types,
                                        const ExpressionSet& expressions,
                                        const ProblemInstanceImpl::LabelsOrderings& orderings = {});

  /// For the deleters of the objects.
  void remove_user_type(UserTypeImpl* object);
  void remove_set_type(SetTypeBase* object);
  void remove_fluent(FluentImpl* object);
  void remove_constant(ConstantImpl* object);
  void remove_action(ActionImpl* object);
  void remove_instance(InstanceImpl* object);
  void remove_problem_instance(ProblemInstanceImpl* object);

  /// The number of interned actions that are alive.
  std::size_t num_actions() const { return actions_.size(); }

 private:
  template <typename T>
  struct ContentHash {
    std::size_t operator()(const T* object) const;
  };
  template <typename T>
  struct ContentEquality {
    bool operator()(const T* a, const T* b) const;
  };
  template <typename T>
  using Table = std::unordered_map<T*, std::weak_ptr<T>, ContentHash<T>, ContentEquality<T>>;

  /// Exact numbers are dear to order and cheap to hash.
  struct BoundsHash {
    template <typename Second>
    std::size_t operator()(const std::pair<rational, Second>& bounds) const;
    template <typename Second>
    std::size_t operator()(const std::pair<integer, Second>& bounds) const;
  };
  template <typename First, typename Second>
  using NumericTypes = std::unordered_map<std::pair<First, Second>, Type, BoundsHash>;

  template <typename T>
  std::shared_ptr<T> share(std::unique_ptr<T> fresh, Table<T>& table,
                           void (ModelFactory::*remove)(T*));
  template <typename T>
  std::shared_ptr<T> share_parametric(std::unique_ptr<T> fresh, const Parameters& parameters,
                                      Table<T>& table, void (ModelFactory::*remove)(T*));

  Type boolean_type_;
  Type rational_type_;
  Type integer_type_;
  NumericTypes<rational, rational> bounded_rational_types_;
  NumericTypes<rational, bool> semi_bounded_rational_types_;
  NumericTypes<integer, integer> bounded_integer_types_;
  NumericTypes<integer, bool> semi_bounded_integer_types_;
  std::map<Type, SetType> set_types_;
  std::map<std::string, UserType> unresolved_types_;
  std::map<std::string, SetType> unresolved_set_types_;
  UserType object_type_;

  /// False once the factory is being destroyed: deleters of objects that outlive it ask this
  /// before they reach for a table.
  std::shared_ptr<bool> alive_;
  Table<UserTypeImpl> user_types_;
  Table<FluentImpl> fluents_;
  Table<ConstantImpl> constants_;
  Table<ActionImpl> actions_;
  Table<InstanceImpl> instances_;
  Table<ProblemInstanceImpl> problem_instances_;
};

}  // namespace kelvo::model
