#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "solver/la/bound_atoms.h"
#include "solver/la/la_solver.h"

namespace ordax::la {
namespace {

// sum of coefficient * x + constant <= 0, or < 0.
struct Inequality {
  std::vector<Number> coefficients;
  Number constant;
  bool strict;
};

// Fourier-Motzkin elimination.
bool feasible(std::vector<Inequality> system, std::size_t num_vars) {
  for (std::size_t v = 0; v < num_vars; ++v) {
    std::vector<Inequality> next;
    std::vector<const Inequality*> above;
    std::vector<const Inequality*> below;
    for (const Inequality& i : system) {
      const int sign = i.coefficients[v].sign();
      if (sign == 0) {
        next.push_back(i);
      } else {
        (sign > 0 ? above : below).push_back(&i);
      }
    }
    for (const Inequality* a : above) {
      for (const Inequality* b : below) {
        Inequality sum{std::vector<Number>(num_vars), Number(), a->strict || b->strict};
        const Number p = a->coefficients[v].inverse();
        const Number q = -b->coefficients[v].inverse();
        for (std::size_t k = 0; k < num_vars; ++k) {
          sum.coefficients[k] = a->coefficients[k] * p + b->coefficients[k] * q;
        }
        sum.constant = a->constant * p + b->constant * q;
        next.push_back(std::move(sum));
      }
    }
    system = std::move(next);
  }
  return std::all_of(system.begin(), system.end(), [](const Inequality& i) {
    return i.strict ? i.constant.sign() < 0 : i.constant.sign() <= 0;
  });
}

// A few variables and sums over them, as a simplex and as coefficient vectors.
class World {
 public:
  World(std::mt19937& random, std::size_t num_vars, std::size_t num_sums, bool integral, int greedy)
      : solver_(logger_, greedy), atoms_(solver_), num_vars_(num_vars) {
    for (std::size_t v = 0; v < num_vars; ++v) {
      lavars_.push_back(solver_.new_variable(integral));
      forms_.emplace_back(num_vars);
      forms_.back()[v] = Number(1);
    }
    for (std::size_t s = 0; s < num_sums; ++s) {
      std::vector<Tableau::Summand> sum;
      std::vector<Number> form(num_vars);
      for (std::size_t v = 0; v < num_vars; ++v) {
        const int c = static_cast<int>(random() % 5) - 2;
        if (c == 0) continue;
        sum.push_back({lavars_[v], Number(c)});
        form[v] = Number(c);
      }
      if (sum.size() < 2) continue;
      lavars_.push_back(solver_.new_slack(sum, integral));
      forms_.push_back(form);
    }
  }

  Inequality inequality(const Bound& b) const {
    const auto at = std::find(lavars_.begin(), lavars_.end(), b.var) - lavars_.begin();
    Inequality result{forms_[static_cast<std::size_t>(at)], -b.value.rational(),
                      !b.value.infinitesimal().is_zero()};
    if (!b.upper) {
      for (Number& c : result.coefficients) c.negate();
      result.constant.negate();
    }
    return result;
  }

  // What is asserted now.
  std::vector<Inequality> system() const {
    std::vector<Inequality> result;
    for (const LaVar v : lavars_) {
      for (const int side : {Solver::kLower, Solver::kUpper}) {
        const BoundIndex b = solver_.asserted(v, side);
        if (b != 0) result.push_back(inequality(solver_.bound(b)));
      }
    }
    return result;
  }

