#pragma once

#include <map>
#include <vector>

#include "solver/la/la_solver.h"

namespace ordax::la {

/// Solves linear equations over the integers by elimination, with proofs: each derived equation is
/// known as a rational combination of the ones that were added (Griggio, JSAT 2012).
class Diophantine {
 public:
  using Sum = std::map<LaVar, Number>;
  /// Factors of the added equations, by the number given to each.
  using Proof = std::map<std::int32_t, Number>;

  struct Form {
    Sum sum;
    Number constant;
    Proof proof;  // what was added to rewrite it
  };

  /// New variables are numbered from here on.
  explicit Diophantine(LaVar first_fresh) : next_fresh_(first_fresh) {}

  /// Adds sum + constant = 0 over integer variables, with integer coefficients. False if there is
  /// now no integer solution: `proof` then combines to an equation whose coefficients are integers
  /// and whose constant is not, or to 0 = c with c not 0.
  bool add_equation(Form equation);
  const Proof& proof() const { return proof_; }

  /// Rewrites a form by the solved equations.
  void substitute(Form& form) const;

  enum class Rounding { NEAREST, DOWN, UP };

  /// Turns rational values, by variable, into an integer solution of the equations near them: free
  /// variables are rounded and the others follow.
  void round_to_solution(std::vector<Number>& values, Rounding rounding) const;

  bool has_equations() const { return !solved_.empty(); }

 private:
  /// variable = form; the variables of the form are eliminated later or never. If the form brings
  /// in a fresh variable, its definition is this equation, too.
  struct Solved {
    LaVar var;
    Form form;
    LaVar fresh;  // 0 for none
  };

  static void add_multiple(Form& target, const Number& factor, const Form& source);

  std::vector<Solved> solved_;
  LaVar next_fresh_;
  Proof proof_;
};

}  // namespace ordax::la
