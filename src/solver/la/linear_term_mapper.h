#pragma once

#include <vector>

#include "solver/base/hash_table.h"
#include "solver/la/la_solver.h"
#include "solver/terms/linear_form.h"
#include "solver/terms/term_walk.h"

namespace ordax::la {

/// Turns linear forms into variables of the simplex. Each term variable is one variable, each sum
/// of several is a slack: forms over the same sum, up to a factor, share it.
///
/// With a scale, the variable of a term that is not of type Int holds the value of the term times
/// the scale, so that constants with denominators become integers.
class LinearTermMapper {
 public:
  class error : public Exception {
   public:
    using Exception::Exception;
  };

  /// factor * var + constant; var is 0 if nothing varies.
  struct Mapped {
    LaVar var = 0;
    Number factor;
    Number constant;
  };

  LinearTermMapper(Solver& solver, const Type* int_type) : solver_(solver), int_type_(int_type) {}

  /// To be set before the first form is mapped; a positive integer.
  void set_scale(const Number& scale) { scale_ = scale; }
  const Number& scale() const { return scale_; }

  /// Stands for the form up to a positive factor. Fails for a form with a subterm that is not a
  /// variable.
  Mapped map(LinearForm form);
  /// Forgets the variables from `count` on, before the simplex takes them back.
  void forget_variables(std::size_t count);
  /// The value of a term whose variable has the value `value`.
  Number value_of(TermRef term, const Number& value) const {
    return scale_.is_one() || term->type() == int_type_ ? value : value / scale_;
  }

  /// The variable of a term, or 0.
  LaVar find_variable(TermRef term) const {
    const LaVar* v = variables_.find(term);
    return v == nullptr ? 0 : *v;
  }
  /// The terms that have variables, in the order in which these were made.
  const std::vector<TermRef>& terms() const { return terms_; }
  /// The term of a variable; null for slacks.
  TermRef term_of(LaVar v) const { return term_of_[static_cast<std::size_t>(v)]; }

 private:
  void apply_scale(LinearForm& form) const;
  LaVar variable(TermRef term);
  LaVar slack(const std::vector<Tableau::Summand>& sum, bool is_int);
  static std::uint64_t hash_of(const std::vector<Tableau::Summand>& sum);

  Solver& solver_;
  const Type* int_type_;
  Number scale_ = 1;
  TermMap<LaVar> variables_;
  std::vector<TermRef> terms_;
  std::vector<TermRef> term_of_;
  HashMap<std::uint64_t, std::int32_t> first_by_hash_;  // a definition, 1 added
  std::vector<std::int32_t> next_by_hash_;              // by definition, the same way
};

}  // namespace ordax::la
