#include "solver/api/ordax.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "solver/api/configuration_setter.h"
#include "solver/api/environment.h"
#include "solver/api/option_parser.h"
#include "solver/terms/term_printer.h"

namespace {

using ordax::Configuration;
using ordax::ConfigurationSetter;
using ordax::Environment;
using ordax::Exception;
using ordax::Number;
using ordax::Symbol;
using ordax::TermManager;
using ordax::TermRef;
using ordax::Type;

/// Calls a function of the caller as a termination test.
class CallbackTermination : public ordax::TerminationTest {
 public:
  CallbackTermination(int (*test)(void*), void* data) : test_(test), data_(data) {}
  bool should_stop() override { return test_(data_) != 0; }

 private:
  int (*test_)(void*);
  void* data_;
};

struct EnvHandle {
  explicit EnvHandle(const Configuration& configuration) : environment(configuration) {}

  // Declared first: the environment refers to it until the end.
  std::unique_ptr<CallbackTermination> termination;
  Environment environment;
  std::string last_error;
};

struct ModelIteratorHandle {
  std::vector<std::pair<TermRef, TermRef>> values;
  std::size_t next = 0;
};

/// A handle passed in is itself the failure value of an earlier call.
class FailedHandle : public Exception {
 public:
  FailedHandle() : Exception("a handle is the failure value of an earlier call") {}
};

// The last text of a failure in this thread that has no environment.
std::string& thread_error() {
  thread_local std::string text;
  return text;
}

EnvHandle* unwrap(ordax_env env) {
  return static_cast<EnvHandle*>(env.repr);
}

void keep_error(EnvHandle* handle, const char* text) {
  (handle == nullptr ? thread_error() : handle->last_error) = text;
}

/// The common shape of the calls: runs the body and turns a failure into the stored text and the
/// failure value. Only an exhausted heap leaves.
template <typename Result, typename Body>
Result guarded(EnvHandle* handle, Result failure, Body&& body) {
  try {
    return body();
  } catch (const FailedHandle& e) {
    // The text of the first failure says more than this one.
    if (handle == nullptr || handle->last_error.empty()) keep_error(handle, e.what());
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& e) {
    keep_error(handle, e.what());
  }
  return failure;
}

/// The same for a call on an environment.
template <typename Result, typename Body>
Result in_env(ordax_env env, Result failure, Body&& body) {
  EnvHandle* handle = unwrap(env);
  if (handle == nullptr) {
    if (thread_error().empty()) keep_error(nullptr, "the environment is a failure value");
    return failure;
  }
  return guarded(handle, failure, [&] { return body(*handle); });
}

TermRef own(EnvHandle& handle, ordax_term term) {
  if (term.repr == nullptr) throw FailedHandle();
  const auto* result = static_cast<TermRef>(term.repr);
  if (!handle.environment.terms().owns(result)) {
    throw TermManager::error("a term of another environment");
  }
  return result;
}

const Symbol* own(EnvHandle& handle, ordax_decl decl) {
  if (decl.repr == nullptr) throw FailedHandle();
  const auto* result = static_cast<const Symbol*>(decl.repr);
  if (!handle.environment.terms().signature().owns(result)) {
    throw TermManager::error("a declaration of another environment");
  }
  return result;
}

const Type* own(EnvHandle& handle, ordax_type type) {
  if (type.repr == nullptr) throw FailedHandle();
  const auto* result = static_cast<const Type*>(type.repr);
  if (!handle.environment.terms().types().owns(result)) {
    throw TermManager::error("a type of another environment");
  }
  return result;
}

const char* text_argument(const char* text) {
  if (text == nullptr) throw Exception("a text is NULL");
  return text;
}

template <typename Handle>
std::vector<TermRef> own_terms(EnvHandle& handle, const Handle* terms, std::size_t count) {
  if (terms == nullptr && count > 0) throw Exception("an array is NULL");
  std::vector<TermRef> result;
  result.reserve(count);
  for (std::size_t i = 0; i < count; ++i) result.push_back(own(handle, terms[i]));
  return result;
}

ordax_term wrap(TermRef term) {
  return {const_cast<ordax::Term*>(term)};
}
ordax_decl wrap(const Symbol* symbol) {
  return {const_cast<Symbol*>(symbol)};
}
ordax_type wrap(const Type* type) {
  return {const_cast<Type*>(type)};
}

constexpr ordax_term NO_TERM = {nullptr};
constexpr ordax_decl NO_DECL = {nullptr};
constexpr ordax_type NO_TYPE = {nullptr};

char* copy_text(const std::string& text) {
  void* memory = std::malloc(text.size() + 1);
  if (memory == nullptr) throw std::bad_alloc();
  std::memcpy(memory, text.c_str(), text.size() + 1);
  return static_cast<char*>(memory);
}

ordax_term* copy_terms(const std::vector<TermRef>& terms, std::size_t* count) {
  if (count == nullptr) throw Exception("a place for the count is NULL");
  void* memory = std::malloc((terms.size() + 1) * sizeof(ordax_term));
  if (memory == nullptr) throw std::bad_alloc();
  auto* result = static_cast<ordax_term*>(memory);
  for (std::size_t i = 0; i < terms.size(); ++i) result[i] = wrap(terms[i]);
  *count = terms.size();
  return result;
}

template <typename Builder>
ordax_term make_unary(ordax_env env, ordax_term a, Builder builder) {
  return in_env(env, NO_TERM, [&](EnvHandle& handle) {
    return wrap((handle.environment.terms().*builder)(own(handle, a)));
  });
}

template <typename Builder>
ordax_term make_binary(ordax_env env, ordax_term a, ordax_term b, Builder builder) {
  return in_env(env, NO_TERM, [&](EnvHandle& handle) {
    const TermRef first = own(handle, a);
    const TermRef second = own(handle, b);
    return wrap((handle.environment.terms().*builder)(first, second));
  });
}

/// The refusals of Boolean arguments are part of a caller's normal course, so they throw nothing.
bool refuse_booleans(ordax_env env, ordax_term a, ordax_term b, const char* text) {
  EnvHandle* handle = unwrap(env);
  if (handle == nullptr || a.repr == nullptr || b.repr == nullptr) return false;
  const TermManager& terms = handle->environment.terms();
  const auto* first = static_cast<TermRef>(a.repr);
  const auto* second = static_cast<TermRef>(b.repr);
  if (!terms.owns(first) || !terms.owns(second)) return false;
  if (!first->type()->is_bool() || !second->type()->is_bool()) return false;
  keep_error(handle, text);
  return true;
}

template <typename Result>
Result missing(ordax_env env, Result failure, const char* feature) {
  return in_env(env, failure, [&](EnvHandle&) -> Result {
    throw Exception(std::string("missing feature: ") + feature);
  });
}

ordax_term missing_term(ordax_env env, const char* feature) {
  return missing(env, NO_TERM, feature);
}

constexpr const char* ARRAYS = "arrays";
constexpr const char* BIT_VECTORS = "bit-vectors";
constexpr const char* FLOATING_POINT = "floating point";
constexpr const char* INTERPOLATION = "interpolation";
constexpr const char* OPTIMIZATION = "optimization";

}  // namespace