  Logger logger_{0, ""};
  Solver solver_;
  BoundAtoms atoms_;
  std::size_t num_vars_;
  std::vector<LaVar> lavars_;
  std::vector<std::vector<Number>> forms_;
};

TEST(SimplexTest, AgreesWithElimination) {
  int conflicts = 0;
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    World w(random, 2 + random() % 3, 1 + random() % 4, false, seed % 3 == 0 ? 1 : 0);
    Lit literal = 0;
    for (int step = 0; step < 25; ++step) {
      if (random() % 5 == 0 && w.solver_.num_levels() > 0) {
        w.solver_.pop_to(random() % w.solver_.num_levels());
      } else {
        w.solver_.push();
        const LaVar v = w.lavars_[random() % w.lavars_.size()];
        const std::int64_t c = static_cast<std::int64_t>(random() % 15) - 7;
        const bool strict = random() % 3 == 0;
        const bool upper = random() % 2 == 0;
        const BoundValue value(c, strict ? (upper ? -1 : 1) : 0);
        if (!(upper ? w.solver_.assert_upper(literal++, v, value)
                    : w.solver_.assert_lower(literal++, v, value))) {
          w.solver_.pop_to(w.solver_.num_levels() - 1);
          continue;
        }
      }
      const std::vector<Inequality> system = w.system();
      const bool expected = feasible(system, w.num_vars_);
      ASSERT_EQ(w.solver_.check(), expected) << "seed " << seed << " step " << step;
      if (expected) {
        ASSERT_TRUE(w.solver_.values_hold()) << "seed " << seed << " step " << step;
        w.solver_.build_model();
        ASSERT_TRUE(w.solver_.model_holds());
        for (const Inequality& i : system) {
          Number sum = i.constant;
          for (std::size_t k = 0; k < w.num_vars_; ++k) {
            sum.addmul(i.coefficients[k], w.solver_.model_value(w.lavars_[k]));
          }
          ASSERT_TRUE(i.strict ? sum.sign() < 0 : sum.sign() <= 0) << "seed " << seed;
        }
        continue;
      }
      ++conflicts;
      std::vector<Inequality> core;
      for (const BoundIndex b : w.solver_.conflict())
        core.push_back(w.inequality(w.solver_.bound(b)));
      ASSERT_FALSE(feasible(core, w.num_vars_)) << "seed " << seed << " step " << step;
      w.solver_.pop_to(w.solver_.num_levels() - 1);
    }
  }
  EXPECT_GT(conflicts, 100);
}

TEST(SimplexTest, DeducedLiteralsFollowFromTheirReasons) {
  int deduced = 0;
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(1000 + seed);
    World w(random, 2 + random() % 3, 1 + random() % 4, false, 0);
    struct Atom {
      LaVar var;
      BoundValue limit;
    };
    std::vector<Atom> atoms;
    for (Var a = 0; a < 12; ++a) {
      const LaVar v = w.lavars_[random() % w.lavars_.size()];
      atoms.push_back({v, BoundValue(static_cast<std::int64_t>(random() % 13) - 6)});
      w.atoms_.add_atom(v, atoms.back().limit, make_lit(a));
    }
    const auto bound_of = [&](Lit l) {
      const Atom& a = atoms[static_cast<std::size_t>(var_of(l))];
      Bound b{a.limit, a.var, 0, 0, l, Bound::LITERAL, !is_negated(l)};
      if (!b.upper) b.value = w.atoms_.next_above(a.var, a.limit);
      return b;
    };
    std::vector<Lit> told;
    for (int step = 0; step < 12; ++step) {
      if (random() % 4 == 0 && w.solver_.num_levels() > 0) {
        const std::size_t level = random() % w.solver_.num_levels();
        w.atoms_.pop_to(level);
        w.solver_.pop_to(level);
        told.resize(level);
      }
      w.solver_.push();
      w.atoms_.push();
      const Lit l = make_lit(static_cast<Var>(random() % atoms.size()), random() % 2 == 0);
      const Bound b = bound_of(l);
      told.push_back(l);
      if (!w.solver_.assert_bound(b.var, b.upper ? 1 : 0, b.value, Bound::LITERAL, l) ||
          !w.solver_.check()) {
        w.atoms_.pop_to(w.solver_.num_levels() - 1);
        w.solver_.pop_to(w.solver_.num_levels() - 1);
        told.pop_back();
        continue;
      }
      ASSERT_TRUE(w.atoms_.deduce(true)) << "a feasible state has no crossing bounds";
      Lit implied = kNoLit;
      BoundIndex reason = 0;
      while (w.atoms_.next_implied(implied, reason)) {
        ++deduced;
        LitVector because;
        w.atoms_.explain(&reason, &reason + 1, because);
        std::vector<Inequality> system;
        for (const Lit r : because) {
          ASSERT_NE(std::find(told.begin(), told.end(), r), told.end()) << "seed " << seed;
          system.push_back(w.inequality(bound_of(r)));
        }
        system.push_back(w.inequality(bound_of(negate(implied))));
        ASSERT_FALSE(feasible(system, w.num_vars_)) << "seed " << seed << " step " << step;
      }
    }
  }
  EXPECT_GT(deduced, 1000);
}

TEST(SimplexTest, DisequalitiesAreAllKeptInTheModel) {
  // Both are off their values one after the other; the second move must not undo the first.
  Logger logger(0, "");
  Solver solver(logger, 0);
  const LaVar x = solver.new_variable(false);
  const LaVar y = solver.new_variable(false);
  const LaVar difference = solver.new_slack({{x, Number(1)}, {y, Number(-1)}}, false);
  ASSERT_TRUE(solver.assert_lower(0, x, BoundValue()));
  ASSERT_TRUE(solver.assert_lower(2, y, BoundValue()));
  solver.assert_disequality(4, x, Number(0));
  solver.assert_disequality(6, difference, Number(0));
  ASSERT_TRUE(solver.check());
  ASSERT_TRUE(solver.check_disequalities());
  EXPECT_TRUE(solver.values_hold());
  solver.build_model();
  EXPECT_GT(solver.model_value(x).sign(), 0);
  EXPECT_NE(solver.model_value(x), solver.model_value(y));

  // x - y between 0 and 0 contradicts the second one alone.
  ASSERT_TRUE(solver.assert_lower(8, difference, BoundValue()));
  ASSERT_TRUE(solver.assert_upper(10, difference, BoundValue()));
  ASSERT_TRUE(solver.check());
  ASSERT_FALSE(solver.check_disequalities());
  EXPECT_EQ(solver.conflict_literals()[0], 6);
  EXPECT_EQ(solver.conflict().size(), 2U);
}

