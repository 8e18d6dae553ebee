// Terms are normal forms: equivalent atoms are one term, and failures leave no trace.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "solver/terms/linear_form.h"
#include "solver/terms/std_term_simplifier.h"
#include "solver/terms/term_manager.h"
#include "solver/terms/term_printer.h"

namespace ordax {
namespace {

class TermsTest : public testing::Test {
 protected:
  TermsTest() { terms_.set_simplifier(&simplifier_); }

  TermRef variable(const char* name, const Type* type) {
    return terms_.make_constant(terms_.signature().declare(name, type));
  }
  TermRef num(const char* text) { return terms_.make_number(Number::from_str(text)); }
  TermRef plus(TermRef a, TermRef b) { return terms_.make_plus(a, b); }
  TermRef times(const char* k, TermRef a) { return terms_.make_times(num(k), a); }
  TermRef leq(TermRef a, TermRef b) { return terms_.make_leq(a, b); }
  TermRef equal(TermRef a, TermRef b) { return terms_.make_equal(a, b); }
  TermRef no(TermRef a) { return terms_.make_not(a); }

  template <typename F>
  std::string failure(F&& f) {
    try {
      f();
    } catch (const Exception& e) {
      return e.message();
    }
    return "no failure";
  }

  TermManager terms_;
  StdTermSimplifier simplifier_{terms_};
  TermRef x_ = variable("x", terms_.real_type());
  TermRef y_ = variable("y", terms_.real_type());
  TermRef z_ = variable("z", terms_.real_type());
  TermRef i_ = variable("i", terms_.int_type());
  TermRef j_ = variable("j", terms_.int_type());
  TermRef p_ = variable("p", terms_.bool_type());
  TermRef q_ = variable("q", terms_.bool_type());
  TermRef r_ = variable("r", terms_.bool_type());
};

TEST_F(TermsTest, EquivalentAtomsAreOneTerm) {
  const std::pair<TermRef, TermRef> cases[] = {
      {leq(times("2", x_), num("6")), leq(x_, num("3"))},
      {leq(plus(x_, num("1")), plus(y_, num("1"))), leq(x_, y_)},
      {leq(times("-1", x_), num("-3")), leq(num("3"), x_)},
      {leq(plus(times("2", x_), times("4", y_)), num("6")),
       leq(plus(x_, times("2", y_)), num("3"))},
      {leq(plus(times("1/2", x_), times("1/3", y_)), num("1")),
       leq(plus(times("3", x_), times("2", y_)), num("6"))},
      {leq(plus(y_, x_), num("0")), leq(plus(x_, y_), num("0"))},
      {leq(plus(x_, times("-1", y_)), num("0")), leq(x_, y_)},
      {leq(num("0"), plus(x_, times("-1", y_))), leq(y_, x_)},
      {equal(times("3", x_), times("3", y_)), equal(y_, x_)},
      {equal(plus(x_, y_), num("2")), equal(plus(times("-5", x_), times("-5", y_)), num("-10"))},
      {equal(num("2"), x_), equal(x_, num("2"))},
      {leq(times("7", plus(x_, times("2", plus(y_, num("3"))))), num("7")),
       leq(plus(x_, times("2", y_)), num("-5"))},
      // Integers: the bound is rounded after scaling.
      {leq(i_, num("5/2")), leq(i_, num("2"))},
      {leq(times("2", i_), num("5")), leq(i_, num("2"))},
      {leq(plus(times("2", i_), times("4", j_)), num("5")),
       leq(plus(i_, times("2", j_)), num("2"))},
      {leq(num("5/2"), i_), no(leq(i_, num("2")))},
      {leq(num("3"), i_), no(leq(i_, num("2")))},
      {leq(plus(i_, num("1")), j_), no(leq(j_, i_))},
  };
  for (const auto& [left, right] : cases) {
    EXPECT_EQ(left, right) << print_term(left) << " and " << print_term(right);
  }
  EXPECT_NE(leq(x_, num("3")), leq(x_, num("4")));
  EXPECT_NE(leq(x_, y_), leq(y_, x_));
  EXPECT_NE(no(leq(x_, num("2"))), leq(num("3"), x_)) << "only integers round";
}

TEST_F(TermsTest, AtomsWithoutVariablesAreDecided) {
  const TermRef yes = terms_.make_true();
  const TermRef never = terms_.make_false();
  const std::pair<TermRef, TermRef> cases[] = {
      {leq(num("3"), num("4")), yes},
      {leq(num("1/3"), num("1/4")), never},
      {equal(num("2/4"), num("0.5")), yes},
      {equal(num("2"), num("3")), never},
      {leq(x_, x_), yes},
      {equal(plus(x_, y_), plus(y_, x_)), yes},
      {leq(plus(x_, num("1")), x_), never},
      {equal(i_, num("1/2")), never},
      {equal(times("2", i_), num("1")), never},
      {equal(plus(times("2", i_), times("4", j_)), num("3")), never},
      {equal(plus(times("2/3", i_), times("4/3", j_)), num("1")), never},
  };
  for (const auto& [atom, expected] : cases) EXPECT_EQ(atom, expected) << print_term(atom);
}

TEST_F(TermsTest, ConnectivesFold) {
  const TermRef yes = terms_.make_true();
  const TermRef never = terms_.make_false();
  const TermRef pq = terms_.make_and(p_, q_);
  const std::pair<TermRef, TermRef> cases[] = {
      {no(no(p_)), p_},
      {terms_.make_and(q_, p_), pq},
      {terms_.make_and(p_, p_), p_},
      {terms_.make_and(p_, no(p_)), never},
      {terms_.make_and(yes, p_), p_},
      {terms_.make_and(p_, never), never},
      {terms_.make_or(q_, p_), terms_.make_or(p_, q_)},
      {terms_.make_or(no(p_), p_), yes},
      {terms_.make_or(never, p_), p_},
      {terms_.make_or(p_, yes), yes},
      {terms_.make_iff(p_, p_), yes},
      {terms_.make_iff(p_, no(p_)), never},
      {terms_.make_iff(never, p_), no(p_)},
      {terms_.make_iff(q_, p_), terms_.make_iff(p_, q_)},
      {terms_.make_term_ite(yes, x_, y_), x_},
      {terms_.make_term_ite(never, x_, y_), y_},
      {terms_.make_term_ite(p_, x_, x_), x_},
      {plus(x_, num("0")), x_},
      {plus(num("1/2"), num("1/2")), num("1")},
      {times("1", x_), x_},
      {times("0", x_), num("0")},
      {terms_.make_times(x_, num("3")), times("3", x_)},
      {terms_.make_divide(x_, num("4")), times("1/4", x_)},
      {terms_.make_floor(num("-1/2")), num("-1")},
      {terms_.make_floor(i_), i_},
  };
  for (const auto& [left, right] : cases) EXPECT_EQ(left, right) << print_term(left);
  EXPECT_NE(terms_.make_floor(x_), x_);
}

TEST_F(TermsTest, TypesOfMixedTermsAreJoined) {
  EXPECT_EQ(plus(i_, j_)->type(), terms_.int_type());
  EXPECT_EQ(plus(i_, x_)->type(), terms_.real_type());
  EXPECT_EQ(times("1/2", i_)->type(), terms_.real_type());
  EXPECT_EQ(num("4/2")->type(), terms_.int_type());
  EXPECT_EQ(terms_.make_term_ite(p_, i_, x_)->type(), terms_.real_type());
  EXPECT_EQ(terms_.make_floor(x_)->type(), terms_.int_type());
}

TEST_F(TermsTest, FailuresTellWhyAndLeaveNoTrace) {
  const Type* unary = terms_.types().function_type({terms_.real_type()}, terms_.real_type());
  const Symbol* f = terms_.signature().declare("f", unary);
  const Type* thing = terms_.types().simple_type("Thing");
  const TermRef t = variable("t", thing);
  const std::uint64_t before = terms_.num_terms();
  const std::size_t symbols = terms_.signature().num_symbols();
  const std::pair<std::string, std::string> cases[] = {
      {failure([&] { equal(p_, q_); }), "Equality arguments can't be Boolean"},
      {failure([&] { terms_.make_term_ite(p_, p_, q_); }), "Term-ITE arguments can't be Boolean"},
      {failure([&] { plus(x_, p_); }), "unrelated types: Real and Bool"},
      {failure([&] { leq(t, x_); }), "unrelated types: Thing and Real"},
      {failure([&] { terms_.make_and(p_, x_); }),
       "type error. term x has type Real, but Bool was expected. (`and`)"},
      {failure([&] { terms_.make_term_ite(x_, t, t); }),
       "type error. term x has type Real, but Bool was expected. (`not`)"},
      {failure([&] {
         terms_.make_uninterpreted_function(f, {x_, x_});
       }),
       "wrong arity for symbol f. expected 1, got 2"},
      {failure([&] { terms_.make_constant(f); }), "Higher-order variables are not supported"},
      {failure([&] { terms_.signature().declare("", thing); }), "Empty name for symbol"},
      {failure([&] { terms_.signature().declare("`a", thing); }),
       "Symbols can't start with the \"`\" character"},
      {failure([&] { terms_.signature().declare("x", thing); }),
       "A symbol with name `x' already exists, with type: Real"},
      {failure([&] { terms_.signature().find("nowhere"); }),
       "No symbol with name `nowhere' is present"},
      {failure([&] {
         terms_.signature().check_function_type({terms_.bool_type()}, terms_.bool_type());
       }),
       "Functions with Bool arguments not supported"},
      {failure([&] { terms_.signature().check_function_type({unary}, terms_.bool_type()); }),
       "Higher-order functions not supported"},
      {failure([&] { terms_.types().simple_name(unary); }), "Not a simple type!"},
      {failure([&] { terms_.types().component(thing, 0); }), "Thing is a simple type"},
      {failure([&] { terms_.types().component(unary, 3); }),
       "(-> Real Real) has not enough components"},
  };
  for (const auto& [message, expected] : cases) EXPECT_EQ(message, expected);
  EXPECT_EQ(terms_.num_terms(), before);
  EXPECT_EQ(terms_.signature().num_symbols(), symbols);
}

TEST_F(TermsTest, NamesOfNumbersAreFreeForDeclarations) {
  const TermRef three = num("3");
  const Symbol* digits = terms_.signature().declare("3", terms_.real_type());
  EXPECT_EQ(failure([&] { terms_.make_constant(digits); }),
            "Variable names can't start with a number");
  const TermRef minus = variable("-3", terms_.real_type());
  EXPECT_NE(minus, num("-3"));
  EXPECT_EQ(num("3"), three);
  EXPECT_EQ(variable("x", terms_.real_type()), x_) << "a second declaration gives the same term";
}

TEST_F(TermsTest, CongruenceHoldsForMultiplesInBothSigns) {
  const auto atom = [&](int a, int b) {
    return terms_.make_int_modular_congruence(Number(5), terms_.make_number(Number(a)),
                                              terms_.make_number(Number(b)));
  };
  for (int a = -11; a <= 11; ++a) {
    for (int b = -3; b <= 3; ++b) {
      EXPECT_EQ(atom(a, b), terms_.make_bool((a - b) % 5 == 0)) << a << " " << b;
    }
  }
}

TEST_F(TermsTest, LinearFormsGatherSharedSums) {
  // 2^70 paths, 70 sums: coefficients are gathered per term, not per path.
  TermRef sum = plus(x_, y_);
  for (int i = 0; i < 70; ++i) sum = plus(sum, sum);
  LinearForm form;
  Lineariser lineariser;
  lineariser.linearise(sum, form);
  ASSERT_EQ(form.monomials.size(), 2U);
  EXPECT_EQ(form.monomials[0].coefficient, Number::from_str("1180591620717411303424"));
  EXPECT_EQ(leq(sum, num("0")), leq(plus(x_, y_), num("0")));
}

TEST_F(TermsTest, PrintedTextIsLinearInTheNumberOfTerms) {
  TermRef tower = p_;
  for (int i = 0; i < 60; ++i) {
    const TermRef left = terms_.make_iff(tower, q_);
    const TermRef right = terms_.make_or(tower, r_);
    tower = terms_.make_and(left, right);
  }
  EXPECT_LT(print_term(tower).size(), 20000U);
  EXPECT_EQ(print_term(tower, 20).size(), 23U);
  const TermRef half = num("-1/2");
  EXPECT_EQ(print_term(plus(times("3", x_), half)), "(`+_rat` -1/2 (`*_rat` 3 x))");
}

}  // namespace
}  // namespace ordax
