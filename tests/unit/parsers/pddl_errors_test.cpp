#include <utility>

#include "shell/concat_stream.h"
#include "tests/unit/parsers/pddl_fixture.h"

namespace kelvo {
namespace {

const std::string kDomain =
    "(define (domain d) (:types t u - t) (:predicates (p) (q) (on ?x - t)) (:functions (f)))\n";

class PddlErrorsTest : public PddlFixture {
 protected:
  std::string error_in_domain(const std::string& element) {
    return error_of(kDomain + "(define (domain e)\n" + element + ")");
  }
  std::string error_in_problem(const std::string& element) {
    return error_of(kDomain + "(define (problem e)\n" + element + ")");
  }
  static std::string durative_action(const std::string& condition, const std::string& effect) {
    return "(:durative-action a :parameters () :duration (= ?duration 1) :condition " + condition +
           " :effect " + effect + ")";
  }
};

TEST_F(PddlErrorsTest, TextOutsideTheLanguageIsReportedWithItsLine) {
  const std::pair<std::string, std::string> cases[] = {
      {"$", "ParserError: Unknown character '$' at line1"},
      {"; %\n\n %", "ParserError: Unknown character '%' at line3"},
      {"(", "ParserError: syntax error at line 1"},
      {"(define (domain d))\n)", "ParserError: syntax error at line 2"},
      {"(DEFINE (domain d))",
       "ParserError: syntax error at line 1\nline 1: 'DEFINE': the words of the language are in "
       "lower case"},
      {"(define (domain d) (:objects a))", "ParserError: syntax error at line 1"},
      {"(define (problem d) (:predicates (p)))", "ParserError: syntax error at line 1"},
      {"(define (domain d) (:predicates (p)) (:functions (f) - number))",
       "ParserError: syntax error at line 1"},
      {kDomain + "(define (problem q) (:goal (- (f))))", "ParserError: syntax error at line 2"},
      {kDomain + "(define (problem q) (:init (at -5 (p))))",
       "ParserError: syntax error at line 2\nline 2: 'at' is a word of the language: give the "
       "predicate another name, such as located"},
      {kDomain + "(define (problem q) (:init (= (f) .5)))",
       "ParserError: Unknown character '.' at line2"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(error_of(text), expected) << text;
}

TEST_F(PddlErrorsTest, MeaninglessEffectsAndDurationsAreReported) {
  const std::string malformed =
      "ParserError: Found a malformed effect at line 3\n"
      "line 3: an effect is (p), (not (p)) or (= (f) e)";
  const std::pair<std::string, std::string> cases[] = {
      {durative_action("(and)", "(at end (or (p)))"), malformed},
      {durative_action("(and)", "(at end (not (not (p))))"), malformed},
      {durative_action("(and)", "(at end (= 3 (f)))"), malformed},
      {durative_action("(and)", "(at end (< (f) 3))"), malformed},
      {durative_action("(and)", "true"), malformed},
      {durative_action("(and)", "(at end (= (p) 1))"),
       "TypeCheckingError: Found an assign having non-compatible operands: (p := 1.0)"},
      {durative_action("(at start (f))", "(and)"),
       "TypeCheckingError: Found a temporal expression having a non-boolean and non-void as second "
       "operand: [start] f"},
      {durative_action("(at start (p q))", "(and)"),
       "TypeCheckingError: Found a functional apply having wrong number of parameters"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(error_in_domain(text), expected) << text;
  EXPECT_EQ(error_in_problem("(:init (or (p)))"), malformed);
  for (const std::string bounds : {"(and (<= ?duration 5))", "(and (>= ?duration 5))", "(and)",
                                   "(and (= ?duration 5))", "(and (<= ?duration 5) (<= 3 (f)))"}) {
    EXPECT_EQ(error_in_domain("(:uncontrollable-durative-action a :parameters () :duration " +
                              bounds + " :condition (and) :effect (and))"),
              "ParserError: An uncontrollable duration needs a lower and an upper bound at line 3");
  }
}

TEST_F(PddlErrorsTest, NamesAreTakenOnce) {
  const std::pair<std::string, std::string> cases[] = {
      {kDomain + kDomain, "RedefinitionError: Name 'p' already defined in this scope"},
      {"(define (domain d) (:predicates (a-b) (a_b)))",
       "RedefinitionError: Name 'a_b' already defined in this scope"},
      {"(define (domain d) (:types p) (:predicates (p)))",
       "RedefinitionError: Name 'p' already defined in this scope"},
      {"(define (domain d) (:types t) (:predicates (p ?x-y ?x_y - t)))",
       "RedefinitionError: Parameter '_param_x_y' already defined for this fluent"},
      {"(define (problem p) (:objects a b a))", "RedefinitionError: Instance 'a' already defined"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(error_of(text), expected) << text;
}

// The first line names the fault; the second tells what to write instead.
TEST_F(PddlErrorsTest, WhereTheLanguageEndsASecondLineHelps) {
  const std::string character = "ParserError: Unknown character ':' at line3\nline 3: ";
  const std::string syntax = "ParserError: syntax error at line 3\nline 3: ";
  const std::string no_requirement = "requirements are not checked, leave it out";
  const std::string lower_case = "the words of the language are in lower case";
  const std::string one_blank = "at start, at end and over all are written with exactly one blank";
  const std::pair<std::string, std::string> in_domain[] = {
      {"(:requirements :adl)", character + "':adl': " + no_requirement},
      {"(:requirements :strips\n:action-costs)",
       "ParserError: Unknown character ':' at line4\nline 4: ':action-costs': " + no_requirement},
      {"(:constants a - t)", character +
                                 "':constants': declare these objects under :objects of the "
                                 "problem"},
      {"(:action a)", character + "':action': only durative actions are read: write a "
                                  ":durative-action"},
      {"(:surprise)", character + "':surprise': no word of the language"},
      {"(:predicates (at ?x - t))", syntax + "'at' is a word of the language: give the predicate "
                                             "another name, such as located"},
      {"(:predicates (over1 ?x))", syntax + "a parameter needs a type: write ?x - object"},
      {"(:types a - (either b c))", syntax + "a type has one base type only"},
      {durative_action("(AND)", "(and)"),
       "InternalError: Not implemented 'unresolved_symbol': "
       "unresolved<AND>\nline 3: 'AND': " +
           lower_case},
      {"(:predicates (r ?x - (Either t u)))", syntax + "'Either': " + lower_case},
      {"(:predicates (NOT))\n(:types (v))", "ParserError: syntax error at line 4"},
      {durative_action("(at  start (p))", "(and)"),
       syntax + "'at' is a word of the language: write at start or at end with exactly one blank, "
                "or give the predicate another name, such as located"},
      {durative_action("(over  all (p))", "(and)"),
       "InternalError: Not implemented 'unresolved_symbol': unresolved<over>\nline 3: 'over': " +
           one_blank},
      {durative_action("(at start (forall (?x - t) (on ?x)))", "(and)"),
       syntax + "'forall': there are no quantifiers: write one expression for each object"},
      {durative_action("(and)", "(at end (increase (f) 1))"),
       "InternalError: Not implemented 'unresolved_symbol': unresolved<increase>\nline 3: "
       "'increase': an effect gives a function its new value: write (= (f) (+ (f) 1)) for "
       "(increase (f) 1)"},
      {durative_action("(and)", "(when (at start (p)) (at end (q)))"),
       "InternalError: Not implemented 'unresolved_symbol': unresolved<when>\nline 3: 'when': "
       "there are no conditional effects: write one action for each case"},
      {durative_action("(at start (on ?z-1))", "(and)"),
       "InternalError: Not implemented 'unresolved_symbol': unresolved<_param_z_1>\nline 3: "
       "'?z-1': not declared"},
      {"(:predicates (r ?x - v))",
       "UnresolvedSymbolError: v: type unknown\nline 3: 'v': not declared"},
  };
  for (const auto& [text, expected] : in_domain) EXPECT_EQ(error_in_domain(text), expected) << text;

  const std::string total_time =
      syntax + "the only metric is (:metric minimize (total-time)), and none is needed";
  const std::pair<std::string, std::string> in_problem[] = {
      {"(:metric maximize (total-time))", total_time},
      {"(:metric minimize (total-cost))", total_time},
      {"(:init (at r1 p))", syntax + "'at' is a word of the language: give the predicate another "
                                     "name, such as located"},
      {"(:objects o - (either t u))", syntax + "an object has one type"},
      {"(:init (= (f) -5))", syntax + "a number has no sign: write (- 0 5) for -5"},
      {"(:objects o - u) (:goal (on o))",
       "TypeCheckingError: Found a functional apply having non-compatible children: on(o) type of "
       "parameter 1 is u while it should be t\nline 1: 't': types match by name, a derived type "
       "does not stand for its base type: declare one predicate for each type, or objects of the "
       "base type"},
  };
  for (const auto& [text, expected] : in_problem) {
    EXPECT_EQ(error_in_problem(text), expected) << text;
  }
}

TEST_F(PddlErrorsTest, TheSecondLineNamesTheFileAndItsOwnLine) {
  const std::pair<std::string, std::string> cases[] = {
      {"(:metric maximize (f))",
       "ParserError: syntax error at line 5\np.pddl, line 2: the only metric is (:metric minimize "
       "(total-time)), and none is needed"},
      {"(:goal))", "ParserError: syntax error at line 5\np.pddl, line 2: here"},
      {"(:init (or (p)))",
       "ParserError: Found a malformed effect at line 5\np.pddl, line 2: an effect is (p), (not "
       "(p)) or (= (f) e)"},
      {"(:goal (at-home))",
       "InternalError: Not implemented 'unresolved_symbol': unresolved<at_home>\np.pddl, line 2: "
       "'at-home': not declared"},
  };
  for (const auto& [element, expected] : cases) {
    Environment env;
    std::istringstream domain(kDomain + "\n\n");
    std::istringstream problem("(define (problem p)\n" + element + ")");
    ConcatStreamBuf glued({&domain, &problem}, {"d.pddl", "p.pddl"});
    std::istream source(&glued);
    try {
      PddlParser(env).parse(source);
      ADD_FAILURE() << element;
    } catch (const std::exception& e) {
      EXPECT_EQ(e.what(), expected);
    }
  }
}

TEST_F(PddlErrorsTest, TheParserCanBeUsedAgainAfterAnError) {
  Environment env;
  PddlParser parser(env);
  std::istringstream broken("\n(define (domain");
  EXPECT_ANY_THROW(parser.parse(broken));
  EXPECT_EQ(parser.result(), nullptr);
  std::istringstream sound("(define (domain d) (:predicates (p)))");
  EXPECT_EQ(parser.parse(sound)->fluents().size(), 1U);
}

}  // namespace
}  // namespace kelvo
