#include "solver/terms/std_term_simplifier.h"

#include <utility>

namespace ordax {
namespace {

bool is_negation_of(TermRef a, TermRef b) {
  return is_not(a) && a->arg(0) == b;
}

// Double negations never stand, so one step is enough.
bool complementary(TermRef a, TermRef b) {
  return is_negation_of(a, b) || is_negation_of(b, a);
}

// Commutative operators have their older argument first: one term for both orders.
void sort_by_id(TermRef& a, TermRef& b) {
  if (b->id < a->id) std::swap(a, b);
}

bool is_user_headed(TermRef t) {
  return t->kind() == Kind::USER;
}

}  // namespace

// Rules of one level: arguments are simplified already, being terms. Null leaves the term as it is.
TermRef StdTermSimplifier::simplify(const Symbol* symbol, const TermRef* args) {
  switch (symbol->kind) {
    case Kind::NOT:
      return simplify_not(args[0]);
    case Kind::AND:
      return simplify_and(args[0], args[1]);
    case Kind::OR:
      return simplify_or(args[0], args[1]);
    case Kind::IFF:
      return simplify_iff(args[0], args[1]);
    case Kind::TERM_ITE:
      return simplify_term_ite(args);
    case Kind::PLUS:
      return simplify_plus(args[0], args[1]);
    case Kind::TIMES:
      return simplify_times(args[0], args[1]);
    case Kind::DIVIDE:
      return simplify_divide(args[0], args[1]);
    case Kind::FLOOR:
      return simplify_floor(args[0]);
    case Kind::LEQ:
      return simplify_arithmetic(args[0], args[1], /*equality=*/false);
    case Kind::EQUAL:
      if (!args[0]->type()->is_arithmetic()) return simplify_generic_equal(args[0], args[1]);
      return simplify_arithmetic(args[0], args[1], /*equality=*/true);
    default:
      return nullptr;
  }
}

// From here on `raw_` makers build the term that no rule applies to.
TermRef StdTermSimplifier::simplify_not(TermRef a) {
  if (is_true(a)) return terms_.make_false();
  if (is_false(a)) return terms_.make_true();
  if (is_not(a)) return a->arg(0);
  return terms_.raw_not(a);
}

TermRef StdTermSimplifier::simplify_and(TermRef a, TermRef b) {
  if (a == b || is_true(b)) return a;
  if (is_true(a)) return b;
  if (is_false(a) || is_false(b) || complementary(a, b)) return terms_.make_false();
  sort_by_id(a, b);
  return terms_.raw_binary(terms_.and_symbol(), a, b);
}

TermRef StdTermSimplifier::simplify_or(TermRef a, TermRef b) {
  if (a == b || is_false(b)) return a;
  if (is_false(a)) return b;
  if (is_true(a) || is_true(b) || complementary(a, b)) return terms_.make_true();
  sort_by_id(a, b);
  return terms_.raw_binary(terms_.or_symbol(), a, b);
}

TermRef StdTermSimplifier::simplify_iff(TermRef a, TermRef b) {
  if (a == b) return terms_.make_true();
  if (is_true(a)) return b;
  if (is_true(b)) return a;
  if (is_false(a)) return simplify_not(b);
  if (is_false(b)) return simplify_not(a);
  if (complementary(a, b)) return terms_.make_false();
  sort_by_id(a, b);
  return terms_.raw_binary(terms_.iff_symbol(), a, b);
}

TermRef StdTermSimplifier::simplify_term_ite(const TermRef* args) {
  if (is_true(args[0])) return args[1];
  if (is_false(args[0]) || args[1] == args[2]) return args[2];
  return nullptr;
}

TermRef StdTermSimplifier::simplify_plus(TermRef a, TermRef b) {
  if (is_number(a) && is_number(b)) return terms_.make_number(number_of(a) + number_of(b));
  if (is_number(a) && number_of(a).is_zero()) return b;
  if (is_number(b) && number_of(b).is_zero()) return a;
  sort_by_id(a, b);
  const bool integer = a->type()->is_int() && b->type()->is_int();
  return terms_.raw_binary(terms_.plus_symbol(integer), a, b);
}

TermRef StdTermSimplifier::simplify_times(TermRef a, TermRef b) {
  if (is_number(b)) std::swap(a, b);
  if (is_number(a)) {
    if (is_number(b)) return terms_.make_number(number_of(a) * number_of(b));
    if (number_of(a).is_zero()) return terms_.make_number(Number());
    if (number_of(a).is_one()) return b;
  } else {
    sort_by_id(a, b);
  }
  const bool integer = a->type()->is_int() && b->type()->is_int();
  return terms_.raw_binary(terms_.times_symbol(integer), a, b);
}

// Division by a number is a product; by zero or by a term it stays, and whoever needs it linear
// refuses it.
TermRef StdTermSimplifier::simplify_divide(TermRef a, TermRef b) {
  if (!is_number(b) || number_of(b).is_zero()) return nullptr;
  return simplify_times(terms_.make_number(number_of(b).inverse()), a);
}

TermRef StdTermSimplifier::simplify_floor(TermRef a) {
  if (is_number(a)) return terms_.make_number(number_of(a).floor());
  return a->type()->is_int() ? a : nullptr;
}

TermRef StdTermSimplifier::simplify_generic_equal(TermRef a, TermRef b) {
  if (a == b) return terms_.make_true();
  sort_by_id(a, b);
  return terms_.raw_binary(terms_.equal_symbol(a->type()), a, b);
}

// A relation is brought to the form "sum op constant" with coprime coefficients and a positive
// first one, so that relations that say the same are the same term or its negation.
TermRef StdTermSimplifier::simplify_arithmetic(TermRef a, TermRef b, bool equality) {
  if (a == b) return terms_.make_true();
  if (is_number(a) && is_number(b)) {
    return terms_.make_bool(equality ? false : number_of(a) <= number_of(b));
  }
  // The most frequent equalities are between constants and numbers: no linear form is needed.
  if (equality && (is_number(a) || is_user_headed(a)) && (is_number(b) || is_user_headed(b))) {
    return simplify_simple_equal(a, b);
  }
  lineariser_.add(a, Number(1));
  lineariser_.add(b, Number(-1));
  lineariser_.finish(form_);
  if (form_.monomials.empty()) return decide(form_.constant, equality);

  // Coprime integers rather than a leading 1: the coefficients of the tableau keep denominator 1.
  // Scaling comes before the integrality test, so that 2i <= 5 is seen as i <= 2.
  form_.make_coprime();
  const bool mirror = form_.monomials.front().coefficient.sign() < 0;
  if (mirror) form_.scale(Number(-1));
  if (!form_.all_int_terms()) return rebuild(form_, equality, mirror);
  if (equality) {
    if (!form_.constant.is_integer()) return terms_.make_false();
    return rebuild(form_, equality, /*mirror=*/false);
  }
  if (!mirror) {
    form_.constant = form_.constant.ceil();  // sum <= -c rounds the bound down
    return rebuild(form_, equality, mirror);
  }
  // sum >= -c is the negation of sum <= ceil(-c) - 1: one Boolean variable for both directions.
  form_.constant = form_.constant.floor() + Number(1);
  return simplify_not(rebuild(form_, equality, /*mirror=*/false));
}

// The number on the right, or the older constant first. An integer equals no fraction.
TermRef StdTermSimplifier::simplify_simple_equal(TermRef a, TermRef b) {
  if (is_number(a) || (!is_number(b) && b->id < a->id)) std::swap(a, b);
  if (is_number(b) && a->type()->is_int() && !number_of(b).is_integer()) {
    return terms_.make_false();
  }
  return make_relation(a, b, /*equality=*/true);
}

// "constant op 0".
TermRef StdTermSimplifier::decide(const Number& constant, bool equality) const {
  return terms_.make_bool(equality ? constant.is_zero() : constant.sign() <= 0);
}

// The relation "form op 0", for `mirror` "0 <= form".
TermRef StdTermSimplifier::rebuild(const LinearForm& form, bool equality, bool mirror) {
  const std::vector<Monomial>& sum = form.monomials;
  // x - y op 0 reads x op y.
  if (sum.size() == 2 && form.constant.is_zero() && sum[0].coefficient.is_one() &&
      sum[1].coefficient.is_minus_one()) {
    return mirror && !equality ? make_relation(sum[1].term, sum[0].term, equality)
                               : make_relation(sum[0].term, sum[1].term, equality);
  }
  const TermRef left = make_sum(form);
  const TermRef bound = terms_.make_number(-form.constant);
  return mirror && !equality ? make_relation(bound, left, equality)
                             : make_relation(left, bound, equality);
}

TermRef StdTermSimplifier::make_relation(TermRef a, TermRef b, bool equality) {
  const bool integer = a->type()->is_int() && b->type()->is_int();
  const Symbol* symbol = equality
                             ? terms_.equal_symbol(integer ? terms_.int_type() : terms_.real_type())
                             : terms_.leq_symbol(integer);
  return terms_.raw_binary(symbol, a, b);
}

// Without the constant; null for an empty sum.
TermRef StdTermSimplifier::make_sum(const LinearForm& form) {
  TermRef sum = nullptr;
  for (const Monomial& m : form.monomials) {
    TermRef summand = m.term;
    if (!m.coefficient.is_one()) {
      const TermRef coefficient = terms_.make_number(m.coefficient);
      summand = simplify_times(coefficient, summand);
    }
    sum = sum == nullptr ? summand : simplify_plus(sum, summand);
  }
  return sum;
}

}  // namespace ordax
