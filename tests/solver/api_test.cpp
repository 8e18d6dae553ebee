// The flat interface: answers, models, the assertion stack, and what bad calls leave behind.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/solver/session.h"

namespace ordax_testing {
namespace {

constexpr ordax_term NO_TERM = {nullptr};

using ListCall = ordax_term* (*)(ordax_env, std::size_t*);

std::vector<ordax_term> list_of(const Session& session, ListCall call) {
  std::size_t count = 0;
  ordax_term* array = call(session, &count);
  std::vector<ordax_term> result;
  for (std::size_t i = 0; array != nullptr && i < count; ++i) result.push_back(array[i]);
  ordax_free(array);
  return result;
}

TEST(Api, AnEmptyEnvironmentIsSatisfiableAndHasAModel) {
  Session s;
  EXPECT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(s.boolean("p")), "false");
  EXPECT_EQ(s.value(s.real("x")), "0");
  EXPECT_EQ(s.value(s.plus(s.real("x"), s.number("1/2"))), "1/2");
}

TEST(Api, FalseIsUnsatisfiableAndHasNoModel) {
  Session s;
  s.add(ordax_make_false(s));
  EXPECT_EQ(s.solve(), 0);
  EXPECT_EQ(s.value(s.real("x")), "error: no model available");
  EXPECT_EQ(s.solve(), 0);
}

TEST(Api, StrictBoundsGetValuesBetween) {
  Session s;
  const ordax_term x = s.real("x");
  s.add(s.less(s.number("0"), x));
  s.add(s.less(x, s.number("1")));
  ASSERT_EQ(s.solve(), 1);
  const std::string inside =
      s.text(ordax_get_model_value(s, s.both(s.less(s.number("0"), x), s.less(x, s.number("1")))));
  EXPECT_EQ(inside, "true");
  const ordax_term i = s.integer("i");
  s.add(s.less(s.number("0"), i));
  s.add(s.less(i, s.number("1")));
  EXPECT_EQ(s.solve(), 0);
}

TEST(Api, DenominatorsMixWithIntegers) {
  // Constants with denominators are scaled where they meet no integer; the values must not be.
  Session s(Options{{"preprocessor.toplevel_propagation", "false"}});
  const ordax_term x = s.real("x");
  const ordax_term y = s.real("y");
  const ordax_term i = s.integer("i");
  const ordax_term third = s.plus(i, s.number("1/3"));
  s.add(s.equal(x, third));
  s.add(s.equal(s.plus(x, y), s.number("17/5")));
  s.add(s.leq(s.number("5/4"), i));
  s.add(s.leq(i, s.number("9/4")));
  s.add(s.less(s.number("1"), y));
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(i), "2");
  EXPECT_EQ(s.value(x), "7/3");
  EXPECT_EQ(s.value(y), "16/15");
  // A denominator that was not there when the scale was chosen.
  const ordax_term z = s.real("z");
  s.add(s.less(s.number("16/7"), z));
  s.add(s.less(z, s.number("17/7")));
  s.add(s.equal(s.plus(z, z), s.plus(x, x)));
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(z), "7/3");
  s.add(s.less(x, z));
  EXPECT_EQ(s.solve(), 0);
}

TEST(Api, StrictBoundsGetReadableValuesWithDenominatorsAround) {
  Session s(Options{{"preprocessor.toplevel_propagation", "false"}});
  const ordax_term x = s.real("x");
  const ordax_term y = s.real("y");
  s.add(s.less(s.number("3"), x));
  s.add(s.leq(s.plus(x, s.number("1/7")), y));
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(s.value(x), "4");
}

TEST(Api, TheLimitOnBranchesIsThatOfOneCheck) {
  // Each check splits on an unbounded variable some times; the sum is beyond the limit of one.
  Session s(Options{{"theory.la.laz_internal_branch_and_bound", "false"},
                    {"theory.la.laz_equality_elimination", "false"},
                    {"theory.la.laz_unit_cube_test", "false"},
                    {"theory.la.laz_cuts_from_proofs_mode", "0"}});
  for (int k = 0; k < 700; ++k) {
    ordax_push_backtrack_point(s);
    const ordax_term x = s.integer(("x" + std::to_string(k)).c_str());
    const ordax_term y = s.integer(("y" + std::to_string(k)).c_str());
    const ordax_term sum = s.plus(s.times(s.number("2"), x), s.times(s.number("3"), y));
    s.add(s.leq(s.number("7"), sum));
    s.add(s.leq(sum, s.number("7")));
    ASSERT_EQ(s.solve(), 1) << k << " " << s.last_error();
    ordax_pop_backtrack_point(s);
  }
}