// ---------------------------------------------------------------- general

const char* ordax_version(void) {
  return "Ordax5 version 5.0.0";
}

void ordax_free(void* memory) {
  std::free(memory);
}

const char* ordax_last_error_message(ordax_env env) {
  const EnvHandle* handle = unwrap(env);
  return handle == nullptr ? thread_error().c_str() : handle->last_error.c_str();
}

// ---------------------------------------------------------------- configuration

ordax_config ordax_create_config(void) {
  return {new ConfigurationSetter()};
}

ordax_config ordax_parse_config(const char* text) {
  return guarded(nullptr, ordax_config{nullptr}, [&] {
    auto setter = std::make_unique<ConfigurationSetter>();
    setter->parse(text_argument(text));
    return ordax_config{setter.release()};
  });
}

int ordax_set_option(ordax_config config, const char* name, const char* value) {
  return guarded(nullptr, -1, [&] {
    if (config.repr == nullptr) throw Exception("the configuration is a failure value");
    if (name == nullptr || value == nullptr) throw Exception("bad option format: a text is NULL");
    static_cast<ConfigurationSetter*>(config.repr)->set(name, value);
    return 0;
  });
}

char* ordax_option_help(void) {
  return copy_text(ordax::OptionParser::usage());
}

void ordax_destroy_config(ordax_config config) {
  delete static_cast<ConfigurationSetter*>(config.repr);
}

// ---------------------------------------------------------------- environments

ordax_env ordax_create_env(ordax_config config) {
  return guarded(nullptr, ordax_env{nullptr}, [&] {
    if (config.repr == nullptr) throw Exception("the configuration is a failure value");
    Configuration configuration;
    static_cast<const ConfigurationSetter*>(config.repr)->apply(configuration);
    return ordax_env{new EnvHandle(configuration)};
  });
}

