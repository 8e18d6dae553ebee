#pragma once

#include <string>
#include <utility>
#include <vector>

#include "solver/api/ordax.h"

namespace ordax_testing {

using Options = std::vector<std::pair<std::string, std::string>>;

/// An environment with model generation and some options, released at the end of the scope.
class Session {
 public:
  explicit Session(const Options& options = {}, bool with_model = true) {
    const ordax_config config = ordax_create_config();
    if (with_model) ordax_set_option(config, "model_generation", "true");
    for (const auto& [name, value] : options) {
      if (ordax_set_option(config, name.c_str(), value.c_str()) != 0) {
        error_ = ordax_last_error_message({nullptr});
      }
    }
    env_ = ordax_create_env(config);
    if (ORDAX_FAILED(env_)) error_ = ordax_last_error_message({nullptr});
    ordax_destroy_config(config);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() { ordax_destroy_env(env_); }

  ordax_env env() const { return env_; }
  operator ordax_env() const { return env_; }  // NOLINT: stands for its handle in calls
  /// The text of a failed creation.
  const std::string& error() const { return error_; }
  std::string last_error() const { return ordax_last_error_message(env_); }

  ordax_term boolean(const char* name) { return constant(name, ordax_get_bool_type(env_)); }
  ordax_term real(const char* name) { return constant(name, ordax_get_rational_type(env_)); }
  ordax_term integer(const char* name) { return constant(name, ordax_get_integer_type(env_)); }
  ordax_term number(const char* text) { return ordax_make_number(env_, text); }
  ordax_term leq(ordax_term a, ordax_term b) { return ordax_make_leq(env_, a, b); }
  ordax_term less(ordax_term a, ordax_term b) { return negation(leq(b, a)); }
  ordax_term equal(ordax_term a, ordax_term b) { return ordax_make_equal(env_, a, b); }
  ordax_term plus(ordax_term a, ordax_term b) { return ordax_make_plus(env_, a, b); }
  ordax_term times(ordax_term a, ordax_term b) { return ordax_make_times(env_, a, b); }
  ordax_term both(ordax_term a, ordax_term b) { return ordax_make_and(env_, a, b); }
  ordax_term either(ordax_term a, ordax_term b) { return ordax_make_or(env_, a, b); }
  ordax_term iff(ordax_term a, ordax_term b) { return ordax_make_iff(env_, a, b); }
  ordax_term negation(ordax_term a) { return ordax_make_not(env_, a); }
  int add(ordax_term formula) { return ordax_assert_formula(env_, formula); }
  int solve() { return ordax_solve(env_); }
  int solve(const std::vector<ordax_term>& assumptions) {
    return ordax_solve_with_assumptions(env_, assumptions.data(), assumptions.size());
  }

  /// The text of a term's value, or "error: " and the text of the failure.
  std::string value(ordax_term term) { return text(ordax_get_model_value(env_, term)); }
  std::string text(ordax_term term) const {
    if (ORDAX_FAILED(term)) return "error: " + last_error();
    char* repr = ordax_term_repr(term);
    const std::string result = repr;
    ordax_free(repr);
    return result;
  }

 private:
  ordax_term constant(const char* name, ordax_type type) {
    const ordax_decl decl = ordax_declare_function(env_, name, type);
    return ordax_make_constant(env_, decl);
  }

  ordax_env env_;
  std::string error_;
};

}  // namespace ordax_testing