TEST(Api, StatisticsCountWhatTheEnginesDid) {
  Session s;
  const auto count_of = [&s](const std::string& key) {
    char* const text = ordax_statistics(s);
    const std::string all = text;
    ordax_free(text);
    const std::size_t place = all.find(key + " = ");
    return place == std::string::npos ? -1 : std::atoi(all.c_str() + place + key.size() + 3);
  };
  EXPECT_EQ(count_of("dpll conflicts"), 0);
  EXPECT_EQ(count_of("num tableau rows"), 0);
  const ordax_term sum = s.plus(s.real("x"), s.real("y"));
  s.add(s.either(s.leq(sum, s.number("3")), s.boolean("p")));
  s.add(s.either(s.leq(s.number("4"), sum), s.boolean("p")));
  ASSERT_EQ(s.solve(), 1);
  EXPECT_EQ(count_of("num tableau rows"), 1);
  EXPECT_GT(count_of("dpll decisions"), 0);
  EXPECT_EQ(ordax_statistics(ordax_env{nullptr}), nullptr);
}

TEST(Api, TheSolverCanBeSwitchedOff) {
  Session s(Options{{"debug.solver_enabled", "false"}});
  EXPECT_EQ(s.solve(), -1);
}

TEST(Api, ModelsNeedTheirOption) {
  Session none({}, /*with_model=*/false);
  EXPECT_EQ(none.solve(), 1);
  EXPECT_EQ(none.value(none.boolean("p")), "error: model generation not enabled");
  Session bools(Options{{"bool_model_generation", "true"}}, /*with_model=*/false);
  const ordax_term p = bools.boolean("p");
  const ordax_term x = bools.real("x");
  bools.add(p);
  bools.add(bools.leq(x, bools.number("3")));
  ASSERT_EQ(bools.solve(), 1);
  EXPECT_EQ(bools.value(p), "true");
  EXPECT_EQ(bools.value(x), "error: model generation not enabled");
}

TEST(Api, ChangesOfTheStackDropTheModelAndBuildingTermsKeepsIt) {
  Session s;
  const ordax_term x = s.real("x");
  s.add(s.equal(x, s.number("7/3")));
  ASSERT_EQ(s.solve(), 1);
  const ordax_term twice = s.times(s.number("2"), x);
  EXPECT_EQ(s.value(twice), "14/3");
  EXPECT_EQ(s.value(ordax_make_floor(s, twice)), "4");
  ordax_push_backtrack_point(s);
  EXPECT_EQ(s.value(x), "error: no model available");
  ASSERT_EQ(s.solve(), 1);
  ordax_pop_backtrack_point(s);
  EXPECT_EQ(s.value(x), "error: no model available");
  ASSERT_EQ(s.solve(), 1);
  s.add(ordax_make_true(s));
  EXPECT_EQ(s.value(x), "error: no model available");
}

TEST(Api, AFailedCheckLeavesTheStackUsable) {
  Session s;
  const ordax_term x = s.real("x");
  const ordax_term y = s.real("y");
  s.add(s.less(s.number("2"), x));
  const std::vector<std::pair<ordax_term, std::string>> unanswerable = {
      {s.leq(s.times(x, y), s.number("1")), "linear"},
      {s.leq(ordax_make_divide(s, x, y), s.number("1")), "nonlinear arithmetic"},
      {s.leq(ordax_make_divide(s, x, s.number("0")), s.number("1")), "nonlinear arithmetic"},
  };
  for (const auto& [formula, text] : unanswerable) {
    ordax_push_backtrack_point(s);
    ASSERT_EQ(s.add(formula), 0);
    EXPECT_EQ(s.solve(), -1);
    EXPECT_NE(s.last_error().find(text), std::string::npos) << s.last_error();
    EXPECT_EQ(s.solve(), -1) << "and again";
    ASSERT_EQ(ordax_pop_backtrack_point(s), 0);
    EXPECT_EQ(s.solve(), 1);
  }
  s.add(s.less(x, s.number("1")));
  EXPECT_EQ(s.solve(), 0);
}

