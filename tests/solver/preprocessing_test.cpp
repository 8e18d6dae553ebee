// The chain before the engine: what it removes, what it keeps, and that values survive.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "solver/base/logger.h"
#include "solver/preprocessing/constraint_encoder.h"
#include "solver/preprocessing/dpll_preprocessor.h"
#include "solver/preprocessing/global_simplifier.h"
#include "solver/preprocessing/partial_nnf.h"
#include "solver/preprocessing/polarity_checker.h"
#include "solver/preprocessing/toplevel_propagator.h"
#include "solver/preprocessing/tseitin_cnf_generator.h"
#include "solver/terms/std_term_simplifier.h"
#include "solver/terms/term_printer.h"

namespace ordax {
namespace {

class PreprocessingTest : public testing::Test {
 protected:
  PreprocessingTest() { terms_.set_simplifier(&simplifier_); }

  TermRef variable(const char* name, const Type* type) {
    return terms_.make_constant(terms_.signature().declare(name, type));
  }
  TermRef boolean(const char* name) { return variable(name, terms_.bool_type()); }
  TermRef real(const char* name) { return variable(name, terms_.real_type()); }
  TermRef integer(const char* name) { return variable(name, terms_.int_type()); }
  TermRef num(int value) { return terms_.make_number(Number(value)); }
  TermRef all(const std::vector<TermRef>& formulas) {
    TermRef result = terms_.make_true();
    for (const TermRef f : formulas) result = terms_.make_and(result, f);
    return result;
  }
  TermRef leq(TermRef a, TermRef b) { return terms_.make_leq(a, b); }
  TermRef equal(TermRef a, TermRef b) { return terms_.make_equal(a, b); }
  TermRef either(TermRef a, TermRef b) { return terms_.make_or(a, b); }
  TermRef both(TermRef a, TermRef b) { return terms_.make_and(a, b); }
  TermRef no(TermRef a) { return terms_.make_not(a); }
  TermRef iff(TermRef a, TermRef b) { return terms_.make_iff(a, b); }

