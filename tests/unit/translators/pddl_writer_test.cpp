#include "translators/pddl_writer.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "parsers/pddl/pddl_parser.h"
#include "shell/environment.h"

namespace kelvo {
namespace {

class PddlWriterTest : public ::testing::Test {
 protected:
  struct Texts {
    std::string domain;
    std::string problem;
  };

  Texts write(const std::string& anml, const std::string& domain_name = "pddldomain") {
    Environment env;
    std::istringstream source(anml);
    const PddlWriter writer(AnmlParser(env).parse(source), domain_name, "small");
    std::ostringstream domain;
    writer.print_domain(domain);
    std::ostringstream problem;
    writer.print_problem(problem);
    return {domain.str(), problem.str()};
  }

  /// The text of one effect or one condition.
  std::string one_line(const std::string& statement) {
    const std::string text = write(world_ + "action a(t x) { " + statement + " };").domain;
    const std::string head = " (and\n" + std::string(12, ' ');
    const std::size_t begin = text.find(head) + head.size();
    return text.substr(begin, text.find("\n        )\n", begin) - begin);
  }

  std::string failure(const std::string& anml) {
    try {
      write(world_ + anml);
      return "written";
    } catch (const std::exception& e) {
      return e.what();
    }
  }

  const std::string world_ =
      "type t; instance t i; fluent boolean p; fluent boolean q; fluent boolean on(t o);"
      "fluent float f; fluent float g(t o);";
};

TEST_F(PddlWriterTest, DomainAndProblemHaveTheirLayout) {
  const Texts texts = write(
      "type t; type u < t; instance t i; instance u j; fluent boolean p; fluent boolean on(t a, u "
      "b); fluent float[0.0, 5.0] f; action b() { [end] p := true; };"
      "action a(t x, u y) { duration := 2.5; [start] on(x, y); [end] f := 0.25; };"
      "[start] p := false; [0] f := 3; [start] on(i, j) := true; [end] p; [end] f < 1;",
      "name");
  EXPECT_EQ(texts.domain,
            "(define (domain name)\n"
            "    (:requirements :equality :strips :typing :durative-actions "
            ":negative-preconditions)\n"
            "    (:types t u)\n"
            "    (:predicates\n"
            "        (on ?a - t ?b - u)\n"
            "        (p)\n"
            "    )\n"
            "    (:functions\n"
            "        (f)\n"
            "    )\n"
            "    (:durative-action a\n"
            "        :parameters (?x - t ?y - u)\n"
            "        :duration (= ?duration 2.5)\n"
            "        :condition (and\n"
            "            (at start (on ?x ?y))\n"
            "        )\n"
            "        :effect (and\n"
            "            (at end (= (f) 0.25))\n"
            "        )\n"
            "    )\n"
            "    (:durative-action b\n"
            "        :parameters ()\n"
            "        :effect (and\n"
            "            (at end (p))\n"
            "        )\n"
            "    )\n"
            ")");
  EXPECT_EQ(texts.problem,
            "(define (problem small)\n"
            "    (:domain pddldomain)\n"
            "    (:objects\n"
            "        i - t\n"
            "        j - u\n"
            "    )\n"
            "    (:init\n"
            "        (= (f) 3)\n"
            "        (on i j)\n"
            "    )\n"
            "    (:goal\n"
            "        (and\n"
            "            (p)\n"
            "            (< (f) 1)\n"
            "        )\n"
            "    )\n"
            ")");
}

TEST_F(PddlWriterTest, ExpressionsAreWrittenInPrefixForm) {
  const std::string next = "\n" + std::string(16, ' ');
  const std::pair<std::string, std::string> cases[] = {
      {"[end] p := true", "(at end (p))"},
      {"[end] p := false", "(at end (not (p)))"},
      {"[end] p := q", "(at end (= (p) (q)))"},
      {"[start] g(x) := f - 1", "(at start (= (g ?x) (- (f) 1)))"},
      {"[start] g(i) == 0.125", "(at start (= (g i) 0.125))"},
      {"[start] f >= -12.5", "(at start (>= (f) (- 0 12.5)))"},
      {"[start] f <= 1.0 / 3", "(at start (<= (f) (/ 1 3)))"},
      {"[start] p == false", "(at start (not (p)))"},
      {"[start] p implies q", "(at start (imply (p) (q)))"},
      {"[start] not (p and q)", "(at start (not (and" + next + "(p)" + next + "(q))))"},
      {"[start] p or q", "(at start (or" + next + "(p)" + next + "(q)))"},
      {"[start] f * 2 > f + 3",
       "(at start (> (*" + next + "(f)" + next + "2) (+" + next + "(f)" + next + "3)))"},
      {"[start] x == i", "(at start (= ?x i))"},
      {"(all) p", "(over all (p))"},
      {"(start, end] p", "(and (over all (p))" + next + "(at end (p)))"},
      {"[start, end) p", "(and (at start (p))" + next + "(over all (p)))"},
      {"[all] p", "(and (at start (p))" + next + "(over all (p))" + next + "(at end (p)))"},
  };
  for (const auto& [statement, expected] : cases) {
    EXPECT_EQ(one_line(statement + ";"), expected) << statement;
  }
}

TEST_F(PddlWriterTest, WhatPddlCannotSayIsRefused) {
  const std::string kind =
      "InternalError: The problem contains an expression operator kindthat is forbidden!";
  const std::pair<std::string, std::string> cases[] = {
      {"fluent integer n;",
       "InternalError: The type of a fluent has to be boolean or rational only!"},
      {"fluent t n;", "InternalError: The type of a fluent has to be boolean or rational only!"},
      {"fluent boolean n(boolean b);",
       "InternalError: The type of the parameter 'b' has to be a user type!"},
      {"action a() { duration :in [1, 2]; };", kind},
      {"[1, 2] contains p;", kind},
      {"action a() { duration := f; };",
       "InternalError: Found a forbidden expression'(duration := f)'"},
      {"action a() { p; };", "InternalError: Found a forbidden expression'p'"},
      {"p;", "InternalError: Found a forbidden expression'p'"},
      {"action a() { [all] p := true; };",
       "InternalError: Temporal expression of an effect must has only point interval!"},
      {"[5] p := true;", "InternalError: Not-start assigns are forbidden!"},
      {"[end] p := true;", "InternalError: Not-start assigns are forbidden!"},
      {"[start] p;", "InternalError: Not-end goals are forbidden!"},
      {"[all] p;", "InternalError: Not-end goals are forbidden!"},
      {"constant float c; c := 1; action a() { [end] f := c; };",
       "InternalError: Unknown Node type Encountered in Pddl Expression Printing"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(failure(text), expected) << text;
}

TEST_F(PddlWriterTest, NothingIsWrittenWhenTheDomainOrTheProblemIsRefused) {
  Environment env;
  std::istringstream source(world_ + "fluent integer n; action a() { p; }; [start] p := true; p;");
  const PddlWriter writer(AnmlParser(env).parse(source), "d", "p");
  std::ostringstream written;
  EXPECT_ANY_THROW(writer.print_domain(written));
  EXPECT_ANY_THROW(writer.print_problem(written));
  EXPECT_EQ(written.str(), "");
}

TEST_F(PddlWriterTest, MembersInnerEffectsAndSetsAreCompiledAway) {
  EXPECT_NE(write("type t with { fluent boolean on; }; instance t i; [start] i.on := true;")
                .problem.find("(_t_on i)"),
            std::string::npos);
  EXPECT_NE(write("type t; instance t i; fluent set(t) s; [start] s := {i};"
                  "action a() { duration := 1; [end] s := s union {i}; };")
                .domain.find("(:durative-action a"),
            std::string::npos);
  const std::string cut =
      write(
          "fluent boolean p; [start] p := false; action a() { duration := 5; [start + 1] p := "
          "true; }; [end] p;")
          .domain;
  EXPECT_EQ(cut.find("start +"), std::string::npos);
  EXPECT_NE(cut.find("(p)"), std::string::npos);
}

TEST_F(PddlWriterTest, WordsOfPddlAreNoNames) {
  const Texts texts = write(
      "type domain; instance domain at, at_; fluent boolean problem(domain at); "
      "[start] problem(at) := true;");
  EXPECT_NE(texts.domain.find("(:types domain_)"), std::string::npos);
  EXPECT_NE(texts.domain.find("(problem_ ?at - domain_)"), std::string::npos);
  EXPECT_NE(texts.problem.find("(problem_ at_0)"), std::string::npos);
}

// Written, read and written again: the second text is the first one.
TEST_F(PddlWriterTest, TheReaderTakesWhatTheWriterGives) {
  const std::string problems[] = {
      world_ +
          "action a(t x, t y) { duration := 2.5; [start] on(x) and not x == y; (all) p or q;"
          "[end] g(x) := f * -1 - 1.0 / 3; [start] on(x) := false; };"
          "[start] on(i) := true; [start] g(i) := -4; [end] f < 3; [end] p == false;",
      world_ + "action idle() { duration := 1; }; [start] p := false;",
      "fluent boolean p; [start] p := false; [end] p;",
  };
  for (const std::string& anml : problems) {
    const Texts first = write(anml);
    Environment env;
    std::istringstream source(first.domain + first.problem);
    const PddlWriter writer(PddlParser(env).parse(source), "pddldomain", "small");
    std::ostringstream domain;
    writer.print_domain(domain);
    std::string text = domain.str();
    for (std::size_t at = 0; (at = text.find("_param_", at)) != std::string::npos;) {
      text.erase(at, std::string("_param_").size());
    }
    EXPECT_EQ(text, first.domain);
    std::ostringstream problem;
    writer.print_problem(problem);
    EXPECT_EQ(problem.str(), first.problem);
  }
}

}  // namespace
}  // namespace kelvo
