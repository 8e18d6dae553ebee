#include "solver/preprocessing/substitution_checkers.h"

#include <algorithm>

namespace ordax {
namespace {

using Substitution = ToplevelPropagator::Substitution;

class Checker : public ToplevelPropagator::subst_check_fun {
 public:
  explicit Checker(TermManager& terms) : terms_(terms) {}

 protected:
  TermManager& terms_;
};

class BoolConstSubst : public Checker {
 public:
  using Checker::Checker;
  Substitution check(TermRef conjunct, const ToplevelPropagator& owner) override {
    if (!owner.is_replaceable(conjunct)) return {};
    return {conjunct, terms_.make_true()};
  }
};

class NegBoolConstSubst : public Checker {
 public:
  using Checker::Checker;
  Substitution check(TermRef conjunct, const ToplevelPropagator& owner) override {
    if (!is_not(conjunct) || !owner.is_replaceable(conjunct->arg(0))) return {};
    return {conjunct->arg(0), terms_.make_false()};
  }
};

// Of two sides, the variable to be replaced: one that the engines don't know yet is the better
// choice, for it loses its fact; among equals the younger goes.
Substitution choose_side(TermRef a, TermRef b, bool a_allowed, bool b_allowed,
                         const ToplevelPropagator& owner) {
  if (a_allowed && b_allowed) {
    const bool a_known = owner.is_in_engine(a);
    const bool b_known = owner.is_in_engine(b);
    if (a_known != b_known) {
      b_allowed = a_known;
    } else {
      b_allowed = b->id > a->id;
    }
    a_allowed = !b_allowed;
  }
  if (a_allowed) return {a, b};
  if (b_allowed) return {b, a};
  return {};
}

class IffSubst : public Checker {
 public:
  using Checker::Checker;
  Substitution check(TermRef conjunct, const ToplevelPropagator& owner) override {
    if (!is_iff(conjunct)) return {};
    const TermRef a = conjunct->arg(0);
    const TermRef b = conjunct->arg(1);
    return choose_side(a, b, owner.is_replaceable(a), owner.is_replaceable(b), owner);
  }
};

class NotIffSubst : public Checker {
 public:
  using Checker::Checker;
  Substitution check(TermRef conjunct, const ToplevelPropagator& owner) override {
    if (!is_not(conjunct) || !is_iff(conjunct->arg(0))) return {};
    const TermRef a = conjunct->arg(0)->arg(0);
    const TermRef b = conjunct->arg(0)->arg(1);
    Substitution found = choose_side(a, b, owner.is_replaceable(a), owner.is_replaceable(b), owner);
    if (found.replacement != nullptr) found.replacement = terms_.make_not(found.replacement);
    return found;
  }
};

class EqSubst : public Checker {
 public:
  using Checker::Checker;
  Substitution check(TermRef conjunct, const ToplevelPropagator& owner) override {
    if (!is_equal(conjunct)) return {};
    const TermRef a = conjunct->arg(0);
    const TermRef b = conjunct->arg(1);
    const TypeUniverse& types = terms_.types();
    return choose_side(a, b, owner.is_replaceable(a) && types.is_subtype(b->type(), a->type()),
                       owner.is_replaceable(b) && types.is_subtype(a->type(), b->type()), owner);
  }
};

/// Solves a linear equation for one variable. A coefficient of 1 or -1 is preferred, then a
/// variable new to the engines, then few occurrences, then the lowest number.
class RatPolyEqSubst : public Checker {
 public:
  using Checker::Checker;

  Substitution check(TermRef conjunct, const ToplevelPropagator& owner) override {
    if (!is_equal(conjunct) || !conjunct->arg(0)->type()->is_arithmetic()) return {};
    lineariser_.difference(conjunct, form_);
    if (form_.monomials.empty()) return {};
    form_.make_coprime();
    const Monomial* best = nullptr;
    for (const Monomial& m : form_.monomials) {
      if (allowed(m, owner) && (best == nullptr || better(m, *best, owner))) best = &m;
    }
    if (best == nullptr) return {};
    return {best->term, solve_for(*best)};
  }

 private:
  static bool has_unit_coefficient(const Monomial& m) {
    return m.coefficient.is_one() || m.coefficient.is_minus_one();
  }

  bool allowed(const Monomial& m, const ToplevelPropagator& owner) const {
    if (!owner.is_replaceable(m.term)) return false;
    if (m.term->type()->is_int() &&
        (!has_unit_coefficient(m) || !form_.constant.is_integer() || !form_.all_int_terms())) {
      return false;
    }
    // Long replacements fill the rows of the tableau wherever the variable stands.
    const std::size_t length = form_.monomials.size() - 1;
    return length <= 2 || owner.occurrences(m.term) <= 1 ||
           (length <= 8 && owner.occurrences(m.term) <= 3);
  }

  static bool better(const Monomial& a, const Monomial& b, const ToplevelPropagator& owner) {
    if (has_unit_coefficient(a) != has_unit_coefficient(b)) return has_unit_coefficient(a);
    const bool a_known = owner.is_in_engine(a.term);
    if (a_known != owner.is_in_engine(b.term)) return !a_known;
    const std::uint32_t a_count = owner.occurrences(a.term);
    const std::uint32_t b_count = owner.occurrences(b.term);
    return a_count != b_count ? a_count < b_count : a.term->id < b.term->id;
  }

  TermRef solve_for(const Monomial& solved) {
    const Number factor = -solved.coefficient.inverse();
    TermRef sum = nullptr;
    for (const Monomial& m : form_.monomials) {
      if (m.term == solved.term) continue;
      const TermRef coefficient = terms_.make_number(m.coefficient * factor);
      const TermRef summand = terms_.make_times(coefficient, m.term);
      sum = sum == nullptr ? summand : terms_.make_plus(sum, summand);
    }
    const TermRef constant = terms_.make_number(form_.constant * factor);
    return sum == nullptr ? constant : terms_.make_plus(sum, constant);
  }

  Lineariser lineariser_;
  LinearForm form_;
};

}  // namespace

std::vector<std::unique_ptr<ToplevelPropagator::subst_check_fun>> make_substitution_checkers(
    TermManager& terms) {
  std::vector<std::unique_ptr<ToplevelPropagator::subst_check_fun>> checkers;
  checkers.push_back(std::make_unique<BoolConstSubst>(terms));
  checkers.push_back(std::make_unique<NegBoolConstSubst>(terms));
  checkers.push_back(std::make_unique<IffSubst>(terms));
  checkers.push_back(std::make_unique<NotIffSubst>(terms));
  checkers.push_back(std::make_unique<EqSubst>(terms));
  checkers.push_back(std::make_unique<RatPolyEqSubst>(terms));
  return checkers;
}

}  // namespace ordax
