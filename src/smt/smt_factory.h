#pragma once

#include <array>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "model/node_manager.h"
#include "shell/env_object.h"
#include "smt/formula.h"
#include "smt/smt_solver.h"

namespace kelvo::smt {

/// Builds hash-consed formulas over Booleans, reals and integers, and owns them with their types.
///
/// No operation simplifies or checks kinds. A list form of no elements gives a childless node; in
/// the solver "AND" of nothing is true, "OR" false, "PLUS" 0 and "TIMES" 1. The inspectors throw
/// `InvalidParameterError` on a node of another kind.
class SmtFactory : public EnvObject {
 public:
  using Kind = FormulaOperatorKind;
  using Formulas = std::vector<Formula>;

  explicit SmtFactory(Environment& env);
  ~SmtFactory() override;
  SmtFactory(const SmtFactory&) = delete;
  SmtFactory& operator=(const SmtFactory&) = delete;

  const SmtType* boolean_type() const { return boolean_type_; }
  const SmtType* real_type() const { return real_type_; }
  const SmtType* integer_type() const { return integer_type_; }
  /// The type of functions from `arguments` to `result`, one for each list.
  const SmtType* function_type(const std::vector<const SmtType*>& arguments, const SmtType* result);

  Formula make_and(Formula a, Formula b) { return make(Kind::AND, a, b); }
  Formula make_and(Formula a, Formula b, Formula c) { return make(Kind::AND, a, b, c); }
  Formula make_and(Formula a, Formula b, Formula c, Formula d) {
    return make(Kind::AND, a, b, c, d);
  }
  Formula make_and(const Formulas& list) { return make_list(Kind::AND, list); }
  Formula make_or(Formula a, Formula b) { return make(Kind::OR, a, b); }
  Formula make_or(Formula a, Formula b, Formula c) { return make(Kind::OR, a, b, c); }
  Formula make_or(Formula a, Formula b, Formula c, Formula d) { return make(Kind::OR, a, b, c, d); }
  Formula make_or(const Formulas& list) { return make_list(Kind::OR, list); }
  Formula make_not(Formula a) { return make(Kind::NOT, a); }
  Formula make_implies(Formula a, Formula b) { return make(Kind::IMPLY, a, b); }
  Formula make_iff(Formula a, Formula b) { return make(Kind::IFF, a, b); }
  Formula make_equals(Formula a, Formula b) { return make(Kind::EQUALS, a, b); }
  Formula make_lt(Formula a, Formula b) { return make(Kind::LT, a, b); }
  Formula make_le(Formula a, Formula b) { return make(Kind::LE, a, b); }
  Formula make_gt(Formula a, Formula b) { return make(Kind::GT, a, b); }
  Formula make_ge(Formula a, Formula b) { return make(Kind::GE, a, b); }
  Formula make_times(Formula a, Formula b) { return make(Kind::TIMES, a, b); }
  Formula make_times(const Formulas& list) { return make_list(Kind::TIMES, list); }
  Formula make_plus(Formula a, Formula b) { return make(Kind::PLUS, a, b); }
  Formula make_plus(const Formulas& list) { return make_list(Kind::PLUS, list); }
  Formula make_div(Formula a, Formula b) { return make(Kind::DIV, a, b); }
  Formula make_minus(Formula a, Formula b) { return make(Kind::MINUS, a, b); }
  Formula make_ite(Formula c, Formula t, Formula e) { return make(Kind::ITE, c, t, e); }
  Formula make_boolean_constant(bool value) {
    return make(value ? Kind::SMT_TRUE : Kind::SMT_FALSE);
  }
  Formula make_rational_constant(const rational& value);
  Formula make_integer_constant(const integer& value);
  /// The variable of that name. Throws `RedefinitionError` when it is known with another type.
  Formula make_variable(const std::string& name, const SmtType* type);
  /// A variable whose name, `prefix` and a number, is new. A null prefix stands for "__fv_".
  Formula make_fresh_variable(const SmtType* type, const char* prefix = nullptr);
  /// `head` is a variable of a function type.
  Formula make_function_application(Formula head, const Formulas& arguments);

  bool is_ite(Formula f) const { return kind_of(f) == Kind::ITE; }
  bool is_true(Formula f) const { return kind_of(f) == Kind::SMT_TRUE; }
  bool is_boolean_constant(Formula f) const { return is_true(f) || kind_of(f) == Kind::SMT_FALSE; }
  bool is_rational_constant(Formula f) const { return kind_of(f) == Kind::RATIONAL_CONSTANT; }
  bool is_integer_constant(Formula f) const { return kind_of(f) == Kind::INTEGER_CONSTANT; }
  bool is_constant(Formula f) const {
    return is_boolean_constant(f) || is_rational_constant(f) || is_integer_constant(f);
  }
  bool is_variable(Formula f) const { return kind_of(f) == Kind::VARIABLE; }
  const std::string& get_variable_name(Formula f) const;
  const SmtType* get_variable_type(Formula f) const;
  const rational& get_rational_constant(Formula f) const;
  const integer& get_integer_constant(Formula f) const;
  /// The head of an application.
  Formula get_function_symbol(Formula f) const;

  bool has_variable(const std::string& name) const { return variables_.contains(name); }
  std::size_t num_formulas() const { return node_mgr_.num_nodes(); }
  std::size_t num_variables() const { return variables_.size(); }

  /// A new solver on the formulas of this factory, which must outlive it.
  std::unique_ptr<SmtSolver> make_solver(const SolverLimits& limits = {});

 private:
  /// All fractions with one integer part share the usual hash of a rational.
  struct RationalHash {
    std::size_t operator()(const rational& value) const;
  };
  using FunctionSignature = std::pair<std::vector<const SmtType*>, const SmtType*>;

  template <typename... Children>
  Formula make(Kind kind, Children... children) {
    return node_mgr_.make_node(operators_[static_cast<std::size_t>(kind)].get(), children...);
  }
  Formula make_list(Kind kind, const Formulas& list) {
    return node_mgr_.make_node(operators_[static_cast<std::size_t>(kind)].get(), list.size(),
                               list.begin(), list.end());
  }
  const SmtType* own(std::unique_ptr<SmtType> type);
  template <typename P, typename... Args>
  Formula make_leaf(Args&&... args);

  NodeManager node_mgr_;
  std::vector<std::unique_ptr<SmtType>> types_;
  std::map<FunctionSignature, const SmtType*> function_types_;
  const SmtType* boolean_type_;
  const SmtType* real_type_;
  const SmtType* integer_type_;
  /// One payload for each operator from "AND" to "SMT_FALSE".
  std::array<std::unique_ptr<FormulaPayload>, 17> operators_;
  std::vector<std::unique_ptr<FormulaPayload>> leaf_payloads_;
  std::unordered_map<std::string, Formula> variables_;
  std::unordered_map<rational, Formula, RationalHash> rationals_;
  std::unordered_map<integer, Formula> integers_;
  std::unordered_map<Formula, std::unique_ptr<FunctionApplicationPayload>> applications_;
  std::size_t next_fresh_ = 0;
};

}  // namespace kelvo::smt