  TermManager terms_;
  StdTermSimplifier simplifier_{terms_};
  Logger logger_{0, ""};
  TermRef a_ = boolean("a");
  TermRef b_ = boolean("b");
  TermRef c_ = boolean("c");
  TermRef x_ = real("x");
  TermRef y_ = real("y");
  TermRef z_ = real("z");
  TermRef i_ = integer("i");
  TermRef j_ = integer("j");
};

TEST_F(PreprocessingTest, ToplevelFactsDisappear) {
  const TermRef sum = terms_.make_plus(y_, z_);
  const TermRef half = terms_.make_times(terms_.make_number(Number(1, 2)), y_);
  const std::pair<TermRef, TermRef> cases[] = {
      {all({a_, no(b_), either(no(a_), c_)}), terms_.make_true()},
      {all({equal(x_, num(3)), either(leq(x_, num(2)), b_)}), terms_.make_true()},
      {all({equal(x_, num(3)), leq(x_, num(2))}), terms_.make_false()},
      {all({a_, either(no(a_), b_), no(b_)}), terms_.make_false()},
      {all({iff(a_, leq(x_, y_)), a_}), leq(x_, y_)},
      {all({no(iff(a_, b_)), either(a_, b_)}), terms_.make_true()},
      {all({equal(x_, sum), leq(x_, num(2))}), leq(x_, num(2))},
      {all({equal(x_, y_), either(leq(x_, y_), c_)}), terms_.make_true()},
      {all({equal(i_, y_), leq(y_, num(2))}), leq(i_, num(2))},
      // Neither side of i = y / 2 may lose its integrality: y goes, as twice i.
      {all({equal(i_, half), leq(y_, num(7))}), leq(i_, num(3))},
      {iff(a_, both(a_, b_)), iff(a_, both(a_, b_))},
  };
  for (const auto& [formula, expected] : cases) {
    ToplevelPropagator propagator(terms_, logger_);
    const TermRef result = propagator.rewrite(formula, 0);
    EXPECT_EQ(result, expected) << print_term(formula) << " gives " << print_term(result);
  }
}

TEST_F(PreprocessingTest, SubstitutionsNeverMakeACycle) {
  const TermRef formulas[] = {
      all({equal(x_, terms_.make_plus(y_, num(1))), equal(y_, terms_.make_plus(z_, num(1))),
           equal(z_, terms_.make_plus(x_, num(-3)))}),
      all({iff(a_, either(b_, c_)), iff(b_, both(a_, c_)), iff(c_, no(both(a_, b_)))}),
      all({iff(a_, both(b_, c_)), iff(b_, no(both(b_, c_))), iff(c_, no(both(b_, c_)))}),
      all({equal(x_, terms_.make_term_ite(a_, y_, num(1))),
           equal(y_, terms_.make_term_ite(b_, x_, num(2))), iff(a_, leq(x_, y_))}),
  };
  for (const TermRef formula : formulas) {
    ToplevelPropagator propagator(terms_, logger_);
    propagator.rewrite(formula, 0);
    for (const TermRef v : {a_, b_, c_, x_, y_, z_}) {
      const TermRef replaced = propagator.apply(v);
      EXPECT_EQ(propagator.apply(replaced), replaced) << print_term(formula);
    }
  }
}

TEST_F(PreprocessingTest, TheLimitBoundsTheRounds) {
  const TermRef chain = all({a_, either(no(a_), b_), either(no(b_), c_)});
  ToplevelPropagator one(terms_, logger_);
  EXPECT_EQ(one.rewrite(chain, 1), both(b_, either(no(b_), c_)));
  ToplevelPropagator unlimited(terms_, logger_);
  EXPECT_EQ(unlimited.rewrite(chain, 0), terms_.make_true());
}

TEST_F(PreprocessingTest, VariablesOfTheEngineKeepTheirFact) {
  ToplevelPropagator propagator(terms_, logger_);
  propagator.note_in_engine(leq(x_, num(9)));
  propagator.push();
  EXPECT_EQ(propagator.rewrite(all({equal(x_, num(3)), either(leq(x_, num(2)), b_)}), 0),
            equal(x_, num(3)));
  EXPECT_EQ(propagator.apply(leq(x_, num(2))), terms_.make_false());
  EXPECT_EQ(propagator.apply(b_), terms_.make_true());
  propagator.pop();
  EXPECT_EQ(propagator.apply(leq(x_, num(2))), leq(x_, num(2)));
  EXPECT_EQ(propagator.replacement(b_), nullptr);
  EXPECT_EQ(propagator.rewrite(b_, 0), terms_.make_true()) << "b is new again";
}

TEST_F(PreprocessingTest, GlobalRulesLookAtWholeChains) {
  const TermRef ite = terms_.make_term_ite(a_, num(1), terms_.make_term_ite(b_, num(5), num(9)));
  const TermRef s = terms_.make_plus(x_, y_);
  const std::pair<TermRef, TermRef> cases[] = {
      {both(both(a_, b_), both(c_, no(a_))), terms_.make_false()},
      {either(c_, both(both(a_, b_), both(leq(x_, y_), no(a_)))), c_},
      {either(either(a_, b_), either(c_, no(b_))), terms_.make_true()},
      {both(leq(s, num(3)), leq(num(3), s)), equal(s, num(3))},
      {both(leq(x_, y_), both(c_, leq(y_, x_))), both(equal(x_, y_), c_)},
      {leq(ite, num(4)), a_},
      {equal(ite, num(9)), both(no(a_), either(a_, no(b_)))},
      {equal(ite, num(2)), terms_.make_false()},
  };
  for (const auto& [formula, expected] : cases) {
    GlobalSimplifier simplifier(terms_, 31);
    const TermRef result = simplifier.simplify(formula);
    EXPECT_EQ(result, expected) << print_term(formula) << " gives " << print_term(result);
  }
  GlobalSimplifier off(terms_, 8);
  EXPECT_EQ(off.simplify(leq(ite, num(4))), leq(ite, num(4))) << "bit 1 is not set";
}

TEST_F(PreprocessingTest, NegationsMoveInward) {
  PartialNnf nnf(terms_);
  const TermRef formula = no(both(a_, either(b_, no(iff(a_, c_)))));
  EXPECT_EQ(nnf.convert(formula), either(no(a_), both(no(b_), iff(a_, c_))));
}

TEST_F(PreprocessingTest, DefinitionsBelongToTheirBacktrackPoint) {
  ConstraintEncoder encoder(terms_);
  const TermRef ite = terms_.make_term_ite(a_, x_, y_);
  encoder.push();
  std::vector<TermRef> definitions;
  const TermRef atom = encoder.encode(leq(ite, num(0)), definitions);
  EXPECT_EQ(definitions.size(), 2U);
  definitions.clear();
  EXPECT_EQ(encoder.encode(leq(ite, num(0)), definitions), atom);
  EXPECT_TRUE(definitions.empty()) << "defined once";
  encoder.pop();
  EXPECT_NE(encoder.encode(leq(ite, num(0)), definitions), atom);
  EXPECT_EQ(definitions.size(), 2U) << "the pop took the definitions back";
}

TEST_F(PreprocessingTest, EncodersLeaveNothingToEncode) {
  ConstraintEncoder encoder(terms_);
  const TermRef inner = terms_.make_term_ite(b_, x_, num(2));
  const TermRef outer = terms_.make_term_ite(leq(inner, y_), inner, terms_.make_floor(inner));
  const TermRef product = terms_.make_times(terms_.make_term_ite(c_, num(2), num(3)), outer);
  std::vector<TermRef> formulas;
  formulas.push_back(encoder.encode(leq(product, num(5)), formulas));
  std::vector<TermRef> stack;
  TermSet seen;
  for (const TermRef f : formulas) {
    walk_post_order(
        f, stack, [&](TermRef t) { return seen.contains(t); },
        [&](TermRef t) {
          seen.insert(t);
          EXPECT_FALSE(is_term_ite(t) || is_floor(t)) << print_term(t);
          EXPECT_FALSE(is_times(t) && !is_number(t->arg(0))) << print_term(t);
        });
  }
  EXPECT_THROW(encoder.encode(leq(terms_.make_divide(x_, y_), num(1))), ConstraintEncoder::error);
}

TEST_F(PreprocessingTest, PolaritiesFollowTheSigns) {
  PolarityChecker checker;
  const TermRef p = leq(x_, num(1));
  const TermRef q = leq(y_, num(1));
  const TermRef r = leq(z_, num(1));
  checker.add(both(either(no(p), q), iff(r, a_)));
  const std::pair<TermRef, int> cases[] = {{p, 2}, {q, 1}, {r, 3}, {a_, 3}, {b_, 0}};
  for (const auto& [term, signs] : cases) EXPECT_EQ(checker.polarity(term), signs);
  checker.add(p);
  EXPECT_EQ(checker.polarity(p), 3);
  EXPECT_THROW(checker.polarity(x_), PolarityChecker::error);
}

// ---------------------------------------------------------------- clauses

class ClausesTest : public PreprocessingTest {
 protected:
  ClausesTest() : sink_(engine_, configuration_.dpll, polarities_) {}

