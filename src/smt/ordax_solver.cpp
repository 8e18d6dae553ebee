#include "smt/ordax_solver.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "shell/errors.h"
#include "shell/log.h"

namespace kelvo::smt {

SolverLimits SolverLimits::of_machine() {
  constexpr std::uint64_t BYTES_IN_MEGABYTE = 1 << 20;
  std::uint64_t bytes = 0;
  const long num_pages = sysconf(_SC_PHYS_PAGES);
  const long page_size = sysconf(_SC_PAGESIZE);
  if (num_pages > 0 && page_size > 0) {
    bytes = static_cast<std::uint64_t>(num_pages) * static_cast<std::uint64_t>(page_size);
  }
  rlimit addressable{};
  if (getrlimit(RLIMIT_AS, &addressable) == 0 && addressable.rlim_cur != RLIM_INFINITY) {
    bytes =
        bytes == 0 ? addressable.rlim_cur : std::min<std::uint64_t>(bytes, addressable.rlim_cur);
  }
  return {bytes / 4 * 3 / BYTES_IN_MEGABYTE};
}

OrdaxSolver::OrdaxSolver(SmtFactory& factory, const SolverLimits& limits) : factory_(factory) {
  config_ = ordax_create_config();
  ordax_set_option(config_, "model_generation", "true");
  ordax_set_option(config_, "limits.memory", std::to_string(limits.memory).c_str());
  env_ = ordax_create_env(config_);
  converter_ = std::make_unique<OrdaxConverter>(factory, env_);
}

OrdaxSolver::~OrdaxSolver() {
  converter_.reset();
  ordax_destroy_env(env_);
  ordax_destroy_config(config_);
}

void OrdaxSolver::check(int status) const {
  if (status != 0) throw SmtSolverError(ordax_last_error_message(env_));
}

void OrdaxSolver::assert_formula(Formula f) {
  LOG(LogLevel::TRACE) << "Ordax Asserting: " << print_formula(f);
  check(ordax_assert_formula(env_, converter_->convert(f)));
}

void OrdaxSolver::push() {
  check(ordax_push_backtrack_point(env_));
  ++level_;
}

void OrdaxSolver::pop() {
  check(ordax_pop_backtrack_point(env_));
  --level_;
  // What tied these labels to their formulas is gone.
  std::erase_if(labels_, [this](const auto& entry) { return entry.second.level > level_; });
}

Formula OrdaxSolver::get_value(Formula f) {
  const ordax_term value = ordax_get_model_value(env_, converter_->convert(f));
  if (ORDAX_FAILED(value)) throw SmtSolverError(ordax_last_error_message(env_));
  if (ordax_term_is_true(env_, value) == 1) return factory_.make_boolean_constant(true);
  if (ordax_term_is_false(env_, value) == 1) return factory_.make_boolean_constant(false);
  if (ordax_term_is_number(env_, value) != 1) throw SmtSolverError("Unknown constant type");
  char* text = ordax_term_repr(value);
  if (text == nullptr) throw SmtSolverError(ordax_last_error_message(env_));
  const std::string number = text;
  ordax_free(text);
  const std::size_t slash = number.find('/');
  const auto integer_part = [](const std::string& digits) {
    const bool negative = digits.front() == '-';
    const integer magnitude = integer_from_string(negative ? digits.substr(1) : digits);
    return negative ? integer(-magnitude) : magnitude;
  };
  const integer top = integer_part(number.substr(0, slash));
  if (slash == std::string::npos) return factory_.make_rational_constant(rational(top));
  return factory_.make_rational_constant(rational(top, integer_part(number.substr(slash + 1))));
}

SolverResult OrdaxSolver::result_of(int answer) {
  unknown_reason_.clear();
  has_reached_limit_ = answer == ORDAX_LIMIT;
  if (answer == ORDAX_SAT) return SolverResult::SATISFIABLE;
  if (answer == ORDAX_UNSAT) return SolverResult::UNSATISFIABLE;
  unknown_reason_ = ordax_last_error_message(env_);
  return SolverResult::UNKNOWN;
}

SolverResult OrdaxSolver::solve() {
  return result_of(ordax_solve(env_));
}

Formula OrdaxSolver::label_of(Formula f) {
  if (factory_.is_variable(f)) return f;
  const auto [entry, is_new] = labels_.try_emplace(f);
  if (is_new) {
    entry->second = {factory_.make_fresh_variable(factory_.boolean_type()), level_};
    assert_formula(factory_.make_implies(entry->second.variable, f));
  }
  return entry->second.variable;
}

SolverResult OrdaxSolver::solve_with_assumptions(const std::vector<Formula>& assumptions) {
  std::vector<ordax_term> terms;
  terms.reserve(assumptions.size());
  for (const Formula f : assumptions) terms.push_back(converter_->convert(label_of(f)));
  return result_of(ordax_solve_with_assumptions(env_, terms.data(), terms.size()));
}

std::uint64_t OrdaxSolver::statistic(const std::string& key) const {
  char* text = ordax_statistics(env_);
  if (text == nullptr) return 0;
  std::istringstream lines(text);
  ordax_free(text);
  const std::string beginning = key + " = ";
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(beginning)) return std::stoull(line.substr(beginning.size()));
  }
  return 0;
}

}  // namespace kelvo::smt