// Moving w off its plane by as much as a is below zero puts x = a - w onto its own, and moving x
// back undoes the first move: only a point between the two ends is off both planes.
TEST(SimplexTest, DisequalitiesThatUndoEachOtherAreRepaired) {
  Logger logger(0, "");
  Solver solver(logger, 0);
  const LaVar a = solver.new_variable(false);
  const LaVar w = solver.new_variable(false);
  const LaVar x = solver.new_slack({{a, Number(1)}, {w, Number(-1)}}, false);
  ASSERT_TRUE(solver.assert_lower(0, a, BoundValue(0, -1)));
  ASSERT_TRUE(solver.assert_upper(2, a, BoundValue(0, -1)));
  solver.assert_disequality(4, x, Number(0));
  solver.assert_disequality(6, w, Number(0));
  ASSERT_TRUE(solver.check());
  ASSERT_TRUE(solver.check_disequalities());
  EXPECT_TRUE(solver.values_hold());
}

// Of a row's variables one without a limit enters, and of several the one that stands in the fewest
// rows, for each of these is filled by the pivot.
TEST(SimplexTest, TheEnteringVariableFillsTheFewestRows) {
  for (const bool limited : {false, true}) {
    Logger logger(0, "");
    Solver solver(logger, 0);
    const LaVar common = solver.new_variable(false);
    const LaVar rare = solver.new_variable(false);
    const LaVar other = solver.new_variable(false);
    const Number one(1);
    const LaVar sum = solver.new_slack({{common, one}, {rare, one}}, false);
    solver.new_slack({{common, one}, {other, one}}, false);
    solver.new_slack({{common, one}, {other, Number(2)}}, false);
    ASSERT_TRUE(!limited || solver.assert_upper(0, rare, BoundValue(10)));
    ASSERT_TRUE(solver.assert_lower(2, sum, BoundValue(1)));
    ASSERT_TRUE(solver.check());
    EXPECT_EQ(solver.tableau().is_basic(rare), !limited);
    EXPECT_EQ(solver.tableau().is_basic(common), limited);
  }
}

TEST(SimplexTest, ChainOfStrictBoundsKeepsItsGaps) {
  Logger logger(0, "");
  Solver solver(logger, 0);
  std::vector<LaVar> times;
  for (int i = 0; i < 200; ++i) times.push_back(solver.new_variable(false));
  for (std::size_t i = 1; i < times.size(); ++i) {
    const LaVar gap = solver.new_slack({{times[i - 1], Number(1)}, {times[i], Number(-1)}}, false);
    ASSERT_TRUE(solver.assert_upper(static_cast<Lit>(2 * i), gap, BoundValue(0, -1)));
  }
  ASSERT_TRUE(solver.assert_lower(0, times.front(), BoundValue()));
  ASSERT_TRUE(solver.assert_upper(1, times.back(), BoundValue(1)));
  ASSERT_TRUE(solver.check());
  solver.build_model();
  for (std::size_t i = 1; i < times.size(); ++i) {
    EXPECT_LT(solver.model_value(times[i - 1]), solver.model_value(times[i]));
  }
}

TEST(BoundValueTest, InlineAndSharedFormsAgree) {
  std::mt19937_64 random(5);
  const auto random_part = [&random]() -> Number {
    switch (random() % 5) {
      case 0:
        return Number(static_cast<std::int64_t>(random() >> 1));
      case 1:
        return Number(static_cast<std::int64_t>(random() % 9) - 4, 3);
      case 2:
        return Number((std::int64_t{1} << 42) - static_cast<std::int64_t>(random() % 3));
      case 3:
        return Number((std::int64_t{1} << 19) - static_cast<std::int64_t>(random() % 3));
      default:
        return Number(static_cast<std::int64_t>(random() % 21) - 10);
    }
  };
  for (int round = 0; round < 20000; ++round) {
    const Number r = random_part();
    const Number k = random_part();
    const Number r2 = random_part();
    const Number k2 = random_part();
    const Number factor = random_part();
    const BoundValue a(r, k);
    const BoundValue b(r2, k2);
    ASSERT_EQ(a.rational(), r);
    ASSERT_EQ(a.infinitesimal(), k);
    ASSERT_EQ(a + b, BoundValue(r + r2, k + k2));
    ASSERT_EQ(a - b, BoundValue(r - r2, k - k2));
    BoundValue fused = a;
    fused.addmul(factor, b);
    ASSERT_EQ(fused, BoundValue(r + factor * r2, k + factor * k2));
    const int order = Number::compare(r, r2) != 0 ? Number::compare(r, r2) : Number::compare(k, k2);
    ASSERT_EQ(a < b, order < 0);
    ASSERT_EQ(a == b, order == 0);
    BoundValue opposite = a;
    opposite.negate();
    ASSERT_EQ(opposite, BoundValue(-r, -k));
    ASSERT_EQ(a.is_integer(), r.is_integer() && k.is_zero());
    const BoundValue low(a.floor());
    ASSERT_TRUE(low <= a && a < low + BoundValue(1));
    const BoundValue high(a.ceil());
    ASSERT_TRUE(a <= high && high - BoundValue(1) < a);
  }
}

}  // namespace
}  // namespace ordax::la