TEST(Api, UninterpretedFunctionsAreRefusedAtTheCheck) {
  Session s;
  const ordax_type real = ordax_get_rational_type(s);
  const ordax_type unary = ordax_get_function_type(s, &real, 1, real);
  const ordax_decl f = ordax_declare_function(s, "f", unary);
  const ordax_term x = s.real("x");
  const ordax_term fx = ordax_make_function(s, f, &x, 1);
  ASSERT_FALSE(ORDAX_FAILED(fx)) << s.last_error();
  ordax_push_backtrack_point(s);
  s.add(s.leq(fx, x));
  EXPECT_EQ(s.solve(), -1);
  EXPECT_NE(s.last_error(), "");
  ordax_pop_backtrack_point(s);
  EXPECT_EQ(s.solve(), 1);
  const ordax_type thing = ordax_get_simple_type(s, "Thing");
  const ordax_term a = ordax_make_constant(s, ordax_declare_function(s, "a", thing));
  const ordax_term b = ordax_make_constant(s, ordax_declare_function(s, "b", thing));
  s.add(s.negation(s.equal(a, b)));
  EXPECT_EQ(s.solve(), -1);
}

TEST(Api, ATerminationTestStopsAndTheNextCheckStartsAfresh) {
  Session s;
  std::vector<ordax_term> pigeons;
  for (int i = 0; i < 8; ++i) {
    ordax_term somewhere = ordax_make_false(s);
    for (int h = 0; h < 7; ++h) {
      pigeons.push_back(s.boolean(("p" + std::to_string(i) + "_" + std::to_string(h)).c_str()));
      somewhere = s.either(somewhere, pigeons.back());
    }
    s.add(somewhere);
  }
  for (std::size_t h = 0; h < 7; ++h) {
    for (std::size_t i = 0; i < 8; ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        s.add(s.negation(s.both(pigeons[i * 7 + h], pigeons[j * 7 + h])));
      }
    }
  }
  int calls = 0;
  const auto stop = [](void* data) { return ++*static_cast<int*>(data) > 3 ? 1 : 0; };
  ASSERT_EQ(ordax_set_termination_test(s, stop, &calls), 0);
  EXPECT_EQ(s.solve(), -1);
  EXPECT_EQ(s.last_error(), "user-requested termination");
  EXPECT_EQ(s.solve(), -1);
  ASSERT_EQ(ordax_set_termination_test(s, nullptr, nullptr), 0);
  EXPECT_EQ(s.solve(), 0);
}

TEST(Api, BacktrackPointsNest) {
  Session s;
  const ordax_term x = s.real("x");
  EXPECT_EQ(ordax_pop_backtrack_point(s), -1);
  EXPECT_EQ(s.last_error(), "no backtrack points to pop");
  s.add(s.leq(s.number("0"), x));
  ordax_push_backtrack_point(s);
  ordax_push_backtrack_point(s);
  s.add(s.less(x, s.number("0")));
  EXPECT_EQ(s.solve(), 0);
  ordax_push_backtrack_point(s);
  EXPECT_EQ(s.solve(), 0);
  ordax_pop_backtrack_point(s);
  EXPECT_EQ(s.solve(), 0);
  ordax_pop_backtrack_point(s);
  EXPECT_EQ(s.solve(), 1);
  s.add(ordax_make_false(s));
  ordax_push_backtrack_point(s);
  EXPECT_EQ(s.solve(), 0);
  ordax_pop_backtrack_point(s);
  EXPECT_EQ(s.solve(), 0) << "what was asserted before the push stays after the pop";
  ordax_pop_backtrack_point(s);
  EXPECT_EQ(s.solve(), 1);
  s.add(ordax_make_false(s));
  ASSERT_EQ(ordax_reset_env(s), 0);
  EXPECT_EQ(s.solve(), 1);
  EXPECT_EQ(ordax_pop_backtrack_point(s), -1);
}

