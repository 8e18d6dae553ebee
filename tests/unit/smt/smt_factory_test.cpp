#include "smt/smt_factory.h"

#include <gtest/gtest.h>

#include <sstream>

#include "shell/environment.h"
#include "shell/errors.h"
#include "smt/formula_walker.h"

namespace kelvo::smt {
namespace {

std::string text_of(Formula f) {
  std::ostringstream text;
  text << print_formula(f);
  return text.str();
}

class SmtFactoryTest : public testing::Test {
 protected:
  Environment env;
  SmtFactory factory{env};
  Formula p = factory.make_variable("p", factory.boolean_type());
  Formula q = factory.make_variable("q", factory.boolean_type());
  Formula x = factory.make_variable("x", factory.real_type());
  Formula n = factory.make_variable("n", factory.integer_type());
};

TEST_F(SmtFactoryTest, EqualPartsAreOneFormula) {
  EXPECT_EQ(factory.make_and(p, q), factory.make_and({p, q}));
  EXPECT_NE(factory.make_and(p, q), factory.make_and(q, p));
  EXPECT_NE(factory.make_and(p, p), p);
  EXPECT_EQ(factory.make_and(SmtFactory::Formulas()), factory.make_and(SmtFactory::Formulas()));
  EXPECT_EQ(factory.make_rational_constant(rational(1) / 2),
            factory.make_rational_constant(rational(2) / 4));
  EXPECT_NE(factory.make_rational_constant(5), factory.make_integer_constant(5));
  EXPECT_EQ(factory.function_type({factory.real_type()}, factory.boolean_type()),
            factory.function_type({factory.real_type()}, factory.boolean_type()));
}

TEST_F(SmtFactoryTest, FormulasPrintAsOperators) {
  const Formula zero = factory.make_integer_constant(0);
  const SmtType* predicate = factory.function_type({factory.real_type()}, factory.boolean_type());
  const Formula head = factory.make_variable("f", predicate);
  const std::pair<Formula, const char*> cases[] = {
      {factory.make_and(p, q, factory.make_not(p)), "(p & q & (! p))"},
      {factory.make_or(SmtFactory::Formulas()), "()"},
      {factory.make_and({p}), "(p)"},
      {factory.make_implies(p, factory.make_iff(p, q)), "(p -> (p <-> q))"},
      {factory.make_equals(factory.make_plus(x, n), zero), "((x + n) == 0)"},
      {factory.make_ite(p, factory.make_times(x, n), factory.make_minus(x, n)),
       "(p ? (x * n) : (x - n))"},
      {factory.make_lt(x, factory.make_rational_constant(rational(-3) / 4)), "(x < -3/4)"},
      {factory.make_function_application(head, {x, n}), "f(x, n)"},
      {factory.make_boolean_constant(false), "false"},
  };
  for (const auto& [f, expected] : cases) EXPECT_EQ(text_of(f), expected);
}

TEST_F(SmtFactoryTest, AKnownNameKeepsItsType) {
  EXPECT_EQ(factory.make_variable("x", factory.real_type()), x);
  try {
    factory.make_variable("p", factory.real_type());
    FAIL() << "the name of another type was taken";
  } catch (const RedefinitionError& error) {
    EXPECT_EQ(error.message(), "RedefinitionError: Variable 'p' already defined as boolean");
  }
  factory.make_variable("__fv_0", factory.real_type());
  EXPECT_EQ(text_of(factory.make_fresh_variable(factory.boolean_type())), "__fv_1");
  EXPECT_EQ(text_of(factory.make_fresh_variable(factory.boolean_type(), "w")), "w2");
}

TEST_F(SmtFactoryTest, InspectorsRefuseOtherKinds) {
  EXPECT_THROW(factory.get_variable_name(factory.make_not(p)), InvalidParameterError);
  EXPECT_THROW(factory.get_rational_constant(factory.make_integer_constant(1)),
               InvalidParameterError);
  EXPECT_THROW(factory.get_integer_constant(x), InvalidParameterError);
  EXPECT_THROW(factory.get_function_symbol(x), InvalidParameterError);
}

// Counts the operators of a formula as a tree and notes the order in which handlers run.
class TreeSize : public FormulaWalker<std::size_t> {
 public:
  std::vector<std::string> visited;

 protected:
  std::size_t size(Formula f) {
    visited.push_back(f->arity() == 0 ? text_of(f) : "op");
    std::size_t result = 1;
    for (const Formula child : f->children()) result += memoized_value(child);
    return result;
  }
  std::size_t walk_and(Formula f) override { return size(f); }
  std::size_t walk_or(Formula f) override { return size(f); }
  std::size_t walk_not(Formula f) override { return size(f); }
  std::size_t walk_imply(Formula f) override { return size(f); }
  std::size_t walk_iff(Formula f) override { return size(f); }
  std::size_t walk_equals(Formula f) override { return size(f); }
  std::size_t walk_lt(Formula f) override { return size(f); }
  std::size_t walk_le(Formula f) override { return size(f); }
  std::size_t walk_gt(Formula f) override { return size(f); }
  std::size_t walk_ge(Formula f) override { return size(f); }
  std::size_t walk_times(Formula f) override { return size(f); }
  std::size_t walk_plus(Formula f) override { return size(f); }
  std::size_t walk_div(Formula f) override { return size(f); }
  std::size_t walk_minus(Formula f) override { return size(f); }
  std::size_t walk_ite(Formula f) override { return size(f); }
  std::size_t walk_true(Formula f) override { return size(f); }
  std::size_t walk_false(Formula f) override { return size(f); }
  std::size_t walk_rational_constant(Formula f) override { return size(f); }
  std::size_t walk_integer_constant(Formula f) override { return size(f); }
  std::size_t walk_variable(Formula f) override { return size(f); }
  std::size_t walk_function_application(Formula f) override { return size(f); }
};

TEST_F(SmtFactoryTest, AWalkVisitsEachFormulaOnceAndTheLastChildFirst) {
  TreeSize walker;
  const Formula shared = factory.make_or(p, q);
  EXPECT_EQ(walker.walk(factory.make_and(shared, shared, p)), 8u);
  EXPECT_EQ(walker.visited, (std::vector<std::string>{"p", "q", "op", "op"}));
  EXPECT_THROW(walker.memoized_value(x), InternalError);
}

TEST_F(SmtFactoryTest, DeepFormulasNeitherWalkNorPrintByRecursion) {
  Formula f = p;
  for (int i = 0; i < 100000; ++i) f = factory.make_not(factory.make_and(f, q));
  TreeSize walker;
  EXPECT_EQ(walker.walk(f), 300001u);
  EXPECT_EQ(text_of(f).size(), 1u + 100000u * std::string("(! ( & q))").size());
}

}  // namespace
}  // namespace kelvo::smt