void ordax_destroy_env(ordax_env env) {
  delete unwrap(env);
}

int ordax_reset_env(ordax_env env) {
  return in_env(env, -1, [](EnvHandle& handle) {
    handle.environment.reset();
    return 0;
  });
}

int ordax_set_termination_test(ordax_env env, int (*test)(void* data), void* data) {
  return in_env(env, -1, [&](EnvHandle& handle) {
    std::unique_ptr<CallbackTermination> termination;
    if (test != nullptr) termination = std::make_unique<CallbackTermination>(test, data);
    handle.environment.set_termination_test(termination.get());
    handle.termination = std::move(termination);
    return 0;
  });
}

char* ordax_statistics(ordax_env env) {
  return in_env(env, static_cast<char*>(nullptr), [](EnvHandle& handle) {
    std::string text;
    for (const auto& [key, value] : handle.environment.statistics()) {
      text += key + " = " + std::to_string(value) + "\n";
    }
    return copy_text(text);
  });
}

// ---------------------------------------------------------------- types

ordax_type ordax_get_bool_type(ordax_env env) {
  return in_env(env, NO_TYPE, [](EnvHandle& h) { return wrap(h.environment.terms().bool_type()); });
}

ordax_type ordax_get_rational_type(ordax_env env) {
  return in_env(env, NO_TYPE, [](EnvHandle& h) { return wrap(h.environment.terms().real_type()); });
}

ordax_type ordax_get_integer_type(ordax_env env) {
  return in_env(env, NO_TYPE, [](EnvHandle& h) { return wrap(h.environment.terms().int_type()); });
}

ordax_type ordax_get_simple_type(ordax_env env, const char* name) {
  return in_env(env, NO_TYPE, [&](EnvHandle& handle) {
    const std::string text = text_argument(name);
    if (text.empty()) throw Exception("Empty name for type");
    const Type* type = handle.environment.terms().types().simple_type(text);
    return wrap(type);
  });
}

ordax_type ordax_get_function_type(ordax_env env, const ordax_type* arguments, size_t count,
                                   ordax_type result) {
  return in_env(env, NO_TYPE, [&](EnvHandle& handle) {
    if (arguments == nullptr && count > 0) throw Exception("an array is NULL");
    std::vector<const Type*> types;
    for (std::size_t i = 0; i < count; ++i) types.push_back(own(handle, arguments[i]));
    const Type* result_type = own(handle, result);
    if (types.empty()) return wrap(result_type);
    TermManager& terms = handle.environment.terms();
    terms.signature().check_function_type(types, result_type);
    return wrap(terms.types().function_type(types, result_type));
  });
}

ordax_type ordax_get_bv_type(ordax_env env, size_t) {
  return missing(env, NO_TYPE, BIT_VECTORS);
}

ordax_type ordax_get_array_type(ordax_env env, ordax_type, ordax_type) {
  return missing(env, NO_TYPE, ARRAYS);
}

// ---------------------------------------------------------------- declarations and terms

ordax_decl ordax_declare_function(ordax_env env, const char* name, ordax_type type) {
  return in_env(env, NO_DECL, [&](EnvHandle& handle) {
    const Type* symbol_type = own(handle, type);
    return wrap(handle.environment.terms().signature().declare(text_argument(name), symbol_type));
  });
}

ordax_term ordax_make_constant(ordax_env env, ordax_decl decl) {
  return in_env(env, NO_TERM, [&](EnvHandle& handle) {
    return wrap(handle.environment.terms().make_constant(own(handle, decl)));
  });
}

ordax_term ordax_make_function(ordax_env env, ordax_decl decl, const ordax_term* arguments,
                               size_t count) {
  return in_env(env, NO_TERM, [&](EnvHandle& handle) {
    const Symbol* symbol = own(handle, decl);
    return wrap(handle.environment.terms().make_uninterpreted_function(
        symbol, own_terms(handle, arguments, count)));
  });
}

ordax_term ordax_make_true(ordax_env env) {
  return in_env(env, NO_TERM, [](EnvHandle& h) { return wrap(h.environment.terms().make_true()); });
}

ordax_term ordax_make_false(ordax_env env) {
  return in_env(env, NO_TERM,
                [](EnvHandle& h) { return wrap(h.environment.terms().make_false()); });
}

ordax_term ordax_make_not(ordax_env env, ordax_term a) {
  return make_unary(env, a, &TermManager::make_not);
}

