#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "smt/formula_walker.h"
#include "smt/smt_factory.h"
#include "solver/api/ordax.h"

namespace kelvo::smt {

/// Turns formulas of one factory into terms of one solver environment. Each formula is converted
/// once; terms live as long as the environment, so nothing here goes stale.
///
/// Throws `SmtSolverError` with the solver's text when it refuses a term.
class OrdaxConverter : public FormulaWalker<ordax_term> {
 public:
  OrdaxConverter(SmtFactory& factory, ordax_env env) : factory_(factory), env_(env) {}

  ordax_term convert(Formula f) { return walk(f); }

  const ordax_term& memoized_value(Formula f) const override;
  void do_memoize_value(Formula f, ordax_term value) override;
  bool is_memoized(Formula f) const override {
    return f->id() < terms_.size() && !ORDAX_FAILED(terms_[f->id()]);
  }

 protected:
  ordax_term walk_and(Formula f) override;
  ordax_term walk_or(Formula f) override;
  ordax_term walk_not(Formula f) override;
  ordax_term walk_imply(Formula f) override;
  ordax_term walk_iff(Formula f) override;
  ordax_term walk_equals(Formula f) override;
  ordax_term walk_lt(Formula f) override;
  ordax_term walk_le(Formula f) override;
  ordax_term walk_gt(Formula f) override;
  ordax_term walk_ge(Formula f) override;
  ordax_term walk_times(Formula f) override;
  ordax_term walk_plus(Formula f) override;
  ordax_term walk_div(Formula f) override;
  ordax_term walk_minus(Formula f) override;
  ordax_term walk_ite(Formula f) override;
  ordax_term walk_true(Formula f) override;
  ordax_term walk_false(Formula f) override;
  ordax_term walk_rational_constant(Formula f) override;
  ordax_term walk_integer_constant(Formula f) override;
  ordax_term walk_variable(Formula f) override;
  ordax_term walk_function_application(Formula f) override;

 private:
  using BinaryBuilder = ordax_term (*)(ordax_env, ordax_term, ordax_term);

  ordax_term child(Formula f, std::size_t i) const { return memoized_value(f->child(i)); }
  ordax_term fold(Formula f, BinaryBuilder make);
  ordax_term number(const std::string& text);
  ordax_decl declaration(Formula variable);
  ordax_type convert_type(const SmtType& type);
  /// `term`, unless it is the failure value.
  ordax_term checked(ordax_term term) const;
  [[noreturn]] void fail() const;

  SmtFactory& factory_;
  ordax_env env_;
  std::vector<ordax_term> terms_;  // by the id of the formula
  std::unordered_map<Formula, ordax_decl> declarations_;
};

}  // namespace kelvo::smt
