#include <string>

#include "tests/unit/parsers/pddl_fixture.h"
#include "tests/unit/parsers/text_mutator.h"

namespace kelvo {
namespace {

constexpr int kMany = 100000;

std::string nested(const std::string& operation, const std::string& core) {
  return repeat("(" + operation + " ", kMany) + core + repeat(")", kMany);
}

class PddlLimitsTest : public PddlFixture {};

TEST_F(PddlLimitsTest, DeepExpressionsAreRead) {
  const std::string world =
      "(define (domain d) (:types t) (:predicates (p) (r ?x - t)) (:functions (f)))";
  for (const std::string& goal :
       {nested("not", "(p)"), nested("or", "(p)"), nested("and", "(p)"), nested("at end", "(p)"),
        "(< " + nested("+ 1", "(f)") + " 3)", "(< " + nested("- 1", "(f)") + " 3)"}) {
    EXPECT_EQ(error_of(world + "(define (problem p) (:goal " + goal + "))"), "accepted")
        << goal.substr(0, 20);
  }
  for (const std::string& effect : {nested("and", "(p)"), nested("at end", "(p)")}) {
    EXPECT_EQ(error_of(world + "(define (problem p) (:init " + effect + "))"), "accepted")
        << effect.substr(0, 20);
  }
  EXPECT_NE(error_of(world + "(define (problem p) (:goal " + nested("r", "p") + "))"), "accepted");
}

TEST_F(PddlLimitsTest, ManyDeclarationsAndStatementsAreRead) {
  std::string predicates;
  std::string init;
  for (int i = 0; i < kMany; ++i) {
    const std::string name = "(p" + std::to_string(i) + ")";
    predicates += name;
    init += name + "\n";
  }
  const std::string text =
      "(define (domain d) (:predicates " + predicates + "))\n(define (problem p) (:init " + init;
  EXPECT_EQ(parse(text + "))")->expressions().size(), static_cast<std::size_t>(kMany));
  EXPECT_EQ(error_of(text + ":init)"), "ParserError: syntax error at line 100002");
}

// Whatever the text is, it ends in a problem or in an exception.
TEST_F(PddlLimitsTest, MutatedTextsNeverCrash) {
  const std::string seed =
      "(define (domain d) (:requirements :typing) (:types a b - c d)\n"
      "(:predicates (p) (on ?x ?y - a ?z - (either a b))) (:functions (f) (g ?x - b))\n"
      "(:durative-action act :parameters (?x - a ?y - b) :duration (= ?duration (g ?y))\n"
      ":condition (and (at start (p)) (over all (not (= ?x ?x)))) ; comment\n"
      ":effect (and (at end (not (p))) (at start (= (f) (+ (f) 1.5)))))\n"
      "(:uncontrollable-durative-action u :parameters () :duration (and (<= ?duration 3) "
      "(>= ?duration 1)) :condition (and) :effect (at end (p))))\n"
      "(define (problem q) (:domain d) (:objects i - a j k - b l) (:init (p) (at 5 (not (p))) "
      "(= (g j) 2)) (:goal (and (p) (< (f) 3))) (:metric minimize (total-time)))";
  TextMutator mutator({" ", "(", ")", " - ", " ?x ", "(and ", "at ", "at end ", ":condition",
                       "(not ", "= ", "5", "either ", "?duration"},
                      20241123);
  int accepted = 0;
  for (int round = 0; round < 3000; ++round) {
    const std::string text = mutator.mutated(seed);
    accepted += error_of(text) == "accepted" ? 1 : 0;
  }
  EXPECT_GT(accepted, 0);
  EXPECT_LT(accepted, 3000);
}

}  // namespace
}  // namespace kelvo
