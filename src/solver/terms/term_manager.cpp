#include "solver/terms/term_manager.h"

#include <new>
#include <string>

#include "solver/terms/term_printer.h"

namespace ordax {
namespace {

// Terms are shared and may print to any length: an error text shows the beginning.
constexpr std::size_t ERROR_TEXT_LENGTH = 200;

std::string missing(const char* feature) {
  return std::string("missing feature: ") + feature;
}

}  // namespace

TermManager::TermManager(bool allow_bool_function_args)
    : signature_(types_, allow_bool_function_args) {
  // Built-in names stand between back quotes, which no user's symbol holds. Sums and products have
  // a symbol for each of the two numeric types, so that the type of a term is that of its head.
  const Type* b = types_.bool_type();
  const Type* r = types_.real_type();
  const Type* i = types_.int_type();
  true_ = table_.get(builtin("`true`", {}, b, Kind::TRUE), nullptr);
  false_ = table_.get(builtin("`false`", {}, b, Kind::FALSE), nullptr);
  and_ = builtin("`and`", {b, b}, b, Kind::AND);
  or_ = builtin("`or`", {b, b}, b, Kind::OR);
  not_ = builtin("`not`", {b}, b, Kind::NOT);
  iff_ = builtin("`iff`", {b, b}, b, Kind::IFF);
  plus_rat_ = builtin("`+_rat`", {r, r}, r, Kind::PLUS);
  plus_int_ = builtin("`+_int`", {i, i}, i, Kind::PLUS);
  times_rat_ = builtin("`*_rat`", {r, r}, r, Kind::TIMES);
  times_int_ = builtin("`*_int`", {i, i}, i, Kind::TIMES);
  divide_ = builtin("`/_rat`", {r, r}, r, Kind::DIVIDE);
  floor_ = builtin("`floor`", {r}, i, Kind::FLOOR);
  leq_rat_ = builtin("`<=_rat`", {r, r}, b, Kind::LEQ);
  leq_int_ = builtin("`<=_int`", {i, i}, b, Kind::LEQ);
  // The negations of the constants exist from the beginning: making them later could fail for want
  // of memory where nothing may fail.
  raw_not(true_);
  raw_not(false_);
}

// Numbers lie in a pool that frees blocks without destructors; only those with digits of their own
// on the heap need theirs.
TermManager::~TermManager() {
  for (Number* number : big_numbers_) number->~Number();
}

const Symbol* TermManager::builtin(const char* name, std::initializer_list<const Type*> args,
                                   const Type* result, Kind kind) {
  const Type* type = args.size() == 0 ? result : types_.function_type(args, result);
  return signature_.make_internal(name, type, kind);
}

// Equalities and if-then-elses have one symbol for each type, made when it is first used.
const Symbol* TermManager::equal_symbol(const Type* type) {
  const Symbol*& symbol = equal_symbols_[type->id];
  if (symbol == nullptr) {
    const std::string name = "`=_" + types_.to_string(type) + "`";
    symbol = builtin(name.c_str(), {type, type}, types_.bool_type(), Kind::EQUAL);
  }
  return symbol;
}

const Symbol* TermManager::ite_symbol(const Type* type) {
  const Symbol*& symbol = ite_symbols_[type->id];
  if (symbol == nullptr) {
    const std::string name = "`ite_" + types_.to_string(type) + "`";
    symbol = builtin(name.c_str(), {types_.bool_type(), type, type}, type, Kind::TERM_ITE);
  }
  return symbol;
}

// All terms come through here: checked, simplified, and looked up in the table of terms, so that
// equal terms are one object. Inside the solver checks are off (`TypeCheckingOff`).
TermRef TermManager::make_term(const Symbol* symbol, const TermRef* args, std::size_t count) {
  if (type_checking_) {
    if (count != symbol->arity) {
      throw error("wrong arity for symbol " + std::string(symbol->name) + ". expected " +
                  std::to_string(symbol->arity) + ", got " + std::to_string(count));
    }
    check_types(symbol, args);
  }
  if (simplifications_ && simplifier_ != nullptr) {
    if (const TermRef simplified = simplifier_->simplify(symbol, args)) return simplified;
  }
  return table_.get(symbol, args);
}

void TermManager::check_types(const Symbol* symbol, const TermRef* args) const {
  for (std::uint32_t i = 0; i < symbol->arity; ++i) {
    const Type* expected = symbol->type->components[i + 1];
    const Type* type = args[i]->type();
    // An integer may stand where a real is expected.
    if (type == expected || types_.is_subtype(type, expected)) continue;
    throw error("type error. term " + print_term(args[i], ERROR_TEXT_LENGTH) + " has type " +
                types_.to_string(type) + ", but " + types_.to_string(expected) +
                " was expected. (" + std::string(symbol->name) + ")");
  }
}

// The type of both arguments of a relation: the larger one if one is a subtype of the other.
const Type* TermManager::join(TermRef a, TermRef b) const {
  if (a->type() == b->type()) return a->type();
  const Type* type = types_.join(a->type(), b->type());
  if (type == nullptr) {
    throw error("unrelated types: " + types_.to_string(a->type()) + " and " +
                types_.to_string(b->type()));
  }
  return type;
}

TermRef TermManager::make_not(TermRef a) {
  return make_term(not_, &a, 1);
}

TermRef TermManager::make_and(TermRef a, TermRef b) {
  return binary(and_, a, b);
}

TermRef TermManager::make_or(TermRef a, TermRef b) {
  return binary(or_, a, b);
}

TermRef TermManager::make_iff(TermRef a, TermRef b) {
  return binary(iff_, a, b);
}

TermRef TermManager::make_equal(TermRef a, TermRef b) {
  const Type* type = join(a, b);
  // Between Booleans there is `iff`, which the search treats by clauses.
  if (type->is_bool()) throw error("Equality arguments can't be Boolean");
  return binary(equal_symbol(type), a, b);
}

TermRef TermManager::make_leq(TermRef a, TermRef b) {
  return binary(leq_symbol(join(a, b)->is_int()), a, b);
}

TermRef TermManager::make_plus(TermRef a, TermRef b) {
  return binary(plus_symbol(join(a, b)->is_int()), a, b);
}

TermRef TermManager::make_times(TermRef a, TermRef b) {
  return binary(times_symbol(join(a, b)->is_int()), a, b);
}

TermRef TermManager::make_divide(TermRef a, TermRef b) {
  return binary(divide_, a, b);
}

TermRef TermManager::make_floor(TermRef a) {
  return make_term(floor_, &a, 1);
}

TermRef TermManager::make_term_ite(TermRef condition, TermRef then_term, TermRef else_term) {
  const Type* type = join(then_term, else_term);
  if (type->is_bool()) throw error("Term-ITE arguments can't be Boolean");
  if (type_checking_ && !condition->type()->is_bool()) {
    check_types(not_, &condition);  // the text of a non-Boolean condition, before a symbol is made
  }
  const TermRef args[] = {condition, then_term, else_term};
  return make_term(ite_symbol(type), args, 3);
}

TermRef TermManager::make_number(const Number& value) {
  // The entry comes first: memory that gives out behind it leaves no second term for the number.
  if (const TermRef term = numerals_[value]; term != nullptr) return term;
  big_numbers_.reserve(big_numbers_.size() < big_numbers_.capacity() ? 0
                                                                     : 2 * big_numbers_.size() + 4);
  auto* number = ::new (number_memory_.allocate(sizeof(Number))) Number(value);
  if (!number->is_small()) big_numbers_.push_back(number);
  const Type* type = value.is_integer() ? types_.int_type() : types_.real_type();
  const Symbol* symbol = signature_.make_internal(value.to_string(), type, Kind::NUMERAL, number);
  const TermRef term = table_.get(symbol, nullptr);
  numerals_[value] = term;
  return term;
}

TermRef TermManager::make_constant(const Symbol* symbol) {
  if (types_.is_function(symbol->type)) {
    throw error("Higher-order variables are not supported");
  }
  if (!symbol->name.empty() && symbol->name[0] >= '0' && symbol->name[0] <= '9') {
    throw error("Variable names can't start with a number");
  }
  return table_.get(symbol, nullptr);
}

TermRef TermManager::make_uninterpreted_function(const Symbol* symbol,
                                                 const std::vector<TermRef>& args) {
  if (symbol->arity == 0 && args.empty()) return make_constant(symbol);
  return make_term(symbol, args.data(), args.size());
}

TermRef TermManager::make_int_modular_congruence(const Number& modulus, TermRef a, TermRef b) {
  if (!modulus.is_integer()) {
    throw error("the modulus of a congruence has to be an integer: " + modulus.to_string());
  }
  if (!a->type()->is_int() || !b->type()->is_int()) {
    throw error("the arguments of a congruence have to be of type Int");
  }
  if (modulus.is_zero()) return make_equal(a, b);
  const TermRef minus_one = make_number(Number(-1));
  const TermRef minus_b = make_times(minus_one, b);
  const TermRef difference = make_plus(a, minus_b);
  const TermRef share = make_number(modulus.inverse());
  const TermRef quotient = make_times(share, difference);
  const TermRef whole = make_floor(quotient);
  const TermRef modulus_term = make_number(modulus);
  const TermRef multiple = make_times(modulus_term, whole);
  return make_equal(difference, multiple);
}

TermRef TermManager::make_pow(TermRef, TermRef) {
  throw error(missing("powers"));
}
TermRef TermManager::make_exp(TermRef) {
  throw error(missing("transcendental functions (exp)"));
}
TermRef TermManager::make_sin(TermRef) {
  throw error(missing("transcendental functions (sin)"));
}
TermRef TermManager::make_log(TermRef) {
  throw error(missing("transcendental functions (log)"));
}
TermRef TermManager::make_asin(TermRef) {
  throw error(missing("transcendental functions (asin)"));
}

TermRef TermManager::make_internal_constant(std::string_view name, const Type* type) {
  return table_.get(signature_.make_internal(name, type, Kind::USER), nullptr);
}

}  // namespace ordax
