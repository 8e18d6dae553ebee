#include <utility>

#include "model/domains.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/user_type.h"
#include "tests/unit/parsers/pddl_fixture.h"

namespace kelvo {
namespace {

const std::string kPredicates =
    "(define (domain d) (:predicates (p) (q) (on ?x - t)) (:functions (f) (g ?x - t)) (:types t))";

class PddlReaderTest : public PddlFixture {
 protected:
  /// The statements of an action in the small domain.
  Lines action(const std::string& duration, const std::string& condition, const std::string& effect,
               const std::string& kind = ":durative-action") {
    const std::string text = kPredicates + "(define (domain e) (" + kind +
                             " a :parameters (?x-1 - t) :duration " + duration + " :condition " +
                             condition + " :effect " + effect + "))";
    return sorted(parse(text)->actions().at("a")->expressions());
  }
  Lines conditions(const std::string& condition) {
    Lines lines = action("(= ?duration 1)", condition, "(and)");
    std::erase(lines, "(duration == 1.0)");
    return lines;
  }
  Lines effects(const std::string& effect) {
    Lines lines = action("(= ?duration 1)", "(and)", effect);
    std::erase(lines, "(duration == 1.0)");
    return lines;
  }
  /// The statements of a problem without the closed world.
  Lines statements(const std::string& elements) {
    Lines lines =
        sorted(parse(kPredicates + "(define (problem p) (:objects a b - t) " + elements + ")")
                   ->expressions());
    std::erase_if(lines, [](const std::string& s) {
      return s.starts_with("[start]") && s.ends_with(":= false)");
    });
    return lines;
  }
};

TEST_F(PddlReaderTest, ConditionsKeepTheirTimes) {
  const std::pair<std::string, Lines> cases[] = {
      {"(at start (p))", {"[start] p"}},
      {"(at end (p))", {"[end] p"}},
      {"(over all (p))", {"(all) p"}},  // open on both sides
      {"(and)", {}},
      {"(and (at start (p)) (at end (q)))", {"[end] q", "[start] p"}},
      {"(and (and (at start (p)) (and)) (and (and (over all (q)))))", {"(all) q", "[start] p"}},
      {"(at start (and (p) (q)))", {"[start] (p and q)"}},
      {"(at start (or (p) (not (q)) true))", {"[start] (p or (not q) or true)"}},
      {"(at start (on ?x-1))", {"[start] on(_param_x_1)"}},
      {"(at start (on ?x_1))", {"[start] on(_param_x_1)"}},
      {"(at start p)", {"[start] p"}},
      {"(at start (= (f) 1))", {"[start] (f == 1.0)"}},
      {"(at start (<= (f) (g ?x-1)))", {"[start] (f <= g(_param_x_1))"}},
      {"(at start (>= (f) 02.50))", {"[start] (f >= 5/2)"}},
      {"(at start (> (+ (f) 1 2) (- (f) 010)))", {"[start] (((f + 1.0) + 2.0) > (f - 10.0))"}},
      {"(at start (< (* (f)) (/ (f) 3)))", {"[start] ((f) < (f / 3.0))"}},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(conditions(text), expected) << text;
}

TEST_F(PddlReaderTest, EffectsBecomeAssignments) {
  const std::pair<std::string, Lines> cases[] = {
      {"(at start (p))", {"[start] (p := true)"}},
      {"(at end (not (on ?x-1)))", {"[end] (on(_param_x_1) := false)"}},
      {"(at end (= (f) (+ (f) 1)))", {"[end] (f := (f + 1.0))"}},
      {"(at end (= (p) false))", {"[end] (p := false)"}},
      {"(and)", {}},
      {"(and (at end (and (p) (and (not (q))))) (at start p))",
       {"[end] (p := true)", "[end] (q := false)", "[start] (p := true)"}},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(effects(text), expected) << text;
}

TEST_F(PddlReaderTest, DurationsAreConditionsOrChosenByTheEnvironment) {
  const std::string bounds = "(and (<= ?duration 7) (>= ?duration 3))";
  const std::string chosen = ":uncontrollable-durative-action";
  EXPECT_EQ(action("(= ?duration (g ?x-1))", "(and)", "(and)"),
            Lines{"(duration == g(_param_x_1))"});
  EXPECT_EQ(action(bounds, "(and)", "(and)"), (Lines{"(duration <= 7.0)", "(duration >= 3.0)"}));
  const Lines interval{"(duration :in [3.0, 7.0])"};
  EXPECT_EQ(action(bounds, "(and)", "(and)", chosen), interval);
  EXPECT_EQ(action("(and (>= 7 ?duration) (<= 3 ?duration))", "(and)", "(and)", chosen), interval);
  EXPECT_EQ(action("(= ?duration 5)", "(and)", "(and)", chosen), Lines{"(duration == 5.0)"});
}

TEST_F(PddlReaderTest, WhatAnActionDoesNotHaveMayBeLeftOut) {
  const auto read = [&](const std::string& rest) {
    return sorted(
        parse(kPredicates + "(define (domain e) (:durative-action a :parameters () " + rest + "))")
            ->actions()
            .at("a")
            ->expressions());
  };
  EXPECT_EQ(read(""), Lines{});
  EXPECT_EQ(read(":effect (at end (p))"), Lines{"[end] (p := true)"});
  EXPECT_EQ(read(":condition (at end (p))"), Lines{"[end] p"});
}

TEST_F(PddlReaderTest, ConditionsWithoutATimeAreKeptWithAWarning) {
  EXPECT_EQ(conditions("(and (p) (at start (q)))"), (Lines{"[start] q", "p"}));
  EXPECT_EQ(warnings(),
            Lines{"Action 'a' has a condition without a time: write (at start ...), (over all "
                  "...) or (at end ...)"});
  conditions("(at start (p))");
  EXPECT_TRUE(warnings().empty());
}

TEST_F(PddlReaderTest, ProblemsHaveInitialValuesAndGoals) {
  const std::pair<std::string, Lines> cases[] = {
      {"(:goal (p))", {"[end] p"}},
      {"(:goal (and (p) (or (q) (on a))))", {"[end] (q or on(a))", "[end] p"}},
      {"(:goal (and))", {}},
      {"(:init (p) (not (q)) (= (g a) 2) (= (f) 0.5))",
       {"[start] (f := 1/2)", "[start] (g(a) := 2.0)", "[start] (p := true)"}},
      {"(:init (and (p) (on b)))", {"[start] (on(b) := true)", "[start] (p := true)"}},
      {"(:init (at 5 (p)) (at 7.25 (not (p))) (at 9 (and (q) (= (f) 1))))",
       {"[29/4] (p := false)", "[5.0] (p := true)", "[9.0] (f := 1.0)", "[9.0] (q := true)"}},
      {"(:metric minimize (total-time)) (:domain other)", {}},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(statements(text), expected) << text;
}

TEST_F(PddlReaderTest, GoalsAreAboutTheEnd) {
  const std::pair<std::string, Lines> cases[] = {
      {"(:goal (and (at end (p)) (q)))", {"[end] p", "[end] q"}},
      {"(:goal (at end (and (p) (at end (q)))))", {"[end] p", "[end] q"}},
      {"(:goal (and (and (p) (q)) (p)))", {"[end] (p and q)", "[end] p"}},
      {"(:goal (and (and (at end (p)) (or (q)))))", {"[end] (q)", "[end] p"}},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(statements(text), expected) << text;
    EXPECT_TRUE(warnings().empty()) << text;
  }
  EXPECT_EQ(statements("(:goal (over all (p)))"), Lines{"[end] (all) p"});
  EXPECT_EQ(warnings(), Lines{"Goals hold at the end: write them without a time"});
}

TEST_F(PddlReaderTest, WhatIsNotInitialisedIsFalse) {
  const std::string problem = "(define (problem p) (:objects a b - t c) (:init (p) (on a)))";
  const Lines expected{"[start] (on(a) := true)", "[start] (on(b) := false)", "[start] (p := true)",
                       "[start] (q := false)"};
  EXPECT_EQ(sorted(parse(kPredicates + problem)->expressions()), expected);
  EXPECT_EQ(sorted(parse(problem + kPredicates)->expressions()), expected);  // in either order
}

TEST_F(PddlReaderTest, AValueAtZeroIsNoInitialValue) {
  const model::ProblemInstance problem =
      parse(kPredicates + "(define (problem p) (:init (at 0 (p))))");
  EXPECT_EQ(sorted(problem->expressions()),
            (Lines{"[0.0] (p := true)", "[start] (p := false)", "[start] (q := false)"}));
  EXPECT_EQ(warnings(), Lines{"'p' is given a value by (at 0 ...) and is false at the start as "
                              "well: drop the time"});
}

TEST_F(PddlReaderTest, TypesAreDeclaredWithTheirFirstParents) {
  const model::ProblemInstance problem = parse(
      "(define (domain d) (:types a-1 b - c d - object e) (:types a-1 - e f))"
      "(define (problem p) (:objects x - a-1 y))");
  const std::pair<std::string, Lines> expected[] = {{"a_1", {"c"}},    {"b", {"c"}}, {"c", {}},
                                                    {"d", {"object"}}, {"e", {}},    {"f", {}},
                                                    {"object", {}}};
  ASSERT_EQ(problem->user_types().size(), std::size(expected));
  for (const auto& [name, bases] : expected) {
    Lines found;
    for (const model::Type& base : problem->user_types().at(name)->base_types()) {
      found.push_back(base->reference_name());
    }
    EXPECT_EQ(found, bases) << name;
  }
  EXPECT_EQ(problem->instances().at("x")->type()->name(), "a_1");
  EXPECT_EQ(problem->instances().at("y")->type()->name(), "object");
}

TEST_F(PddlReaderTest, ParametersOfUnionTypesRangeOverAllMembers) {
  const model::ProblemInstance problem = parse(
      "(define (domain d) (:types a b c) (:predicates (p ?x ?y - (either a b) ?z - c)))"
      "(define (problem p) (:objects i - a j - b k - c))");
  EXPECT_TRUE(problem->has_user_type("either_a_b"));
  EXPECT_EQ(problem->fluents().at("p")->parameters()[1]->type()->reference_name(), "either_a_b");
  EXPECT_TRUE(problem->user_types().at("a")->base_types().empty());
  EXPECT_EQ(sorted(problem->expressions()),
            (Lines{"[start] (p(i, i, k) := false)", "[start] (p(i, j, k) := false)",
                   "[start] (p(j, i, k) := false)", "[start] (p(j, j, k) := false)"}));
}

TEST_F(PddlReaderTest, WordsAreReadByLongestMatch) {
  const model::ProblemInstance problem = parse(
      "; (comment\r\n(define (domain at-robot) (:requirements :strips :typing :fluents :equality "
      ":durative-actions :negative-preconditions :uncontrollable-durative-actions)\n"
      "(:predicates (at-robot) (and_) (DEFINE) (_x) (over)) (:functions (at-start)))");
  Lines names;
  for (const auto& [name, fluent] : problem->fluents()) names.push_back(name);
  EXPECT_EQ(names, (Lines{"DEFINE", "_x", "and_", "at_robot", "at_start", "over"}));
}

TEST_F(PddlReaderTest, SpellingsWithHyphensAreKept) {
  Environment env;
  PddlParser parser(env);
  std::istringstream source(
      "(define (domain d) (:predicates (at-home ?who-is - t_a)) (:types t_a))");
  parser.parse(source);
  EXPECT_EQ(parser.spellings(), (std::map<std::string, std::string>{{"at_home", "at-home"}}));
}

}  // namespace
}  // namespace kelvo