TEST(Api, AssumptionsHoldForOneCheck) {
  Session s;
  const ordax_term p = s.boolean("p");
  const ordax_term q = s.boolean("q");
  const ordax_term x = s.real("x");
  s.add(s.iff(p, s.leq(x, s.number("3"))));
  s.add(s.equal(x, s.number("5")));
  s.add(s.negation(q));
  const ordax_term never = ordax_make_false(s);
  const ordax_term yes = ordax_make_true(s);
  const struct {
    std::vector<ordax_term> assumptions;
    int result;
    std::size_t failed;
  } cases[] = {
      {{}, 1, 0},
      {{yes, yes}, 1, 0},
      {{p}, 0, 1},
      {{s.negation(p), yes, s.negation(p)}, 1, 0},
      {{s.negation(p), p}, 0, 1},
      {{q}, 0, 1},
      {{yes, never}, 0, 1},
      {{s.either(p, q)}, 0, 1},
      {{s.leq(x, s.number("4")), s.negation(q)}, 0, 1},
      {{s.less(s.number("4"), x)}, 1, 0},
      {{s.boolean("r"), s.negation(s.boolean("r"))}, 0, 2},
      {{s.boolean("r"), s.boolean("r")}, 1, 0},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(s.solve(c.assumptions), c.result) << s.last_error();
    const std::vector<ordax_term> failed = list_of(s, ordax_get_unsat_assumptions);
    if (c.result == 1) {
      EXPECT_EQ(s.last_error(), "the environment status is not UNSAT");
    } else {
      EXPECT_EQ(failed.size(), c.failed);
    }
  }
  EXPECT_EQ(s.solve(), 1);
  EXPECT_EQ(s.solve({x}), -1) << "not a Boolean";
}

TEST(Api, CoresNameTheAssertionsInOrder) {
  Session s(Options{{"unsat_core_generation", "3"}});
  const ordax_term x = s.real("x");
  const ordax_term y = s.real("y");
  const std::vector<ordax_term> formulas = {s.leq(y, s.number("100")), s.leq(s.number("3"), x),
                                            s.boolean("p"), s.leq(x, y), s.leq(y, s.number("2"))};
  for (const ordax_term f : formulas) s.add(f);
  ASSERT_EQ(s.solve(), 0);
  const std::vector<ordax_term> core = list_of(s, ordax_get_unsat_core);
  ASSERT_EQ(core.size(), 3U);
  EXPECT_EQ(core[0].repr, formulas[1].repr);
  EXPECT_EQ(core[1].repr, formulas[3].repr);
  EXPECT_EQ(core[2].repr, formulas[4].repr);
  Session plain;
  std::size_t count = 0;
  EXPECT_EQ(ordax_get_unsat_core(plain, &count), nullptr);
  EXPECT_EQ(plain.last_error(), "unsat core generation not enabled");
}

struct Seen {
  Session* session;
  std::multiset<std::string> models;
  int stop_after;
};

int note_model(const ordax_term* literals, std::size_t count, void* data) {
  Seen& seen = *static_cast<Seen*>(data);
  std::string model;
  for (std::size_t i = 0; i < count; ++i) model += seen.session->text(literals[i]) + " ";
  seen.models.insert(model);
  return static_cast<int>(seen.models.size()) != seen.stop_after;
}

TEST(Api, AllSatVisitsEachAssignmentOnce) {
  for (const char* propagation : {"true", "false"}) {
    Session s(Options{{"preprocessor.toplevel_propagation", propagation}});
    const ordax_term p = s.boolean("p");
    const ordax_term q = s.boolean("q");
    const ordax_term r = s.boolean("r");
    const ordax_term x = s.real("x");
    s.add(s.either(p, q));
    s.add(s.iff(r, s.leq(x, s.number("2"))));
    s.add(s.either(s.negation(p), s.less(s.number("3"), x)));
    const ordax_term important[] = {p, q, r};
    Seen seen{&s, {}, -1};
    EXPECT_EQ(ordax_all_sat(s, important, 3, note_model, &seen), 4);
    EXPECT_EQ(seen.models, (std::multiset<std::string>{"p q (not r) ", "p (not q) (not r) ",
                                                       "(not p) q r ", "(not p) q (not r) "}));
    EXPECT_EQ(s.solve(), 1) << "the blocking clauses are gone";
    Seen first{&s, {}, 2};
    EXPECT_EQ(ordax_all_sat(s, important, 3, note_model, &first), 2);
    EXPECT_EQ(ordax_all_sat(s, important, 0, note_model, &seen), 1);
    const ordax_term compound = s.both(p, q);
    EXPECT_EQ(ordax_all_sat(s, &compound, 1, note_model, &seen), -1);
    EXPECT_EQ(s.last_error(), "allsat important symbols might only be Boolean constants");
  }
}

