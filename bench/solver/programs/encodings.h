#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "solver/api/ordax.h"

namespace ordax_bench {

/// One formula in its own environment.
class Instance {
 public:
  using Options = std::vector<std::pair<std::string, std::string>>;

  explicit Instance(const Options& options = {{"model_generation", "true"}}) {
    const ordax_config config = ordax_create_config();
    for (const auto& [name, value] : options) {
      ordax_set_option(config, name.c_str(), value.c_str());
    }
    env_ = ordax_create_env(config);
    ordax_destroy_config(config);
  }
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;
  ~Instance() { ordax_destroy_env(env_); }

  ordax_env env() const { return env_; }
  /// The calls that made terms so far.
  std::size_t num_calls() const { return num_calls_; }

  ordax_term variable(const std::string& name, ordax_type type) const {
    return count(ordax_make_constant(env_, ordax_declare_function(env_, name.c_str(), type)));
  }
  ordax_term boolean(const std::string& name) const {
    return variable(name, ordax_get_bool_type(env_));
  }
  ordax_term real(const std::string& name) const {
    return variable(name, ordax_get_rational_type(env_));
  }
  ordax_term integer(const std::string& name) const {
    return variable(name, ordax_get_integer_type(env_));
  }
  ordax_term num(int value) const {
    return count(ordax_make_number(env_, std::to_string(value).c_str()));
  }
  ordax_term leq(ordax_term a, ordax_term b) const { return count(ordax_make_leq(env_, a, b)); }
  ordax_term less(ordax_term a, ordax_term b) const { return no(leq(b, a)); }
  ordax_term no(ordax_term a) const { return count(ordax_make_not(env_, a)); }
  ordax_term both(ordax_term a, ordax_term b) const { return count(ordax_make_and(env_, a, b)); }
  ordax_term either(ordax_term a, ordax_term b) const { return count(ordax_make_or(env_, a, b)); }
  ordax_term implies(ordax_term a, ordax_term b) const { return either(no(a), b); }
  ordax_term plus(ordax_term a, ordax_term b) const { return count(ordax_make_plus(env_, a, b)); }
  /// Equality of two terms of any type, as a planner writes it.
  ordax_term same(ordax_term a, ordax_term b) const {
    const ordax_term equal = count(ordax_make_equal(env_, a, b));
    return ORDAX_FAILED(equal) ? count(ordax_make_iff(env_, a, b)) : equal;
  }
  void add(ordax_term formula) const {
    asserted_.push_back(formula);
    ordax_assert_formula(env_, formula);
  }
  const std::vector<ordax_term>& asserted() const { return asserted_; }

 private:
  ordax_term count(ordax_term made) const {
    ++num_calls_;
    return made;
  }

  mutable std::size_t num_calls_ = 0;
  mutable std::vector<ordax_term> asserted_;
  ordax_env env_;
};

/// Asserts a formula of the shape that a planner poses: a bounded number of steps with increasing
/// times, Boolean action variables, fluents per step, effects at action ends as equations between
/// times, and frame axioms. The families are cellar, logistics, jobshop and counters; false for
/// another name.
bool assert_encoding(const Instance& instance, const std::string& family, int size, int steps);

}  // namespace ordax_bench
