#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "solver/base/pool.h"
#include "solver/terms/type_universe.h"

namespace ordax {

class Number;

/// The kind tag of a symbol: selects the simplifier's rule and answers tests on terms.
enum class Kind : std::uint8_t {
  USER = 0,  // constants and uninterpreted functions
  TRUE = 1,
  FALSE = 2,
  AND = 3,
  OR = 4,
  NOT = 5,
  IFF = 6,
  PLUS = 7,
  TIMES = 8,
  DIVIDE = 9,
  FLOOR = 10,
  LEQ = 11,
  EQUAL = 12,
  TERM_ITE = 13,
  PI = 73,
  EXP = 74,
  SIN = 75,
  LOG = 76,
  ASIN = 77,
  POW = 78,
  NUMERAL = 79,
};
constexpr unsigned NUM_KINDS = 80;

/// Name, type and meaning of a term's head; owned by the `Signature`, compared by pointer.
struct Symbol {
  std::uint32_t id;
  std::uint32_t arity;
  Kind kind;
  std::string_view name;  // ends with a zero byte
  const Type* type;       // a function type if `arity` > 0
  const Type* result;     // the type of a term with this head
  const Number* number;   // the value, for a numeral only
};

/// The symbols of one environment. Only symbols made by `declare` are found by name: numerals and
/// internal constants may carry any text and never meet a user's name.
class Signature {
 public:
  class error : public Exception {
   public:
    using Exception::Exception;
  };

  Signature(TypeUniverse& types, bool allow_bool_function_args);
  Signature(const Signature&) = delete;
  Signature& operator=(const Signature&) = delete;

  /// Creates the symbol, or returns the one of that name if it has the same type.
  const Symbol* declare(std::string_view name, const Type* type);
  /// Fails if there is none.
  const Symbol* find(std::string_view name) const;
  /// Null if there is none.
  const Symbol* find_or_null(std::string_view name) const;
  /// Fails unless symbols may have this function type.
  void check_function_type(const std::vector<const Type*>& arguments, const Type* result) const;

  /// A symbol outside the table of names.
  const Symbol* make_internal(std::string_view name, const Type* type, Kind kind,
                              const Number* number = nullptr);

  std::size_t num_symbols() const { return num_symbols_; }
  /// Whether a symbol, of whatever signature, is one of these.
  bool owns(const Symbol* symbol) const { return Arena::owner_of(symbol) == this; }
  const TypeUniverse& types() const { return types_; }

 private:
  TypeUniverse& types_;
  bool allow_bool_function_args_;
  std::uint32_t num_symbols_ = 0;
  Arena memory_;                                                 // symbols and their names
  std::unordered_map<std::string_view, const Symbol*> by_name_;  // keys point into the symbols
};

}  // namespace ordax