TEST(Api, AllSatMayRepeatAnAssignment) {
  for (const bool repeats : {false, true}) {
    Session s(Options{{"dpll.allsat_allow_duplicates", repeats ? "true" : "false"}});
    const ordax_term p = s.boolean("p");
    s.add(s.either(p, s.both(s.boolean("q"), s.boolean("r"))));
    Seen seen{&s, {}, -1};
    EXPECT_EQ(ordax_all_sat(s, &p, 1, note_model, &seen), repeats ? 5 : 2);
    EXPECT_EQ(seen.models.count("p "), repeats ? 4U : 1U);
    EXPECT_EQ(seen.models.count("(not p) "), 1U);
  }
}

TEST(Api, MinimizedAllSatCoversTheAssignments) {
  Session s(Options{{"dpll.allsat_minimize_model", "true"}});
  const ordax_term important[] = {s.boolean("p"), s.boolean("q"), s.boolean("r")};
  s.add(s.either(important[0], s.both(important[1], important[2])));
  std::set<unsigned> covered;
  const auto cover = [](const ordax_term* literals, std::size_t count, void* data) {
    auto& [terms, all] = *static_cast<std::pair<const ordax_term*, std::set<unsigned>*>*>(data);
    for (unsigned bits = 0; bits < 8; ++bits) {
      bool inside = true;
      for (std::size_t i = 0; i < count; ++i) {
        for (unsigned v = 0; v < 3; ++v) {
          const bool value = ((bits >> v) & 1U) != 0;
          if (literals[i].repr == terms[v].repr && !value) inside = false;
          if (literals[i].repr != terms[v].repr && value) {
            char* text = ordax_term_repr(literals[i]);
            char* name = ordax_term_repr(terms[v]);
            if (std::string(text) == "(not " + std::string(name) + ")") inside = false;
            ordax_free(text);
            ordax_free(name);
          }
        }
      }
      if (inside) all->insert(bits);
    }
    return 1;
  };
  std::pair<const ordax_term*, std::set<unsigned>*> data{important, &covered};
  EXPECT_GT(ordax_all_sat(s, important, 3, cover, &data), 0);
  EXPECT_EQ(covered, (std::set<unsigned>{1, 3, 5, 6, 7}));
}

TEST(Api, TheModelIteratorWalksTheConstantsOfTheAssertions) {
  Session s;
  const ordax_term x = s.real("x");
  s.integer("unused");
  const ordax_term p = s.boolean("p");
  const ordax_term i = s.integer("i");
  s.add(s.both(p, s.equal(s.plus(x, i), s.number("5/2"))));
  s.add(s.equal(i, s.number("2")));
  EXPECT_TRUE(ORDAX_FAILED(ordax_create_model_iterator(s)));
  ASSERT_EQ(s.solve(), 1);
  const ordax_model_iterator iterator = ordax_create_model_iterator(s);
  std::string text;
  while (ordax_model_iterator_has_next(iterator) == 1) {
    ordax_term term;
    ordax_term value;
    ASSERT_EQ(ordax_model_iterator_next(iterator, &term, &value), 0);
    text += s.text(term) + "=" + s.text(value) + " ";
  }
  EXPECT_EQ(ordax_model_iterator_next(iterator, nullptr, nullptr), -1);
  ordax_destroy_model_iterator(iterator);
  EXPECT_EQ(text, "x=1/2 p=true i=2 ");
  EXPECT_EQ(ordax_model_iterator_has_next({nullptr}), -1);
}

