#include "solver/terms/linear_form.h"

#include <algorithm>

namespace ordax {
namespace {

// Order of the heap: the youngest term on top. A term is younger than its arguments, so that all
// occurrences of one, wherever they stand, come to the top one after the other.
bool younger_below(const Monomial& a, const Monomial& b) {
  return a.term->id < b.term->id;
}

}  // namespace

// The constant does not count.
bool LinearForm::all_int_terms() const {
  for (const Monomial& m : monomials) {
    if (!m.term->type()->is_int()) return false;
  }
  return true;
}

void LinearForm::scale(const Number& factor) {
  if (factor.is_one()) return;
  for (Monomial& m : monomials) m.coefficient *= factor;
  constant *= factor;
}

// Afterwards the coefficients are integers with greatest common divisor 1; their signs stay.
// Returns the factor, which is positive, by which all was multiplied.
Number LinearForm::make_coprime() {
  // The common case first: a coefficient of 1 or -1 among integers is coprime already.
  bool all_integers = true;
  bool has_unit = false;
  for (const Monomial& m : monomials) {
    all_integers = all_integers && m.coefficient.is_integer();
    has_unit = has_unit || m.coefficient.is_one() || m.coefficient.is_minus_one();
  }
  if (all_integers && has_unit) return Number(1);
  Number divisor;       // gcd of the numerators
  Number multiple = 1;  // lcm of the denominators
  for (const Monomial& m : monomials) {
    divisor = Number::gcd(divisor, m.coefficient.numerator());
    multiple = Number::lcm(multiple, m.coefficient.denominator());
  }
  Number factor = multiple / divisor;
  scale(factor);
  return factor;
}

void Lineariser::add(TermRef term, const Number& factor) {
  if (factor.is_zero()) return;
  heap_.push_back({term, factor});
  std::push_heap(heap_.begin(), heap_.end(), younger_below);
}

// Takes the youngest term, adds up its coefficients and opens it if it is a sum or a product with a
// number. Each term is opened once, whatever the number of its occurrences: linear in the size of
// the graph, not of the tree that it unfolds to.
void Lineariser::finish(LinearForm& out) {
  out.clear();
  while (!heap_.empty()) {
    std::pop_heap(heap_.begin(), heap_.end(), younger_below);
    const TermRef term = heap_.back().term;
    Number factor = std::move(heap_.back().coefficient);
    heap_.pop_back();
    while (!heap_.empty() && heap_.front().term == term) {
      std::pop_heap(heap_.begin(), heap_.end(), younger_below);
      factor += heap_.back().coefficient;
      heap_.pop_back();
    }
    if (factor.is_zero()) continue;
    if (is_number(term)) {
      out.constant.addmul(factor, number_of(term));
    } else if (is_plus(term)) {
      add(term->arg(0), factor);
      add(term->arg(1), factor);
    } else if (is_times(term) && is_number(term->arg(0))) {
      add(term->arg(1), factor * number_of(term->arg(0)));
    } else if (is_times(term) && is_number(term->arg(1))) {
      add(term->arg(0), factor * number_of(term->arg(1)));
    } else {
      out.monomials.push_back({term, std::move(factor)});
    }
  }
  std::reverse(out.monomials.begin(), out.monomials.end());
}

}  // namespace ordax