ordax_term ordax_make_and(ordax_env env, ordax_term a, ordax_term b) {
  return make_binary(env, a, b, &TermManager::make_and);
}

ordax_term ordax_make_or(ordax_env env, ordax_term a, ordax_term b) {
  return make_binary(env, a, b, &TermManager::make_or);
}

ordax_term ordax_make_iff(ordax_env env, ordax_term a, ordax_term b) {
  return make_binary(env, a, b, &TermManager::make_iff);
}

ordax_term ordax_make_equal(ordax_env env, ordax_term a, ordax_term b) {
  if (refuse_booleans(env, a, b, "Equality arguments can't be Boolean")) return NO_TERM;
  return make_binary(env, a, b, &TermManager::make_equal);
}

ordax_term ordax_make_leq(ordax_env env, ordax_term a, ordax_term b) {
  return make_binary(env, a, b, &TermManager::make_leq);
}

ordax_term ordax_make_plus(ordax_env env, ordax_term a, ordax_term b) {
  return make_binary(env, a, b, &TermManager::make_plus);
}

ordax_term ordax_make_times(ordax_env env, ordax_term a, ordax_term b) {
  return make_binary(env, a, b, &TermManager::make_times);
}

ordax_term ordax_make_divide(ordax_env env, ordax_term a, ordax_term b) {
  return make_binary(env, a, b, &TermManager::make_divide);
}

ordax_term ordax_make_floor(ordax_env env, ordax_term a) {
  return make_unary(env, a, &TermManager::make_floor);
}

ordax_term ordax_make_number(ordax_env env, const char* text) {
  return in_env(env, NO_TERM, [&](EnvHandle& handle) {
    return wrap(handle.environment.terms().make_number(Number::from_str(text_argument(text))));
  });
}

ordax_term ordax_make_term_ite(ordax_env env, ordax_term condition, ordax_term then_term,
                               ordax_term else_term) {
  if (condition.repr != nullptr &&
      refuse_booleans(env, then_term, else_term, "Term-ITE arguments can't be Boolean")) {
    return NO_TERM;
  }
  return in_env(env, NO_TERM, [&](EnvHandle& handle) {
    const TermRef c = own(handle, condition);
    const TermRef t = own(handle, then_term);
    const TermRef e = own(handle, else_term);
    return wrap(handle.environment.terms().make_term_ite(c, t, e));
  });
}

ordax_term ordax_make_int_modular_congruence(ordax_env env, const char* modulus, ordax_term a,
                                             ordax_term b) {
  return in_env(env, NO_TERM, [&](EnvHandle& handle) {
    const Number value = Number::from_str(text_argument(modulus));
    const TermRef first = own(handle, a);
    const TermRef second = own(handle, b);
    return wrap(handle.environment.terms().make_int_modular_congruence(value, first, second));
  });
}

ordax_term ordax_make_pow(ordax_env env, ordax_term a, ordax_term b) {
  return make_binary(env, a, b, &TermManager::make_pow);
}
ordax_term ordax_make_exp(ordax_env env, ordax_term a) {
  return make_unary(env, a, &TermManager::make_exp);
}
ordax_term ordax_make_sin(ordax_env env, ordax_term a) {
  return make_unary(env, a, &TermManager::make_sin);
}
ordax_term ordax_make_log(ordax_env env, ordax_term a) {
  return make_unary(env, a, &TermManager::make_log);
}
ordax_term ordax_make_asin(ordax_env env, ordax_term a) {
  return make_unary(env, a, &TermManager::make_asin);
}