TEST(Api, FailedHandlesAreRefusedAndTheFirstTextStays) {
  Session s;
  const ordax_term bad = s.number("1e3");
  EXPECT_TRUE(ORDAX_FAILED(bad));
  const std::string text = "invalid argument to Number::from_str: 1e3";
  EXPECT_EQ(s.last_error(), text);
  const ordax_term x = s.real("x");
  EXPECT_TRUE(ORDAX_FAILED(s.plus(x, bad)));
  EXPECT_TRUE(ORDAX_FAILED(s.leq(s.plus(x, bad), x)));
  EXPECT_TRUE(ORDAX_FAILED(s.equal(bad, bad)));
  EXPECT_TRUE(ORDAX_FAILED(ordax_make_term_ite(s, bad, x, x)));
  EXPECT_EQ(s.add(bad), -1);
  EXPECT_EQ(s.last_error(), text);
  EXPECT_EQ(ordax_term_repr(bad), nullptr);
  EXPECT_EQ(ordax_term_id(bad), 0U);
  EXPECT_EQ(ordax_term_is_true(s, bad), -1);
  EXPECT_EQ(s.solve(), 1);
}

TEST(Api, NullAndForeignHandlesAreRefused) {
  const ordax_env none = {nullptr};
  EXPECT_EQ(ordax_solve(none), -1);
  EXPECT_EQ(ordax_assert_formula(none, NO_TERM), -1);
  EXPECT_EQ(ordax_push_backtrack_point(none), -1);
  EXPECT_TRUE(ORDAX_FAILED(ordax_make_true(none)));
  EXPECT_TRUE(ORDAX_FAILED(ordax_get_bool_type(none)));
  EXPECT_NE(ordax_last_error_message(none), nullptr);
  ordax_destroy_env(none);
  ordax_destroy_config({nullptr});
  ordax_free(nullptr);
  EXPECT_TRUE(ORDAX_FAILED(ordax_create_env({nullptr})));
  const std::string text = ordax_last_error_message(none);

  Session s;
  EXPECT_TRUE(ORDAX_FAILED(s.number("many")));
  EXPECT_EQ(ordax_last_error_message(none), text) << "the failure was another environment's";
  Session other;
  const ordax_term foreign = other.boolean("p");
  EXPECT_EQ(s.add(foreign), -1);
  EXPECT_EQ(s.last_error(), "a term of another environment");
  EXPECT_TRUE(ORDAX_FAILED(s.both(s.boolean("p"), foreign)));
  EXPECT_EQ(s.solve({foreign}), -1);
  EXPECT_TRUE(ORDAX_FAILED(ordax_declare_function(s, "x", ordax_get_bool_type(other))));
  EXPECT_EQ(s.last_error(), "a type of another environment");
  const ordax_decl decl = ordax_declare_function(other, "q", ordax_get_bool_type(other));
  EXPECT_TRUE(ORDAX_FAILED(ordax_make_constant(s, decl)));
  EXPECT_EQ(s.last_error(), "a declaration of another environment");
  EXPECT_EQ(s.add(s.real("x")), -1) << "not a Boolean";
  EXPECT_TRUE(ORDAX_FAILED(ordax_declare_function(s, nullptr, ordax_get_bool_type(s))));
  EXPECT_TRUE(ORDAX_FAILED(s.number(nullptr)));
  EXPECT_EQ(ordax_get_unsat_assumptions(s, nullptr), nullptr);
  EXPECT_EQ(s.solve(), 1);
}

TEST(Api, WhatIsNotBuiltIsNamed) {
  Session s;
  const ordax_term x = s.real("x");
  const struct {
    bool failed;
    const char* feature;
  } cases[] = {
      {ORDAX_FAILED(ordax_get_bv_type(s, 8)), "bit-vectors"},
      {ORDAX_FAILED(ordax_make_bv_plus(s, x, x)), "bit-vectors"},
      {ORDAX_FAILED(ordax_make_array_read(s, x, x)), "arrays"},
      {ORDAX_FAILED(ordax_make_fp_leq(s, x, x)), "floating point"},
      {ORDAX_FAILED(ordax_make_exp(s, x)), "transcendental"},
      {ORDAX_FAILED(ordax_make_pow(s, x, x)), "powers"},
      {ORDAX_FAILED(ordax_make_minimize(s, x)), "optimization"},
      {ORDAX_FAILED(ordax_get_interpolant(s, nullptr, 0)), "interpolation"},
  };
  for (const auto& c : cases) EXPECT_TRUE(c.failed) << c.feature;
  ordax_get_array_type(s, ordax_get_bool_type(s), ordax_get_bool_type(s));
  EXPECT_EQ(s.last_error(), "missing feature: arrays");
  EXPECT_EQ(ordax_create_itp_group(s), -1);
  EXPECT_EQ(s.last_error(), "Interpolation not enabled in this environment");
  EXPECT_TRUE(ORDAX_FAILED(ordax_create_opt_env(ordax_config{nullptr})));
  EXPECT_STREQ(ordax_last_error_message({nullptr}), "missing feature: optimization");
}

