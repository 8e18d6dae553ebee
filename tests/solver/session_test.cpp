// Sessions as a whole: what they leave behind, what they may use, and terms as callers write them.
#include <gtest/gtest.h>

#include <string>

#include "tests/solver/session.h"

namespace ordax_testing {
namespace {

long statistic(const Session& s, const std::string& name) {
  char* const text = ordax_statistics(s);
  const std::string all = text;
  ordax_free(text);
  return std::stol(all.substr(all.find(name + " = ") + name.size() + 3));
}

// A popped atom leaves no row, and variables that were there before serve on.
TEST(Sessions, WhatIsPoppedLeavesTheTableau) {
  Session s;
  const ordax_term x = s.real("x");
  const ordax_term y = s.real("y");
  const ordax_term i = s.integer("i");
  s.add(s.leq(s.plus(x, y), s.number("10")));
  EXPECT_EQ(s.solve(), 1);
  const long rows = statistic(s, "num tableau rows");
  const long variables = statistic(s, "num tableau variables");
  for (int round = 2; round < 60; ++round) {
    const ordax_term factor = s.number(std::to_string(round).c_str());
    const ordax_term z = s.real(("z" + std::to_string(round)).c_str());
    ordax_push_backtrack_point(s);
    s.add(s.leq(s.number("7"), s.plus(x, s.times(factor, z))));
    s.add(s.leq(s.plus(z, y), s.number("-1")));
    s.add(s.leq(s.number("1"), s.plus(i, z)));
    EXPECT_EQ(s.solve(), 1);
    ordax_push_backtrack_point(s);
    s.add(s.less(s.plus(x, s.plus(y, z)), s.plus(x, s.plus(y, z))));
    s.add(s.leq(s.plus(x, s.number("1")), s.plus(s.number("7"), s.times(s.number("-2"), z))));
    s.add(s.leq(s.number("20"), s.plus(x, y)));
    EXPECT_EQ(s.solve(), 0);
    ordax_pop_backtrack_point(s);
    EXPECT_EQ(s.solve(), 1);
    ordax_pop_backtrack_point(s);
    EXPECT_EQ(s.solve(), 1);
    EXPECT_EQ(statistic(s, "num tableau rows"), rows) << round;
    EXPECT_EQ(statistic(s, "num tableau variables"), variables) << round;
  }
}

// Pivoting through a chain of facts would fill the tableau with the square of its length.
TEST(Sessions, ALongChainKeepsItsRowsShort) {
  Session s;
  ordax_term last = s.real("t0");
  for (int k = 1; k < 2000; ++k) {
    const ordax_term next = s.real(("t" + std::to_string(k)).c_str());
    s.add(s.less(last, next));
    last = next;
  }
  EXPECT_EQ(s.solve(), 1);
  EXPECT_LT(statistic(s, "max tableau row length"), 20);
}

// Seven pigeons in six holes.
void assert_pigeons(Session& s) {
  const auto in = [&s](int pigeon, int hole) {
    return s.boolean(("p" + std::to_string(pigeon) + "_" + std::to_string(hole)).c_str());
  };
  for (int pigeon = 0; pigeon < 7; ++pigeon) {
    ordax_term somewhere = ordax_make_false(s);
    for (int hole = 0; hole < 6; ++hole) {
      somewhere = s.either(somewhere, in(pigeon, hole));
      for (int other = 0; other < pigeon; ++other) {
        s.add(s.either(s.negation(in(pigeon, hole)), s.negation(in(other, hole))));
      }
    }
    s.add(somewhere);
  }
}

TEST(Sessions, LimitsEndACheckWithAnAnswerOfTheirOwn) {
  const std::pair<Options, const char*> limits[] = {
      {{{"limits.conflicts", "20"}}, "the limit on conflicts is reached"},
      {{{"limits.cpu_time", "1e-9"}}, "the limit on processor time is reached"},
      {{{"limits.memory", "1"}}, "the limit on memory is reached"}};
  for (const auto& [options, text] : limits) {
    Session s(options);
    const ordax_term p = s.boolean("p");
    assert_pigeons(s);
    EXPECT_EQ(s.solve(), ORDAX_LIMIT) << options[0].first;
    EXPECT_STREQ(ordax_last_error_message(s), text);
    EXPECT_TRUE(ORDAX_FAILED(ordax_get_model_value(s, p)));
    EXPECT_EQ(s.solve({p}), ORDAX_LIMIT) << "the limit is that of one check";
    EXPECT_EQ(ordax_all_sat(s, &p, 1, nullptr, nullptr), -1);
  }
  Session roomy(Options{{"limits.conflicts", "100000"}, {"limits.cpu_time", "1000"}});
  assert_pigeons(roomy);
  EXPECT_EQ(roomy.solve(), ORDAX_UNSAT);
}

TEST(Sessions, AssertionsOfAnAllSatCallbackStay) {
  struct World {
    Session s;
    ordax_term p = s.boolean("p");
    ordax_term q = s.boolean("q");
    int models = 0;
  } world;
  Session& s = world.s;
  s.add(s.either(world.p, world.q));
  const ordax_term both[] = {world.p, world.q};
  const auto on_model = [](const ordax_term*, size_t, void* data) {
    World& w = *static_cast<World*>(data);
    if (w.models++ == 0) {
      EXPECT_EQ(ordax_push_backtrack_point(w.s), -1);
      EXPECT_EQ(ordax_reset_env(w.s), -1);
      EXPECT_EQ(w.s.last_error(), "reset inside an All-SAT callback");
      w.s.add(w.s.iff(w.p, w.s.negation(w.q)));
    }
    return 1;
  };
  EXPECT_LE(ordax_all_sat(s, both, 2, on_model, &world), 3);
  EXPECT_EQ(s.solve({world.p, world.q}), 0);
  EXPECT_EQ(s.solve({world.p}), 1);
  EXPECT_EQ(ordax_pop_backtrack_point(s), -1) << "no backtrack point is left";
}

TEST(Sessions, TermsAsWrittenAreCheckedAllTheSame) {
  Session s(Options{{"debug.term_simplifications", "false"}});
  const ordax_term x = s.real("x");
  const ordax_term i = s.integer("i");
  const ordax_term p = s.boolean("p");
  EXPECT_EQ(s.text(s.both(p, p)), "(and p p)");
  s.add(s.both(ordax_make_true(s), s.both(s.either(p, ordax_make_false(s)), s.iff(p, p))));
  s.add(s.leq(s.plus(x, x), s.plus(s.number("3"), s.number("4"))));
  s.add(s.less(s.number("3"), x));
  s.add(s.equal(s.times(s.number("2"), i), s.times(s.number("6"), s.number("1"))));
  EXPECT_EQ(s.solve(), 1) << s.last_error();
  EXPECT_EQ(s.value(i), "3");
  EXPECT_EQ(s.solve({s.negation(s.negation(s.negation(p)))}), 0);
  ordax_push_backtrack_point(s);
  s.add(s.equal(s.plus(i, i), s.number("7")));
  EXPECT_EQ(s.solve(), 0);
  ordax_pop_backtrack_point(s);
  EXPECT_EQ(s.solve(), 1);
}

TEST(Sessions, AFactorOfChosenNumbersIsLinear) {
  Session s;
  const ordax_term x = s.real("x");
  const ordax_term two_or_three =
      ordax_make_term_ite(s, s.boolean("b"), s.number("2"), s.number("3"));
  const ordax_term factor = s.plus(two_or_three, s.number("1"));
  s.add(s.equal(s.times(factor, x), s.number("12")));
  s.add(s.equal(s.times(s.times(factor, two_or_three), s.real("y")), s.number("12")));
  EXPECT_EQ(s.solve({s.boolean("b")}), 1) << s.last_error();
  EXPECT_EQ(s.value(x) + " " + s.value(s.real("y")), "4 2");
  EXPECT_EQ(s.solve({s.negation(s.boolean("b"))}), 1) << s.last_error();
  EXPECT_EQ(s.value(x) + " " + s.value(s.real("y")), "3 1");
  s.add(s.leq(s.times(s.plus(x, two_or_three), x), s.number("1")));
  EXPECT_EQ(s.solve(), -1) << "x times x is not linear";
}

TEST(Sessions, TextsAreOfTheStandardLanguage) {
  Session s;
  const ordax_term x = s.real("a name");
  EXPECT_EQ(s.text(s.leq(s.plus(x, s.real("y")), s.number("5/2"))), "(<= (+ |a name| y) 5/2)");
  EXPECT_EQ(s.text(s.negation(s.boolean("p"))), "(not p)");
}

}  // namespace
}  // namespace ordax_testing
