#include "model/user_type.h"

#include <algorithm>
#include <ostream>
#include <unordered_set>

namespace kelvo::model {

bool UserTypeImpl::is_structured() const {
  return !actions().empty() || !user_types().empty() || !fluents().empty();
}

void UserTypeImpl::add_base_type(const Type& base) {
  if (std::ranges::find(base_types_, base) == base_types_.end()) base_types_.push_back(base);
}

bool UserTypeImpl::is_derived_from(const Type& base, bool recursive) const {
  std::vector<const UserTypeImpl*> todo{this};
  std::unordered_set<const UserTypeImpl*> seen{this};
  while (!todo.empty()) {
    const UserTypeImpl* type = todo.back();
    todo.pop_back();
    for (const Type& direct : type->base_types_) {
      if (direct == base) return true;
      const auto* next = dynamic_cast<const UserTypeImpl*>(direct.get());
      if (recursive && next != nullptr && seen.insert(next).second) todo.push_back(next);
    }
  }
  return false;
}

void UserTypeImpl::resolve_base_type(const Type& unresolved_base, const Type& new_base) {
  const auto place = std::ranges::find(base_types_, unresolved_base);
  if (std::ranges::find(base_types_, new_base) != base_types_.end()) {
    if (place != base_types_.end() && unresolved_base != new_base) base_types_.erase(place);
  } else if (place != base_types_.end()) {
    *place = new_base;
  } else {
    base_types_.push_back(new_base);
  }
}

void UserTypeImpl::forget_declaration() {
  set_types_.clear();
  user_types_.clear();
  fluents_.clear();
  constants_.clear();
  actions_.clear();
  base_types_.clear();
}

std::ostream& operator<<(std::ostream& os, const UserTypeImpl& type) {
  os << "type " << type.name();
  for (const Type& base : type.base_types()) os << " < " << base;
  if (type.is_structured() || !type.constants().empty()) {
    os << " with {\n" << static_cast<const TypeScope&>(type) << '}';
  }
  os << ';';
  if (!type.constants().empty()) {
    os << '\n';
    print_constant_values(os, type);
  }
  return os;
}

}  // namespace kelvo::model