TEST(Api, ManyEnvironmentsComeAndGo) {
  for (int i = 0; i < 2000; ++i) {
    Session s;
    const ordax_term x = s.integer("x");
    s.add(s.leq(s.number(std::to_string(i).c_str()), x));
    s.add(s.leq(x, s.number(std::to_string(i).c_str())));
    ASSERT_EQ(s.solve(), 1);
    ASSERT_EQ(s.value(x), std::to_string(i));
  }
}

// ---------------------------------------------------------------- traces

std::string trace_of(const char* mode, const std::string& path) {
  {
    Session s(Options{{"debug.api_call_trace", mode},
                      {"debug.api_call_trace_filename", path},
                      {"debug.api_call_trace_dump_config", "false"}});
    const ordax_term x = s.real("x");
    const ordax_term i = s.integer("an int");
    ordax_push_backtrack_point(s);
    s.add(s.leq(s.plus(x, i), s.number("-5/2")));
    EXPECT_EQ(s.solve({s.boolean("let")}), 1);
    ordax_pop_backtrack_point(s);
    s.add(s.less(x, ordax_make_term_ite(s, s.boolean("let"), i, s.number("1"))));
    EXPECT_EQ(s.solve(), 1);
    ordax_reset_env(s);
  }
  std::ifstream stream(path);
  std::ostringstream text;
  text << stream.rdbuf();
  std::remove(path.c_str());
  return text.str();
}

TEST(Trace, ScriptsReplayTheSession) {
  const std::string path = testing::TempDir() + "ordax_trace.smt2";
  const std::string global = trace_of("1", path);
  EXPECT_EQ(global.substr(0, global.find("(push")),
            "(set-option :global-declarations true)\n(set-option :produce-models true)\n"
            "(set-logic ALL)\n");
  EXPECT_NE(global.find("(declare-fun |an int| () Int)\n"), std::string::npos) << global;
  EXPECT_NE(global.find("(+ x (to_real |an int|))"), std::string::npos) << global;
  EXPECT_NE(global.find("(- (/ 5.0 2.0))"), std::string::npos) << global;
  EXPECT_EQ(global.find("() Bool)\n(assert let"), std::string::npos) << "a reserved word";
  const auto count = [](const std::string& text, const std::string& part) {
    int found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
      ++found;
    }
    return found;
  };
  EXPECT_EQ(count(global, "(declare-fun x "), 1);
  EXPECT_EQ(count(global, "(check-sat)"), 2);
  const std::string scoped = trace_of("3", path);
  EXPECT_EQ(count(scoped, "(declare-fun x "), 2) << "the pop takes the declaration back";
  EXPECT_EQ(count(scoped, "(push 1)"), count(scoped, "(pop 1)"));
}

// The values belong to the check under assumptions, so its scope is still open for them.
TEST(Trace, ValuesAreAskedForBeforeTheScopeOfAssumptionsEnds) {
  const std::string path = testing::TempDir() + "ordax_trace_values.smt2";
  {
    Session s(Options{{"debug.api_call_trace", "1"}, {"debug.api_call_trace_filename", path}});
    const ordax_term p = s.boolean("p");
    EXPECT_EQ(s.solve({p}), 1);
    EXPECT_EQ(s.value(p), "true");
    s.add(s.negation(p));
    EXPECT_EQ(s.solve(), 1);
  }
  std::ifstream stream(path);
  std::ostringstream text;
  text << stream.rdbuf();
  std::remove(path.c_str());
  EXPECT_NE(
      text.str().find("(assert p)\n(check-sat)\n(get-value (p))\n(pop 1)\n(assert (not p))\n"),
      std::string::npos)
      << text.str();
}

TEST(Trace, AFileThatCannotBeWrittenIsNoFailure) {
  Session s(Options{{"debug.api_call_trace", "1"},
                    {"debug.api_call_trace_filename", "/nowhere/at/all.smt2"}});
  EXPECT_EQ(s.error(), "");
  EXPECT_EQ(s.solve(), 1);
}

}  // namespace
}  // namespace ordax_testing
