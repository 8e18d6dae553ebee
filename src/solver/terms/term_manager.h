#pragma once

#include <initializer_list>
#include <string_view>
#include <vector>

#include "solver/base/exception.h"
#include "solver/base/hash_table.h"
#include "solver/terms/linear_form.h"
#include "solver/terms/number.h"
#include "solver/terms/signature.h"
#include "solver/terms/term.h"
#include "solver/terms/term_simplifier.h"
#include "solver/terms/term_table.h"

namespace ordax {

/// Owns the types, symbols and terms of one environment; every term is made here. A failed call
/// leaves the tables as they were.
class TermManager {
 public:
  class error : public Exception {
   public:
    using Exception::Exception;
  };

  explicit TermManager(bool allow_bool_function_args = false);
  TermManager(const TermManager&) = delete;
  TermManager& operator=(const TermManager&) = delete;
  virtual ~TermManager();

  TypeUniverse& types() { return types_; }
  const TypeUniverse& types() const { return types_; }
  Signature& signature() { return signature_; }
  const Signature& signature() const { return signature_; }
  const Type* bool_type() const { return types_.bool_type(); }
  const Type* real_type() const { return types_.real_type(); }
  const Type* int_type() const { return types_.int_type(); }

  /// The simplifier is borrowed; null builds terms as they are written.
  void set_simplifier(TermSimplifier* simplifier) { simplifier_ = simplifier; }
  TermSimplifier* simplifier() const { return simplifier_; }
  bool type_checking() const { return type_checking_; }
  void set_type_checking(bool on) { type_checking_ = on; }
  bool simplifications() const { return simplifications_; }
  void set_simplifications(bool on) { simplifications_ = on; }

  TermRef make_true() const { return true_; }
  TermRef make_false() const { return false_; }
  TermRef make_bool(bool value) const { return value ? true_ : false_; }
  TermRef make_not(TermRef a);
  TermRef make_and(TermRef a, TermRef b);
  TermRef make_or(TermRef a, TermRef b);
  TermRef make_iff(TermRef a, TermRef b);
  /// Fails for Boolean arguments.
  TermRef make_equal(TermRef a, TermRef b);
  TermRef make_leq(TermRef a, TermRef b);
  TermRef make_plus(TermRef a, TermRef b);
  TermRef make_times(TermRef a, TermRef b);
  TermRef make_divide(TermRef a, TermRef b);
  TermRef make_floor(TermRef a);
  /// Fails for Boolean branches.
  TermRef make_term_ite(TermRef condition, TermRef then_term, TermRef else_term);
  TermRef make_number(const Number& value);
  TermRef make_constant(const Symbol* symbol);
  TermRef make_uninterpreted_function(const Symbol* symbol, const std::vector<TermRef>& args);
  /// a - b is a multiple of the integer `modulus`, told through `floor` so that it can be negated.
  TermRef make_int_modular_congruence(const Number& modulus, TermRef a, TermRef b);

  /// Families without a theory behind them: these fail with the name of what is missing.
  TermRef make_pow(TermRef a, TermRef b);
  TermRef make_exp(TermRef a);
  TermRef make_sin(TermRef a);
  TermRef make_log(TermRef a);
  TermRef make_asin(TermRef a);

  /// The operation through which all others pass: type check, simplifier, term table.
  virtual TermRef make_term(const Symbol* symbol, const TermRef* args, std::size_t count);

  /// A constant outside the user's names, as the encoder and the model store make them.
  TermRef make_internal_constant(std::string_view name, const Type* type);

  /// Looks a term up as it is written, or makes it: for the rules of simplifiers, which have
  /// normalised the arguments themselves.
  TermRef raw(const Symbol* symbol, const TermRef* args) { return table_.get(symbol, args); }
  TermRef raw_not(TermRef a) { return table_.get(not_, &a); }
  TermRef raw_binary(const Symbol* symbol, TermRef a, TermRef b) {
    const TermRef args[] = {a, b};
    return table_.get(symbol, args);
  }

  const Symbol* and_symbol() const { return and_; }
  const Symbol* or_symbol() const { return or_; }
  const Symbol* not_symbol() const { return not_; }
  const Symbol* iff_symbol() const { return iff_; }
  const Symbol* plus_symbol(bool integer) const { return integer ? plus_int_ : plus_rat_; }
  const Symbol* times_symbol(bool integer) const { return integer ? times_int_ : times_rat_; }
  const Symbol* leq_symbol(bool integer) const { return integer ? leq_int_ : leq_rat_; }
  const Symbol* divide_symbol() const { return divide_; }
  const Symbol* floor_symbol() const { return floor_; }
  const Symbol* equal_symbol(const Type* type);
  const Symbol* ite_symbol(const Type* type);

  std::uint64_t num_terms() const { return table_.num_terms(); }
  bool owns(TermRef term) const { return table_.owns(term); }

 private:
  const Type* join(TermRef a, TermRef b) const;
  void check_types(const Symbol* symbol, const TermRef* args) const;
  TermRef binary(const Symbol* symbol, TermRef a, TermRef b) {
    const TermRef args[] = {a, b};
    return make_term(symbol, args, 2);
  }
  const Symbol* builtin(const char* name, std::initializer_list<const Type*> args,
                        const Type* result, Kind kind);

  TypeUniverse types_;
  Signature signature_;
  TermTable table_;
  TermSimplifier* simplifier_ = nullptr;
  bool type_checking_ = true;
  bool simplifications_ = true;
  Arena number_memory_;
  std::vector<Number*> big_numbers_;  // numerals whose value owns memory
  HashMap<Number, TermRef> numerals_;
  HashMap<std::uint32_t, const Symbol*> equal_symbols_;  // by id of the type
  HashMap<std::uint32_t, const Symbol*> ite_symbols_;

  const Symbol* and_;
  const Symbol* or_;
  const Symbol* not_;
  const Symbol* iff_;
  const Symbol* plus_rat_;
  const Symbol* plus_int_;
  const Symbol* times_rat_;
  const Symbol* times_int_;
  const Symbol* divide_;
  const Symbol* floor_;
  const Symbol* leq_rat_;
  const Symbol* leq_int_;
  TermRef true_;
  TermRef false_;
};

}  // namespace ordax
