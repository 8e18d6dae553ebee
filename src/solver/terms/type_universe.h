#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "solver/base/exception.h"
#include "solver/base/hash_table.h"

namespace ordax {

/// A type of terms, owned by its `TypeUniverse` and compared by pointer. A simple type has a name,
/// a compound one a list of component types.
struct Type {
  std::uint32_t id;
  std::string name;                     // empty for a compound type
  std::vector<const Type*> components;  // empty for a simple type

  static constexpr std::uint32_t BOOL_ID = 1;
  static constexpr std::uint32_t REAL_ID = 2;
  static constexpr std::uint32_t INT_ID = 3;

  bool is_simple() const { return components.empty(); }
  bool is_bool() const { return id == BOOL_ID; }
  bool is_int() const { return id == INT_ID; }
  bool is_arithmetic() const { return id == REAL_ID || id == INT_ID; }
  std::uint64_t hash() const { return id; }
};

/// Owns the types of one environment.
class TypeUniverse {
 public:
  class error : public Exception {
   public:
    using Exception::Exception;
  };

  TypeUniverse();
  TypeUniverse(const TypeUniverse&) = delete;
  TypeUniverse& operator=(const TypeUniverse&) = delete;

  const Type* bool_type() const { return bool_; }
  const Type* real_type() const { return real_; }
  const Type* int_type() const { return int_; }

  /// The simple type of that name, made on first use.
  const Type* simple_type(const std::string& name);
  /// The type of functions from `arguments` to `result`.
  const Type* function_type(const std::vector<const Type*>& arguments, const Type* result);

  /// Whether a pointer is one of these types.
  bool owns(const Type* type) const;
  bool is_function(const Type* type) const;
  /// Number of arguments of a function type, 0 for any other type.
  std::size_t arity(const Type* type) const;
  /// The last component of a function type; any other type is its own result.
  const Type* result_type(const Type* type) const;
  /// Argument `i` of a function type.
  const Type* argument_type(const Type* type, std::size_t i) const;

  bool is_subtype(const Type* a, const Type* b) const;
  /// The larger of two types of which one is a subtype of the other, else null.
  const Type* join(const Type* a, const Type* b) const;

  /// Fails for a compound type.
  const std::string& simple_name(const Type* type) const;
  /// Fails for a simple type or an index past the end.
  const Type* component(const Type* type, std::size_t i) const;
  std::string to_string(const Type* type) const;

 private:
  const Type* add(std::string name, std::vector<const Type*> components);

  std::vector<std::unique_ptr<Type>> types_;
  std::vector<const Type*> supertype_;  // by id of the type, null for none
  const Type* arrow_;
  const Type* bool_;
  const Type* real_;
  const Type* int_;
};

}  // namespace ordax