  std::size_t num_clauses() const { return engine_.problem_clauses().size(); }

  Configuration configuration_;
  PolarityStore polarities_;
  DpllSolver engine_{configuration_, logger_};
  DpllClauseSink sink_;
};

TEST_F(ClausesTest, ASharedSubformulaGetsOneLabel) {
  TseitinCNFGenerator cnf(sink_, false);
  const TermRef shared = both(a_, b_);
  cnf.convert(both(either(shared, c_), either(shared, boolean("d"))));
  // Three clauses define the label of `shared`, two hold it; four constants and one label.
  EXPECT_EQ(num_clauses(), 5U);
  EXPECT_EQ(engine_.num_vars(), 5U);
  cnf.convert(either(no(shared), boolean("e")));
  EXPECT_EQ(num_clauses(), 6U) << "a definition is used again in a later formula";
}

TEST_F(ClausesTest, ANegatedSharedSubformulaIsSharedToo) {
  TseitinCNFGenerator cnf(sink_, false);
  TermRef tower = a_;
  for (int i = 0; i < 40; ++i) {
    const TermRef left = either(tower, boolean(("l" + std::to_string(i)).c_str()));
    const TermRef right = either(no(tower), boolean(("r" + std::to_string(i)).c_str()));
    tower = no(both(left, right));
  }
  cnf.convert(tower);
  EXPECT_LT(num_clauses(), 500U);
}

TEST_F(ClausesTest, ConstantsAreRefused) {
  TseitinCNFGenerator cnf(sink_, false);
  const TermRef args[] = {a_, terms_.make_true()};
  const TermRef odd = terms_.raw(terms_.or_symbol(), args);
  try {
    cnf.convert(odd);
    FAIL() << "accepted";
  } catch (const CNFGenerator::error& e) {
    EXPECT_EQ(e.message(), "The CNF conversion does not support true' and false'");
  }
}

TEST_F(ClausesTest, EliminatedVariablesGetTheirValuesBack) {
  DpllPreprocessor preprocessor(configuration_.dpll.preprocessor, logger_);
  // v0 iff (v1 and v2), and v0 or v3.
  const auto lit = [](Var v, bool negated = false) { return make_lit(v, negated); };
  SatPreprocessor::Clauses clauses = {{lit(0, true), lit(1)},
                                      {lit(0, true), lit(2)},
                                      {lit(0), lit(1, true), lit(2, true)},
                                      {lit(0), lit(3)},
                                      {lit(0), lit(3), lit(1)}};
  const std::vector<std::uint8_t> frozen = {0, 1, 1, 1};
  preprocessor.preprocess(clauses, frozen);
  EXPECT_TRUE(preprocessor.is_eliminated(0));
  for (const auto& clause : clauses) {
    for (const Lit l : clause) EXPECT_NE(var_of(l), 0);
  }
  for (unsigned bits = 0; bits < 8; ++bits) {
    std::vector<Value> values = {kUndefined, static_cast<Value>(bits & 1U),
                                 static_cast<Value>((bits >> 1) & 1U),
                                 static_cast<Value>((bits >> 2) & 1U)};
    const bool v1 = values[1] == kTrue;
    const bool v2 = values[2] == kTrue;
    const bool v3 = values[3] == kTrue;
    if (!v3 && !(v1 && v2)) continue;  // no model of the resolvents
    preprocessor.extend_model(values);
    EXPECT_EQ(values[0] == kTrue, v1 && v2);
  }
  SatPreprocessor::Clauses restored;
  preprocessor.restore(0, restored);
  EXPECT_FALSE(preprocessor.is_eliminated(0));
  EXPECT_EQ(restored.size(), 4U) << "the subsumed clause is gone";
}

}  // namespace
}  // namespace ordax
