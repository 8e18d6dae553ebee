#include <gtest/gtest.h>

#include <random>

#include "solver/dpll/dpll_solver.h"
#include "solver/la/la_solver_interface.h"
#include "solver/terms/std_term_simplifier.h"
#include "solver/theory/euf_solver_interface.h"
#include "solver/theory/theory_manager.h"

namespace ordax {
namespace {

// The engine, the manager and the arithmetic solver, without preprocessing.
class Stack {
 public:
  explicit Stack(const Configuration& configuration)
      : simplifier_(terms_),
        engine_(configuration, logger_),
        manager_(configuration, logger_, engine_, polarities_) {
    terms_.set_simplifier(&simplifier_);
    manager_.add_solver(std::make_unique<EufSolverInterface>(), true);
    auto la = std::make_unique<LaSolverInterface>(configuration, logger_, terms_, polarities_);
    la_ = la.get();
    manager_.add_solver(std::move(la), true);
    engine_.set_hook(&manager_);
  }

  TermRef variable(const std::string& name, bool integral) {
    const Type* type = integral ? terms_.int_type() : terms_.real_type();
    return terms_.make_constant(terms_.signature().declare(name, type));
  }
  TermRef number(std::int64_t n) { return terms_.make_number(Number(n)); }
  TermRef sum(const std::vector<TermRef>& variables, const std::vector<int>& coefficients) {
    TermRef result = number(0);
    for (std::size_t i = 0; i < variables.size(); ++i) {
      const TermRef factor = number(coefficients[i]);
      const TermRef product = terms_.make_times(factor, variables[i]);
      result = terms_.make_plus(result, product);
    }
    return result;
  }
  void add(const std::vector<TermRef>& clause) {
    LitVector literals;
    for (TermRef t : clause) {
      if (is_true(t)) return;
      if (is_false(t)) continue;
      const bool negated = is_not(t);
      Var v = kNoVar;
      engine_.variable_of_term(negated ? t->arg(0) : t, v);
      literals.push_back(make_lit(v, negated));
    }
    engine_.add_clause(literals);
  }
  Number value(TermRef variable) {
    Number result;
    manager_.get_model_value(variable, result);
    return result;
  }

