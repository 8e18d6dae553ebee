// Depth and sharing of the input cost neither recursion nor repeated work.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "tests/solver/session.h"

namespace ordax_testing {
namespace {

constexpr int DEPTH = 50000;

ordax_term numbered(Session& s, const char* letter, int i) {
  return s.boolean((letter + std::to_string(i)).c_str());
}

struct Nesting {
  const char* name;
  std::function<ordax_term(Session&)> build;
  int result;
};

TEST(DeepInput, FiftyThousandLevelsOfEachOperator) {
  const auto nested = [](auto step, auto start) {
    return [=](Session& s) {
      ordax_term t = start(s);
      for (int i = 0; i < DEPTH; ++i) t = step(s, t, i);
      return t;
    };
  };
  const auto p = [](Session& s) { return s.boolean("p"); };
  const auto x = [](Session& s) { return s.real("x"); };
  const Nesting cases[] = {
      {"and",
       nested([](Session& s, ordax_term t, int i) { return s.both(t, numbered(s, "a", i)); }, p),
       1},
      {"or",
       nested([](Session& s, ordax_term t, int i) { return s.either(t, numbered(s, "a", i)); }, p),
       1},
      {"not-and",
       nested([](Session& s, ordax_term t,
                 int i) { return s.negation(s.both(t, numbered(s, "a", i % 100))); },
              p),
       1},
      {"iff",
       nested([](Session& s, ordax_term t, int i) { return s.iff(t, numbered(s, "a", i)); }, p), 1},
      {"and-or",
       nested(
           [](Session& s, ordax_term t, int i) {
             return i % 2 == 0 ? s.both(t, numbered(s, "a", i)) : s.either(t, numbered(s, "a", i));
           },
           p),
       1},
      {"plus",
       [&](Session& s) {
         ordax_term t = x(s);
         for (int i = 0; i < DEPTH; ++i) t = s.plus(t, i % 2 == 0 ? s.real("y") : x(s));
         return s.leq(t, s.number("-3"));
       },
       1},
      {"ite over numerals",
       [&](Session& s) {
         ordax_term t = x(s);
         for (int i = 0; i < 3000; ++i) {
           const ordax_term leaf = s.number(std::to_string(i).c_str());
           t = ordax_make_term_ite(s, numbered(s, "c", i), leaf, t);
         }
         return s.both(s.leq(t, s.number("5")), s.leq(s.number("0"), x(s)));
       },
       1},
      {"ite over sums",
       [&](Session& s) {
         ordax_term t = x(s);
         for (int i = 0; i < 200; ++i) {
           t = ordax_make_term_ite(s, numbered(s, "c", i), t, s.plus(t, s.number("1")));
         }
         return s.both(s.leq(t, s.number("5")), s.leq(s.number("0"), x(s)));
       },
       1},
  };
  for (const Nesting& c : cases) {
    Session s;
    const ordax_term t = c.build(s);
    ASSERT_FALSE(ORDAX_FAILED(t)) << c.name << s.last_error();
    ASSERT_EQ(s.add(t), 0);
    EXPECT_EQ(s.solve(), c.result) << c.name << ": " << s.last_error();
    EXPECT_EQ(s.value(t), "true") << c.name;
    char* text = ordax_term_repr(t);
    EXPECT_NE(text, nullptr);
    ordax_free(text);
  }
}

TEST(DeepInput, SharedTowersAreVisitedOnce) {
  for (const char* full : {"false", "true"}) {
    Session s(Options{{"preprocessor.full_cnf_conversion", full}});
    ordax_term t = s.boolean("p");
    for (int i = 0; i < 300; ++i) {
      const ordax_term left = s.either(t, numbered(s, "a", i));
      const ordax_term right = s.iff(t, numbered(s, "b", i));
      t = s.negation(s.both(left, right));
    }
    s.add(t);
    EXPECT_EQ(s.solve(), 1);
    EXPECT_EQ(s.value(t), "true");
  }
}

TEST(DeepInput, ChainsOfDefinitionsAreEliminated) {
  constexpr int LENGTH = 4000;
  Session s;
  const ordax_term one = s.number("1");
  ordax_term last = s.real("t0");
  const ordax_term first = last;
  for (int i = 1; i <= LENGTH; ++i) {
    const ordax_term next = s.real(("t" + std::to_string(i)).c_str());
    s.add(s.equal(next, s.plus(last, one)));
    s.add(s.either(s.leq(next, s.number("9000")), numbered(s, "late", i)));
    last = next;
  }
  s.add(s.leq(s.number("2"), first));
  s.add(s.leq(last, s.number("4002")));
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(first), "2");
  EXPECT_EQ(s.value(last), "4002");
  s.add(s.negation(s.leq(s.real("t100"), s.number("102"))));
  EXPECT_EQ(s.solve(), 0);
}

TEST(DeepInput, ManyAssertionsAreOneConjunction) {
  Session s;
  for (int i = 0; i < 100000; ++i) s.add(s.either(numbered(s, "a", i), numbered(s, "a", i + 1)));
  EXPECT_EQ(s.solve(), 1);
}

TEST(DeepInput, ManyBacktrackPoints) {
  Session s;
  const ordax_term x = s.real("x");
  for (int i = 0; i < 300; ++i) {
    ordax_push_backtrack_point(s);
    s.add(s.less(s.number(std::to_string(i).c_str()), x));
    if (i % 50 == 0) {
      ASSERT_EQ(s.solve(), 1);
    }
  }
  s.add(s.leq(x, s.number("299")));
  EXPECT_EQ(s.solve(), 0);
  for (int i = 0; i < 300; ++i) ASSERT_EQ(ordax_pop_backtrack_point(s), 0);
  s.add(s.leq(x, s.number("-1")));
  EXPECT_EQ(s.solve(), 1);
}

}  // namespace
}  // namespace ordax_testing