ordax_term ordax_make_array_read(ordax_env env, ordax_term, ordax_term) {
  return missing_term(env, ARRAYS);
}
ordax_term ordax_make_array_write(ordax_env env, ordax_term, ordax_term, ordax_term) {
  return missing_term(env, ARRAYS);
}
ordax_term ordax_make_array_const(ordax_env env, ordax_type, ordax_term) {
  return missing_term(env, ARRAYS);
}
ordax_term ordax_make_bv_number(ordax_env env, const char*, size_t, size_t) {
  return missing_term(env, BIT_VECTORS);
}
ordax_term ordax_make_bv_not(ordax_env env, ordax_term) {
  return missing_term(env, BIT_VECTORS);
}
ordax_term ordax_make_bv_and(ordax_env env, ordax_term, ordax_term) {
  return missing_term(env, BIT_VECTORS);
}
ordax_term ordax_make_bv_or(ordax_env env, ordax_term, ordax_term) {
  return missing_term(env, BIT_VECTORS);
}
ordax_term ordax_make_bv_xor(ordax_env env, ordax_term, ordax_term) {
  return missing_term(env, BIT_VECTORS);
}
ordax_term ordax_make_bv_concat(ordax_env env, ordax_term, ordax_term) {
  return missing_term(env, BIT_VECTORS);
}
ordax_term ordax_make_bv_extract(ordax_env env, size_t, size_t, ordax_term) {
  return missing_term(env, BIT_VECTORS);
}
ordax_term ordax_make_bv_plus(ordax_env env, ordax_term, ordax_term) {
  return missing_term(env, BIT_VECTORS);
}
ordax_term ordax_make_bv_minus(ordax_env env, ordax_term, ordax_term) {
  return missing_term(env, BIT_VECTORS);
}
ordax_term ordax_make_bv_times(ordax_env env, ordax_term, ordax_term) {
  return missing_term(env, BIT_VECTORS);
}
ordax_term ordax_make_bv_uleq(ordax_env env, ordax_term, ordax_term) {
  return missing_term(env, BIT_VECTORS);
}
ordax_term ordax_make_bv_sleq(ordax_env env, ordax_term, ordax_term) {
  return missing_term(env, BIT_VECTORS);
}
ordax_term ordax_make_fp_number(ordax_env env, const char*, size_t, size_t) {
  return missing_term(env, FLOATING_POINT);
}
ordax_term ordax_make_fp_plus(ordax_env env, ordax_term, ordax_term, ordax_term) {
  return missing_term(env, FLOATING_POINT);
}
ordax_term ordax_make_fp_times(ordax_env env, ordax_term, ordax_term, ordax_term) {
  return missing_term(env, FLOATING_POINT);
}
ordax_term ordax_make_fp_leq(ordax_env env, ordax_term, ordax_term) {
  return missing_term(env, FLOATING_POINT);
}

int ordax_term_is_true(ordax_env env, ordax_term term) {
  return in_env(env, -1, [&](EnvHandle& h) { return is_true(own(h, term)) ? 1 : 0; });
}

int ordax_term_is_false(ordax_env env, ordax_term term) {
  return in_env(env, -1, [&](EnvHandle& h) { return is_false(own(h, term)) ? 1 : 0; });
}

int ordax_term_is_number(ordax_env env, ordax_term term) {
  return in_env(env, -1, [&](EnvHandle& h) { return is_number(own(h, term)) ? 1 : 0; });
}

ordax_type ordax_term_get_type(ordax_env env, ordax_term term) {
  return in_env(env, NO_TYPE, [&](EnvHandle& h) { return wrap(own(h, term)->type()); });
}

char* ordax_term_repr(ordax_term term) {
  if (term.repr == nullptr) return nullptr;
  return copy_text(ordax::print_term_as_smtlib(static_cast<TermRef>(term.repr)));
}

size_t ordax_term_id(ordax_term term) {
  return term.repr == nullptr ? 0 : static_cast<TermRef>(term.repr)->id;
}

// ---------------------------------------------------------------- assertions and checks

int ordax_assert_formula(ordax_env env, ordax_term formula) {
  return in_env(env, -1, [&](EnvHandle& handle) {
    handle.environment.assert_formula(own(handle, formula));
    return 0;
  });
}

int ordax_push_backtrack_point(ordax_env env) {
  return in_env(env, -1, [](EnvHandle& handle) {
    handle.environment.push_backtrack_point();
    return 0;
  });
}

int ordax_pop_backtrack_point(ordax_env env) {
  return in_env(env, -1, [](EnvHandle& handle) {
    handle.environment.pop_backtrack_point();
    return 0;
  });
}

namespace {

ordax_result solve_and_tell(EnvHandle& handle, const std::vector<TermRef>& assumptions) {
  const int answer = handle.environment.solve(assumptions);
  if (answer == ORDAX_LIMIT) keep_error(&handle, handle.environment.limit_reached().c_str());
  return answer;
}

}  // namespace

ordax_result ordax_solve(ordax_env env) {
  return in_env(env, ORDAX_UNKNOWN, [](EnvHandle& handle) { return solve_and_tell(handle, {}); });
}

ordax_result ordax_solve_with_assumptions(ordax_env env, const ordax_term* assumptions,
                                          size_t count) {
  return in_env(env, ORDAX_UNKNOWN, [&](EnvHandle& handle) {
    return solve_and_tell(handle, own_terms(handle, assumptions, count));
  });
}

