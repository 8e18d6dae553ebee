#include "model/model_factory.h"

#include <algorithm>
#include <functional>

#include "shell/environment.h"
#include "shell/hashing.h"

namespace kelvo::model {

// Hashes and equalities by content. They read only what does not change once an object is
// interned.

namespace {

template <typename T>
std::size_t hash_of_named(const T& object) {
  std::size_t h = std::hash<std::string>()(object.name());
  for (const std::string& scope : object.path()) hash_combine(h, scope);
  for (const Parameter& p : object.parameters()) hash_combine(h, p->name());
  return h;
}

template <typename T>
bool equal_named(const T& a, const T& b) {
  return a.name() == b.name() && a.path() == b.path() && a.parameters() == b.parameters();
}

bool equal_values(const ConstantImpl::Values& a, const ConstantImpl::Values& b) {
  return std::ranges::equal(a, b, [](const auto& x, const auto& y) {
    if (x.first != y.first) return false;
    if (x.second == y.second) return true;
    if (x.second == nullptr || y.second == nullptr) return false;
    return x.second->assignments() == y.second->assignments();
  });
}

std::size_t hash_of_content(const FluentImpl& f) {
  return hash_of_named(f);
}

bool equal_content(const FluentImpl& a, const FluentImpl& b) {
  return equal_named(a, b) && a.type() == b.type();
}

std::size_t hash_of_content(const ConstantImpl& c) {
  return hash_of_named(c);
}

bool equal_content(const ConstantImpl& a, const ConstantImpl& b) {
  return equal_named(a, b) && a.type() == b.type() && equal_values(a.all_values(), b.all_values());
}

std::size_t hash_of_content(const ActionImpl& a) {
  std::size_t h = hash_of_named(a);
  for (const Expression e : a.expressions()) hash_combine(h, e->id());
  return h;
}

bool equal_content(const ActionImpl& a, const ActionImpl& b) {
  return equal_named(a, b) && a.expressions() == b.expressions();
}

std::size_t hash_of_content(const InstanceImpl& i) {
  return std::hash<std::string>()(i.name());
}

bool equal_content(const InstanceImpl& a, const InstanceImpl& b) {
  return a.name() == b.name() && a.type() == b.type();
}

std::size_t hash_of_content(const UserTypeImpl& t) {
  return std::hash<std::string>()(t.name());
}

bool equal_content(const UserTypeImpl& a, const UserTypeImpl& b) {
  return a.name() == b.name();
}

std::size_t hash_of_content(const ProblemInstanceImpl& p) {
  std::size_t h = 0;
  const auto add_names = [&h](const auto& objects) {
    for (const auto& [name, object] : objects) hash_combine(h, name);
  };
  add_names(p.instances());
  add_names(p.fluents());
  add_names(p.constants());
  add_names(p.user_types());
  add_names(p.actions());
  for (const Expression e : p.expressions()) hash_combine(h, e->id());
  return h;
}

bool equal_content(const ProblemInstanceImpl& a, const ProblemInstanceImpl& b) {
  return a.instances() == b.instances() && a.fluents() == b.fluents() &&
         a.constants() == b.constants() && a.user_types() == b.user_types() &&
         a.actions() == b.actions() && a.expressions() == b.expressions() &&
         a.labels_orderings() == b.labels_orderings();
}

}  // namespace

template <typename T>
std::size_t ModelFactory::ContentHash<T>::operator()(const T* object) const {
  return hash_of_content(*object);
}

template <typename T>
bool ModelFactory::ContentEquality<T>::operator()(const T* a, const T* b) const {
  return a == b || equal_content(*a, *b);
}

namespace {

std::size_t hash_of_number(bool b) {
  return b ? 1 : 0;
}

std::size_t hash_of_number(const integer& n) {
  return std::hash<integer>()(n);
}

std::size_t hash_of_number(const rational& r) {
  std::size_t h = hash_of_number(numerator(r));
  hash_combine(h, hash_of_number(denominator(r)));
  return h;
}

template <typename First, typename Second>
std::size_t hash_of_bounds(const std::pair<First, Second>& bounds) {
  std::size_t h = hash_of_number(bounds.first);
  hash_combine(h, hash_of_number(bounds.second));
  return h;
}

}  // namespace

template <typename Second>
std::size_t ModelFactory::BoundsHash::operator()(const std::pair<rational, Second>& bounds) const {
  return hash_of_bounds(bounds);
}

template <typename Second>
std::size_t ModelFactory::BoundsHash::operator()(const std::pair<integer, Second>& bounds) const {
  return hash_of_bounds(bounds);
}

ModelFactory::ModelFactory(Environment& env)
    : EnvObject(env),
      boolean_type_(std::make_shared<BooleanTypeBase>()),
      rational_type_(std::make_shared<RationalTypeBase>()),
      integer_type_(std::make_shared<IntegerTypeBase>()),
      alive_(std::make_shared<bool>(true)) {}

ModelFactory::~ModelFactory() {
  *alive_ = false;
  // A type that is nested in its own base, or derived from itself, would own itself.
  std::vector<UserType> types;
  for (const auto& [object, type] : user_types_) types.push_back(type.lock());
  for (const UserType& type : types) {
    const std::vector<Type> bases = type->base_types();
    for (const Type& base : bases) type->resolve_base_type(base, boolean_type_);
  }
}

namespace {

// The object of `key` in `table`; made by `make` when it is missing.
template <typename Map, typename Key, typename Make>
const auto& intern(Map& table, const Key& key, Make make) {
  auto& place = table[key];
  if (place == nullptr) place = make();
  return place;
}

}  // namespace

Type ModelFactory::make_rational_type(const rational& minimum, const rational& maximum) {
  return intern(bounded_rational_types_, std::make_pair(minimum, maximum),
                [&] { return std::make_shared<RationalTypeBase>(minimum, maximum); });
}

Type ModelFactory::make_rational_type(const rational& bound, bool lower) {
  return intern(semi_bounded_rational_types_, std::make_pair(bound, lower),
                [&] { return std::make_shared<RationalTypeBase>(bound, lower); });
}

Type ModelFactory::make_integer_type(const integer& minimum, const integer& maximum) {
  return intern(bounded_integer_types_, std::make_pair(minimum, maximum),
                [&] { return std::make_shared<IntegerTypeBase>(minimum, maximum); });
}

Type ModelFactory::make_integer_type(const integer& bound, bool lower) {
  return intern(semi_bounded_integer_types_, std::make_pair(bound, lower),
                [&] { return std::make_shared<IntegerTypeBase>(bound, lower); });
}

UserType ModelFactory::make_unresolved_type(const std::string& name) {
  return intern(unresolved_types_, name,
                [&] { return std::make_shared<UnresolvedType>(environment(), name); });
}

UserType ModelFactory::make_object_type() {
  if (object_type_ == nullptr) object_type_ = make_user_type("object");
  return object_type_;
}

SetType ModelFactory::make_set_type(const Type& type) {
  const auto make = [&] { return std::make_shared<SetTypeBase>(type); };
  if (type->is_unresolved()) {
    return intern(unresolved_set_types_, as_user_type(type)->name(), make);
  }
  return intern(set_types_, type, make);
}

// The one way into the tables: `fresh` becomes shared, unless an equal object is there already.
template <typename T>
std::shared_ptr<T> ModelFactory::share(std::unique_ptr<T> fresh, Table<T>& table,
                                       void (ModelFactory::*remove)(T*)) {
  const auto [entry, is_new] = table.try_emplace(fresh.get());
  if (!is_new) return entry->second.lock();
  const auto destroy = [this, alive = alive_, remove](T* object) {
    if (*alive) (this->*remove)(object);
    delete object;
  };
  std::shared_ptr<T> shared(fresh.release(), destroy);
  entry->second = shared;
  return shared;
}

template <typename T>
std::shared_ptr<T> ModelFactory::share_parametric(std::unique_ptr<T> fresh,
                                                  const Parameters& parameters, Table<T>& table,
                                                  void (ModelFactory::*remove)(T*)) {
  for (const Parameter& p : parameters) fresh->add_parameter(p);
  std::shared_ptr<T> shared = share(std::move(fresh), table, remove);
  for (const Parameter& p : parameters) p->owner_ = shared;
  return shared;
}

UserType ModelFactory::make_user_type(const std::string& name) {
  return share(std::make_unique<UserTypeImpl>(environment(), name), user_types_,
               &ModelFactory::remove_user_type);
}

std::unordered_set<const UserTypeImpl*> ModelFactory::user_types_in_use() const {
  std::vector<const TypeScope*> todo;
  for (const auto& [object, problem] : problem_instances_) todo.push_back(object);
  std::unordered_set<const UserTypeImpl*> types;
  while (!todo.empty()) {
    const TypeScope* scope = todo.back();
    todo.pop_back();
    for (const auto& [name, type] : scope->user_types()) {
      if (types.insert(type.get()).second) todo.push_back(type.get());
    }
  }
  return types;
}

Parameter ModelFactory::make_parameter(const std::string& name, const Type& type) {
  return std::make_shared<ParameterImpl>(name, type);
}

Fluent ModelFactory::make_fluent(const std::string& name, const Type& type, const Path& path,
                                 const Parameters& parameters) {
  return share_parametric(std::unique_ptr<FluentImpl>(new FluentImpl(name, type, path)), parameters,
                          fluents_, &ModelFactory::remove_fluent);
}

Constant ModelFactory::make_constant(const std::string& name, const Type& type, const Path& path,
                                     const Parameters& parameters,
                                     const ConstantImpl::Values& all_values) {
  return share_parametric(
      std::unique_ptr<ConstantImpl>(new ConstantImpl(name, type, path, all_values)), parameters,
      constants_, &ModelFactory::remove_constant);
}

Action ModelFactory::make_action(const std::string& name, const Path& path,
                                 const Parameters& parameters, const ExpressionSet& expressions) {
  std::unique_ptr<ActionImpl> fresh(new ActionImpl(environment(), name, path));
  fresh->expressions_ = expressions;
  return share_parametric(std::move(fresh), parameters, actions_, &ModelFactory::remove_action);
}

Instance ModelFactory::make_instance(const std::string& name, const UserType& type) {
  return share(std::unique_ptr<InstanceImpl>(new InstanceImpl(name, type)), instances_,
               &ModelFactory::remove_instance);
}

ProblemInstance ModelFactory::make_problem_instance(
    const TypeScope::ActionMap& actions, const TypeScope::FluentMap& fluents,
    const TypeScope::ConstantMap& constants, const ProblemInstanceImpl::InstanceMap& instances,
    const TypeScope::UserTypeMap& user_types, const ExpressionSet& expressions,
    const ProblemInstanceImpl::LabelsOrderings& orderings) {
  auto fresh = std::make_unique<ProblemInstanceImpl>(environment());
  for (const auto& [name, type] : user_types) fresh->add_user_type(type);
  for (const auto& [name, instance] : instances) fresh->add_instance(instance);
  for (const auto& [name, constant] : constants) fresh->add_constant(constant);
  for (const auto& [name, fluent] : fluents) fresh->add_fluent(fluent);
  for (const auto& [name, action] : actions) fresh->add_action(action);
  for (const Expression e : expressions) fresh->add_expression(e);
  for (const auto& [first, second] : orderings) fresh->add_labels_ordering(first, second);
  return share(std::move(fresh), problem_instances_, &ModelFactory::remove_problem_instance);
}

void ModelFactory::remove_user_type(UserTypeImpl* object) {
  user_types_.erase(object);
}

void ModelFactory::remove_set_type(SetTypeBase* object) {
  std::erase_if(set_types_, [object](const auto& entry) { return entry.second.get() == object; });
}

void ModelFactory::remove_fluent(FluentImpl* object) {
  fluents_.erase(object);
}

void ModelFactory::remove_constant(ConstantImpl* object) {
  constants_.erase(object);
}

void ModelFactory::remove_action(ActionImpl* object) {
  actions_.erase(object);
}

void ModelFactory::remove_instance(InstanceImpl* object) {
  instances_.erase(object);
}

void ModelFactory::remove_problem_instance(ProblemInstanceImpl* object) {
  problem_instances_.erase(object);
}

}  // namespace kelvo::model