  TermManager terms_;
  StdTermSimplifier simplifier_;
  Logger logger_{0, ""};
  PolarityStore polarities_;
  DpllSolver engine_;
  TheoryManager manager_;
  LaSolverInterface* la_;
};

struct IntegerSetting {
  const char* name;
  void (*set)(LaConfiguration&);
};

const IntegerSetting kIntegerSettings[] = {
    {"default", [](LaConfiguration&) {}},
    {"lemmas only",
     [](LaConfiguration& c) {
       c.laz_internal_branch_and_bound = false;
       c.laz_cuts_from_proofs_mode = 0;
       c.laz_unit_cube_test = false;
       c.laz_equality_elimination = false;
     }},
    {"cuts",
     [](LaConfiguration& c) {
       c.laz_internal_branch_and_bound = false;
       c.laz_cuts_from_proofs_mode = 2;
       c.laz_unit_cube_test = false;
     }},
    {"defining constraints",
     [](LaConfiguration& c) {
       c.laz_internal_branch_and_bound_limit = 2;
       c.laz_cuts_from_proofs_mode = 3;
     }},
    {"search only",
     [](LaConfiguration& c) {
       c.laz_internal_branch_and_bound_limit = 0;
       c.laz_unit_cube_test = false;
       c.laz_equality_elimination = false;
     }},
    {"equations only", [](LaConfiguration& c) { c.deduction_enabled = false; }},
    {"explained at once", [](LaConfiguration& c) { c.lazy_expl_threshold = 1000; }},
    {"explained late", [](LaConfiguration& c) { c.lazy_expl_threshold = 0; }},
};

// Random clauses over atoms on sums of three integers within a box, against enumeration of the box.
TEST(IntegerTest, AgreesWithEnumerationUnderEverySetting) {
  constexpr int kLow = -3;
  constexpr int kHigh = 4;
  for (const IntegerSetting& setting : kIntegerSettings) {
    int satisfiable = 0;
    int unsatisfiable = 0;
    for (unsigned seed = 0; seed < 120; ++seed) {
      std::mt19937 random(seed);
      Configuration configuration;
      configuration.model_generation = true;
      setting.set(configuration.theory.la);
      Stack stack(configuration);
      std::vector<TermRef> x;
      for (const char* name : {"x", "y", "z"}) x.push_back(stack.variable(name, true));
      struct Atom {
        std::vector<int> coefficients;
        int limit;
        int kind;  // 0 <=, 1 >, 2 =, 3 distinct
      };
      std::vector<std::vector<Atom>> clauses;
      for (TermRef v : x) {
        stack.add({stack.terms_.make_leq(stack.number(kLow), v)});
        stack.add({stack.terms_.make_leq(v, stack.number(kHigh))});
      }
      const std::size_t count = 3 + random() % 6;
      for (std::size_t i = 0; i < count; ++i) {
        std::vector<Atom> clause(1 + random() % 2);
        std::vector<TermRef> literals;
        for (Atom& a : clause) {
          for (int k = 0; k < 3; ++k) a.coefficients.push_back(static_cast<int>(random() % 9) - 4);
          a.limit = static_cast<int>(random() % 13) - 6;
          a.kind = static_cast<int>(random() % 5) % 4;
          const TermRef left = stack.sum(x, a.coefficients);
          const TermRef right = stack.number(a.limit);
          const TermRef atom = a.kind < 2 ? stack.terms_.make_leq(left, right)
                                          : stack.terms_.make_equal(left, right);
          literals.push_back(a.kind % 2 == 0 ? atom : stack.terms_.make_not(atom));
        }
        clauses.push_back(clause);
        stack.add(literals);
      }
      const auto holds = [&clauses](const std::vector<std::int64_t>& point) {
        for (const std::vector<Atom>& clause : clauses) {
          bool any = false;
          for (const Atom& a : clause) {
            std::int64_t sum = 0;
            for (std::size_t k = 0; k < 3; ++k) sum += a.coefficients[k] * point[k];
            const bool atom = a.kind < 2 ? sum <= a.limit : sum == a.limit;
            any = any || atom == (a.kind % 2 == 0);
          }
          if (!any) return false;
        }
        return true;
      };
      bool expected = false;
      for (std::int64_t i = kLow; i <= kHigh && !expected; ++i) {
        for (std::int64_t j = kLow; j <= kHigh && !expected; ++j) {
          for (std::int64_t k = kLow; k <= kHigh && !expected; ++k) expected = holds({i, j, k});
        }
      }
      ASSERT_EQ(stack.engine_.solve(), expected) << setting.name << " seed " << seed;
      (expected ? satisfiable : unsatisfiable) += 1;
      if (!expected) continue;
      std::vector<std::int64_t> point;
      for (TermRef v : x) {
        const Number value = stack.value(v);
        ASSERT_TRUE(value.is_small_integer()) << setting.name << " seed " << seed;
        point.push_back(value.small_numerator());
      }
      ASSERT_TRUE(holds(point)) << setting.name << " seed " << seed;
    }
    EXPECT_GT(satisfiable, 20) << setting.name;
    EXPECT_GT(unsatisfiable, 20) << setting.name;
  }
}

TEST(IntegerTest, ValueBelowAnIntegerByEpsilonIsNotIntegral) {
  Configuration configuration;
  configuration.model_generation = true;
  Stack stack(configuration);
  const TermRef x = stack.variable("x", true);
  const TermRef y = stack.variable("y", false);
  // 2 < x <= y < 3 has no integer x; 1 < x <= y < 3 has x = 2.
  stack.add({stack.terms_.make_leq(x, y)});
  stack.add({stack.terms_.make_not(stack.terms_.make_leq(stack.number(3), y))});
  stack.add({stack.terms_.make_not(stack.terms_.make_leq(x, stack.number(1)))});
  ASSERT_TRUE(stack.engine_.solve());
  EXPECT_EQ(stack.value(x), Number(2));
  EXPECT_LT(stack.value(y), Number(3));
  stack.add({stack.terms_.make_not(stack.terms_.make_leq(x, stack.number(2)))});
  EXPECT_FALSE(stack.engine_.solve());
}

TEST(IntegerTest, ParityIsFoundByEquationsWithoutBranching) {
  Configuration configuration;
  configuration.theory.la.laz_internal_branch_and_bound = false;
  Stack stack(configuration);
  // x + y = 2z and x - y = 2w + 1: unbounded, so that branching would never end.
  const TermRef x = stack.variable("x", true);
  const TermRef y = stack.variable("y", true);
  const TermRef z = stack.variable("z", true);
  const TermRef w = stack.variable("w", true);
  stack.add({stack.terms_.make_equal(stack.sum({x, y, z}, {1, 1, -2}), stack.number(0))});
  stack.add({stack.terms_.make_equal(stack.sum({x, y, w}, {1, -1, -2}), stack.number(1))});
  EXPECT_FALSE(stack.engine_.solve());
  for (const auto& [key, value] : stack.la_->statistics_table()) {
    if (key == "num equational conflicts") {
      EXPECT_GT(value, 0U);
    }
    if (key.find("lemmas") != std::string::npos) {
      EXPECT_EQ(value, 0U) << key;
    }
  }
}

TEST(DiophantineTest, RefusesWhatHasNoSolutionAndProvesIt) {
  using la::Diophantine;
  for (unsigned seed = 0; seed < 2000; ++seed) {
    std::mt19937 random(seed);
    Diophantine equations(100);
    std::vector<Diophantine::Form> inputs;
    bool consistent = true;
    for (std::int32_t e = 0; e < 3 && consistent; ++e) {
      Diophantine::Form form;
      for (la::LaVar v = 1; v <= 3; ++v) {
        const int c = static_cast<int>(random() % 13) - 6;
        if (c != 0) form.sum.emplace(v, Number(c));
      }
      form.constant = Number(static_cast<int>(random() % 9) - 4);
      form.proof.emplace(e, Number(1));
      inputs.push_back(form);
      consistent = equations.add_equation(form);
    }
    if (!consistent) {
      Diophantine::Sum sum;
      Number constant;
      for (const auto& [input, factor] : equations.proof()) {
        const Diophantine::Form& form = inputs[static_cast<std::size_t>(input)];
        for (const auto& [v, c] : form.sum) sum[v].addmul(factor, c);
        constant.addmul(factor, form.constant);
      }
      bool only_zero = true;
      for (const auto& [v, c] : sum) {
        ASSERT_TRUE(c.is_integer()) << seed;
        only_zero = only_zero && c.is_zero();
      }
      ASSERT_TRUE(only_zero ? !constant.is_zero() : !constant.is_integer()) << seed;
      continue;
    }
    // Solved: what is left free may take any integer values, and the inputs hold.
    for (const Diophantine::Form& input : inputs) {
      Diophantine::Form rest = input;
      equations.substitute(rest);
      ASSERT_TRUE(rest.sum.empty() && rest.constant.is_zero()) << seed;
    }
  }
}

TEST(TheoryTest, PureLiteralFilteringKeepsModelsSound) {
  Configuration configuration;
  configuration.model_generation = true;
  configuration.theory.pure_literal_filtering = true;
  Stack stack(configuration);
  const TermRef x = stack.variable("x", false);
  const TermRef low = stack.terms_.make_leq(x, stack.number(0));
  const TermRef high = stack.terms_.make_leq(stack.number(5), x);
  stack.polarities_.add(low, PolarityStore::POSITIVE);
  stack.polarities_.add(high, PolarityStore::POSITIVE);
  stack.add({low, high});
  ASSERT_TRUE(stack.engine_.solve());
  const Number value = stack.value(x);
  EXPECT_TRUE(value <= Number(0) || value >= Number(5));
}

TEST(TheoryTest, RefusesWhatNoSolverOwns) {
  Configuration configuration;
  Stack stack(configuration);
  const Type* function =
      stack.terms_.types().function_type({stack.terms_.real_type()}, stack.terms_.bool_type());
  const Symbol* f = stack.terms_.signature().declare("f", function);
  const TermRef x = stack.variable("x", false);
  const TermRef y = stack.variable("y", false);
  Var v = kNoVar;
  const TermRef applied = stack.terms_.make_uninterpreted_function(f, {x});
  EXPECT_THROW(stack.engine_.variable_of_term(applied, v), TheorySolver::error);
  const TermRef product = stack.terms_.make_times(x, y);
  const TermRef atom = stack.terms_.make_leq(product, x);
  EXPECT_THROW(stack.engine_.variable_of_term(atom, v), la::LinearTermMapper::error);
}

}  // namespace
}  // namespace ordax
