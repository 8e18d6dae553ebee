#include "solver/terms/type_universe.h"

namespace ordax {

TypeUniverse::TypeUniverse() {
  // Functions are types with the arrow as first component, then the arguments, then the result.
  // Integers are reals.
  arrow_ = add("->", {});
  bool_ = add("Bool", {});
  real_ = add("Real", {});
  int_ = add("Int", {});
  supertype_[int_->id] = real_;
}

// Types are never freed, and compared by address.
const Type* TypeUniverse::add(std::string name, std::vector<const Type*> components) {
  types_.push_back(std::make_unique<Type>(
      Type{static_cast<std::uint32_t>(types_.size()), std::move(name), std::move(components)}));
  supertype_.push_back(nullptr);
  return types_.back().get();
}

// An environment has a handful of types, so a scan is all that is needed.
const Type* TypeUniverse::simple_type(const std::string& name) {
  for (const auto& type : types_) {
    if (type->is_simple() && type->name == name) return type.get();
  }
  return add(name, {});
}

const Type* TypeUniverse::function_type(const std::vector<const Type*>& arguments,
                                        const Type* result) {
  std::vector<const Type*> components;
  components.reserve(arguments.size() + 2);
  components.push_back(arrow_);
  components.insert(components.end(), arguments.begin(), arguments.end());
  components.push_back(result);
  for (const auto& type : types_) {
    if (type->components == components) return type.get();
  }
  return add("", std::move(components));
}

// Tells a type of another environment from one of this.
bool TypeUniverse::owns(const Type* type) const {
  for (const auto& own : types_) {
    if (own.get() == type) return true;
  }
  return false;
}

bool TypeUniverse::is_function(const Type* type) const {
  return !type->is_simple() && type->components.front() == arrow_;
}

std::size_t TypeUniverse::arity(const Type* type) const {
  return is_function(type) ? type->components.size() - 2 : 0;
}

const Type* TypeUniverse::result_type(const Type* type) const {
  return is_function(type) ? type->components.back() : type;
}

const Type* TypeUniverse::argument_type(const Type* type, std::size_t i) const {
  return component(type, i + 1);
}

// By the chain of supertypes; compound types component by component.
bool TypeUniverse::is_subtype(const Type* a, const Type* b) const {
  for (const Type* t = a; t != nullptr; t = supertype_[t->id]) {
    if (t == b) return true;
  }
  if (a->is_simple() || a->components.size() != b->components.size()) return false;
  for (std::size_t i = 0; i < a->components.size(); ++i) {
    if (!is_subtype(a->components[i], b->components[i])) return false;
  }
  return true;
}

// Null if neither is a subtype of the other.
const Type* TypeUniverse::join(const Type* a, const Type* b) const {
  if (is_subtype(a, b)) return b;
  if (is_subtype(b, a)) return a;
  return nullptr;
}

const std::string& TypeUniverse::simple_name(const Type* type) const {
  if (!type->is_simple()) throw error("Not a simple type!");
  return type->name;
}

// Component 0 is the constructor.
const Type* TypeUniverse::component(const Type* type, std::size_t i) const {
  if (type->is_simple()) throw error(to_string(type) + " is a simple type");
  if (i >= type->components.size()) {
    throw error(to_string(type) + " has not enough components");
  }
  return type->components[i];
}

// Components nest only as deep as a caller nests types; higher-order types are refused.
std::string TypeUniverse::to_string(const Type* type) const {
  if (type->is_simple()) return type->name;
  std::string text = "(";
  for (std::size_t i = 0; i < type->components.size(); ++i) {
    if (i > 0) text += ' ';
    text += to_string(type->components[i]);
  }
  return text + ")";
}

}  // namespace ordax
