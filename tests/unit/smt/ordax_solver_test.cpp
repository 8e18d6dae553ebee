#include "smt/ordax_solver.h"

#include <gtest/gtest.h>

#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo::smt {
namespace {

class OrdaxSolverTest : public testing::Test {
 protected:
  Formula constant(const rational& value) { return factory.make_rational_constant(value); }
  std::string failure(Formula f) {
    OrdaxSolver solver(factory);
    try {
      solver.assert_formula(f);
    } catch (const SmtSolverError& error) {
      return error.message();
    }
    return "no failure";
  }

  Environment env;
  SmtFactory factory{env};
  Formula p = factory.make_variable("p", factory.boolean_type());
  Formula q = factory.make_variable("q", factory.boolean_type());
  Formula x = factory.make_variable("x", factory.real_type());
  Formula y = factory.make_variable("y", factory.real_type());
  Formula n = factory.make_variable("n", factory.integer_type());
};

TEST_F(OrdaxSolverTest, ValuesComeBackAsConstants) {
  OrdaxSolver solver(factory);
  const Formula difference = factory.make_minus(x, y);
  solver.assert_formula(factory.make_equals(difference, constant(rational(-7) / 3)));
  solver.assert_formula(
      factory.make_equals(factory.make_div(x, constant(rational(3) / 4)), constant(2)));
  solver.assert_formula(factory.make_equals(p, factory.make_not(q)));
  solver.assert_formula(factory.make_ite(q, factory.make_boolean_constant(false), p));
  solver.assert_formula(factory.make_gt(n, constant(rational(3) / 2)));
  solver.assert_formula(factory.make_lt(n, factory.make_integer_constant(3)));
  ASSERT_EQ(solver.solve(), SolverResult::SATISFIABLE);
  EXPECT_EQ(solver.get_value(x), constant(rational(3) / 2));
  EXPECT_EQ(solver.get_value(y), constant(rational(23) / 6));
  EXPECT_EQ(solver.get_value(difference), constant(rational(-7) / 3));
  EXPECT_EQ(solver.get_value(n), constant(2));
  EXPECT_EQ(solver.get_value(p), factory.make_boolean_constant(true));
  EXPECT_EQ(solver.get_value(q), factory.make_boolean_constant(false));
  // A variable that no assertion mentions has a value too, and the others keep theirs.
  EXPECT_TRUE(
      factory.is_constant(solver.get_value(factory.make_variable("late", factory.real_type()))));
  EXPECT_EQ(solver.get_value(x), constant(rational(3) / 2));
  // What a log line tells of the check.
  EXPECT_GT(solver.statistic("num sat vars"), 0U);
  EXPECT_EQ(solver.statistic("num sat"), 0U);
}

TEST_F(OrdaxSolverTest, EmptyOperatorsAreTheirNeutralElements) {
  const SmtFactory::Formulas none;
  OrdaxSolver solver(factory);
  solver.assert_formula(factory.make_and(none));
  solver.assert_formula(factory.make_equals(factory.make_plus(none), constant(0)));
  solver.assert_formula(factory.make_equals(factory.make_times(none), constant(1)));
  EXPECT_EQ(solver.solve(), SolverResult::SATISFIABLE);
  solver.assert_formula(factory.make_or(none));
  EXPECT_EQ(solver.solve(), SolverResult::UNSATISFIABLE);
}

TEST_F(OrdaxSolverTest, AssumptionsHoldForOneCheckAlsoAcrossBacktracking) {
  OrdaxSolver solver(factory);
  solver.assert_formula(factory.make_or(p, factory.make_ge(x, constant(1))));
  const Formula small = factory.make_lt(x, constant(0));
  const Formula not_p = factory.make_not(p);
  for (int round = 0; round < 2; ++round) {
    solver.push();
    EXPECT_EQ(solver.solve_with_assumptions({not_p, small}), SolverResult::UNSATISFIABLE);
    EXPECT_EQ(solver.solve_with_assumptions({p, small}), SolverResult::SATISFIABLE);
    EXPECT_EQ(solver.solve_with_assumptions({}), SolverResult::SATISFIABLE);
    solver.pop();
  }
  EXPECT_EQ(solver.solve_with_assumptions({not_p, small}), SolverResult::UNSATISFIABLE);
}

TEST_F(OrdaxSolverTest, RefusalsCarryTheSolversText) {
  EXPECT_EQ(failure(factory.make_equals(factory.make_div(x, y), x)),
            "SmtSolverError: Non-Linear division found!");
  EXPECT_EQ(failure(factory.make_equals(factory.make_div(x, constant(0)), x)),
            "SmtSolverError: Non-Linear division found!");
  EXPECT_NE(failure(factory.make_and(p, x)), "no failure");
  EXPECT_NE(failure(factory.make_equals(p, x)), "no failure");
}

TEST_F(OrdaxSolverTest, OneVariableServesTwoSolvers) {
  OrdaxSolver first(factory);
  OrdaxSolver second(factory);
  first.assert_formula(factory.make_ge(x, constant(5)));
  second.assert_formula(factory.make_le(x, constant(-5)));
  ASSERT_EQ(first.solve(), SolverResult::SATISFIABLE);
  ASSERT_EQ(second.solve(), SolverResult::SATISFIABLE);
  EXPECT_GE(factory.get_rational_constant(first.get_value(x)), 5);
  EXPECT_LE(factory.get_rational_constant(second.get_value(x)), -5);
}

}  // namespace
}  // namespace kelvo::smt
