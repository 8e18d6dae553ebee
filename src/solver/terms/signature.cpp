#include "solver/terms/signature.h"

#include <cstring>
#include <new>

namespace ordax {

Signature::Signature(TypeUniverse& types, bool allow_bool_function_args)
    : types_(types), allow_bool_function_args_(allow_bool_function_args), memory_(this) {}

const Symbol* Signature::declare(std::string_view name, const Type* type) {
  if (name.empty()) throw error("Empty name for symbol");
  if (name.front() == '`') throw error("Symbols can't start with the \"`\" character");
  if (const Symbol* old = find_or_null(name)) {
    if (old->type == type) return old;
    throw error("A symbol with name `" + std::string(name) +
                "' already exists, with type: " + types_.to_string(old->type));
  }
  if (types_.is_function(type)) {
    const std::vector<const Type*> arguments(type->components.begin() + 1,
                                             type->components.end() - 1);
    check_function_type(arguments, type->components.back());
  } else if (!type->is_simple()) {
    throw error("Higher-order compound types not supported");
  }
  const Symbol* symbol = make_internal(name, type, Kind::USER);
  by_name_.emplace(symbol->name, symbol);
  return symbol;
}

const Symbol* Signature::find(std::string_view name) const {
  const Symbol* symbol = find_or_null(name);
  if (symbol == nullptr) throw error("No symbol with name `" + std::string(name) + "' is present");
  return symbol;
}

const Symbol* Signature::find_or_null(std::string_view name) const {
  const auto place = by_name_.find(name);
  return place == by_name_.end() ? nullptr : place->second;
}

void Signature::check_function_type(const std::vector<const Type*>& arguments,
                                    const Type* result) const {
  if (types_.is_function(result)) throw error("Higher-order functions not supported");
  if (!result->is_simple()) throw error("Higher-order compound types not supported");
  for (const Type* argument : arguments) {
    if (types_.is_function(argument)) throw error("Higher-order functions not supported");
    if (!argument->is_simple()) throw error("Higher-order compound types not supported");
    if (argument == types_.bool_type() && !allow_bool_function_args_) {
      throw error("Functions with Bool arguments not supported");
    }
  }
}

const Symbol* Signature::make_internal(std::string_view name, const Type* type, Kind kind,
                                       const Number* number) {
  char* text = static_cast<char*>(memory_.allocate(name.size() + 1));
  std::memcpy(text, name.data(), name.size());
  text[name.size()] = '\0';
  void* memory = memory_.allocate(sizeof(Symbol));
  return ::new (memory) Symbol{num_symbols_++, static_cast<std::uint32_t>(types_.arity(type)),
                               kind,           std::string_view(text, name.size()),
                               type,           types_.result_type(type),
                               number};
}

}  // namespace ordax