ordax_term* ordax_get_unsat_assumptions(ordax_env env, size_t* count) {
  return in_env(env, static_cast<ordax_term*>(nullptr), [&](EnvHandle& handle) {
    return copy_terms(handle.environment.unsat_assumptions(), count);
  });
}

ordax_term* ordax_get_unsat_core(ordax_env env, size_t* count) {
  return in_env(env, static_cast<ordax_term*>(nullptr), [&](EnvHandle& handle) {
    return copy_terms(handle.environment.unsat_core(), count);
  });
}

int ordax_all_sat(ordax_env env, const ordax_term* important, size_t count,
                  int (*on_model)(const ordax_term* literals, size_t count, void* data),
                  void* data) {
  return in_env(env, -1, [&](EnvHandle& handle) {
    const std::vector<TermRef> terms = own_terms(handle, important, count);
    const auto report = [&](const std::vector<TermRef>& literals) {
      if (on_model == nullptr) return true;
      std::vector<ordax_term> wrapped;
      for (const TermRef literal : literals) wrapped.push_back(wrap(literal));
      return on_model(wrapped.data(), wrapped.size(), data) != 0;
    };
    return handle.environment.all_sat(terms, report);
  });
}

// ---------------------------------------------------------------- models

ordax_term ordax_get_model_value(ordax_env env, ordax_term term) {
  return in_env(env, NO_TERM, [&](EnvHandle& handle) {
    return wrap(handle.environment.get_model_value(own(handle, term)));
  });
}

ordax_model_iterator ordax_create_model_iterator(ordax_env env) {
  return in_env(env, ordax_model_iterator{nullptr}, [](EnvHandle& handle) {
    auto iterator = std::make_unique<ModelIteratorHandle>();
    iterator->values = handle.environment.get_model();
    return ordax_model_iterator{iterator.release()};
  });
}

int ordax_model_iterator_has_next(ordax_model_iterator iterator) {
  const auto* handle = static_cast<const ModelIteratorHandle*>(iterator.repr);
  if (handle == nullptr) return -1;
  return handle->next < handle->values.size() ? 1 : 0;
}

int ordax_model_iterator_next(ordax_model_iterator iterator, ordax_term* term, ordax_term* value) {
  auto* handle = static_cast<ModelIteratorHandle*>(iterator.repr);
  if (handle == nullptr || handle->next >= handle->values.size()) return -1;
  const auto& [constant, its_value] = handle->values[handle->next++];
  if (term != nullptr) *term = wrap(constant);
  if (value != nullptr) *value = wrap(its_value);
  return 0;
}

void ordax_destroy_model_iterator(ordax_model_iterator iterator) {
  delete static_cast<ModelIteratorHandle*>(iterator.repr);
}

// ---------------------------------------------------------------- interpolation and optimization

int ordax_create_itp_group(ordax_env env) {
  return in_env(env, -1, [](EnvHandle&) -> int {
    throw Environment::error("Interpolation not enabled in this environment");
  });
}
int ordax_set_itp_group(ordax_env env, int) {
  return ordax_create_itp_group(env);
}
ordax_term ordax_get_interpolant(ordax_env env, const int*, size_t) {
  return missing_term(env, INTERPOLATION);
}

ordax_env ordax_create_opt_env(ordax_config) {
  return guarded(nullptr, ordax_env{nullptr}, []() -> ordax_env {
    throw Exception(std::string("missing feature: ") + OPTIMIZATION);
  });
}
ordax_objective ordax_make_minimize(ordax_env env, ordax_term) {
  return missing(env, ordax_objective{nullptr}, OPTIMIZATION);
}
ordax_objective ordax_make_maximize(ordax_env env, ordax_term) {
  return missing(env, ordax_objective{nullptr}, OPTIMIZATION);
}
ordax_objective ordax_make_minmax(ordax_env env, const ordax_term*, size_t) {
  return missing(env, ordax_objective{nullptr}, OPTIMIZATION);
}
ordax_objective ordax_make_maxmin(ordax_env env, const ordax_term*, size_t) {
  return missing(env, ordax_objective{nullptr}, OPTIMIZATION);
}
int ordax_assert_objective(ordax_env env, ordax_objective) {
  return missing(env, -1, OPTIMIZATION);
}
void ordax_destroy_objective(ordax_env, ordax_objective) {}
int ordax_assert_soft_formula(ordax_env env, ordax_term, ordax_term, const char*) {
  return missing(env, -1, OPTIMIZATION);
}
int ordax_load_objective_model(ordax_env env, ordax_objective) {
  return missing(env, -1, OPTIMIZATION);
}
