#include "planners/ftp/task/symmetry.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "model/print_expression.h"
#include "tests/random/random.h"
#include "tests/unit/planners/ftp/steps/guided_fixture.h"

namespace kelvo::ftp {
namespace {

using random_tests::Random;

class SymmetryTest : public GuidedSearchTest {
 protected:
  /// The classes as "a b; c d", in the order of names.
  std::string classes_of(const std::string& text) {
    load(text);
    std::set<std::string> result;
    for (const std::vector<model::Expression>& one : ObjectSymmetry(*task_).classes()) {
      std::set<std::string> names;
      for (const model::Expression e : one) names.insert(to_text(e));
      result.insert(joined(names, " "));
    }
    return joined(result, "; ");
  }

  static std::string joined(const std::set<std::string>& parts, const std::string& by) {
    std::string result;
    for (const std::string& part : parts) result += (result.empty() ? "" : by) + part;
    return result;
  }

  std::string to_text(model::Expression e) const {
    std::ostringstream out;
    out << model::print_expression(e);
    return out.str();
  }

  /// Of a search that leaves no plan out.
  GuidedSearch::Outcome search(bool with_symmetry, std::size_t max_built) {
    GuidedOptions options;
    options.compression = Compression::SHORTCUT;
    options.duplicates = Duplicates::EXACT;
    options.symmetry = with_symmetry;
    HFF heuristic(*task_, options.heuristic);
    const GuidedLandmarks landmarks(*task_);
    ObjectSymmetry symmetry(*task_);
    GuidedSearch search(*task_, heuristic, landmarks, symmetry, options);
    const GuidedSearch::Outcome outcome = search.run(max_built);
    num_generated_ = search.statistics().num_generated;
    return outcome;
  }

  std::size_t num_generated_ = 0;
};

const std::string CELLAR = R"(
  type fuse; type match;
  instance fuse f1, f2, f3, f4; instance match m1, m2;
  fluent boolean mended(fuse f); fluent boolean unused(match m); fluent boolean light(match m);
  fluent boolean hand;
  action strike(match m) {
    duration := 5; [start] unused(m); [start] unused(m) := false;
    [start] light(m) := true; [end] light(m) := false;
  };
  action mend(fuse f, match m) {
    duration := 2; [start] hand; [all] light(m);
    [start] hand := false; [end] hand := true; [end] mended(f) := true;
  };
  [start] hand := true;
  [start] mended(f1) := false; [start] mended(f2) := false;
  [start] mended(f3) := false; [start] mended(f4) := false;
  [start] unused(m1) := true; [start] unused(m2) := true;
  [start] light(m1) := false; [start] light(m2) := false;
)";
const std::string ALL_MENDED = "[end] mended(f1) and mended(f2) and mended(f3) and mended(f4);";

TEST_F(SymmetryTest, WhatIsAlike) {
  const std::string robots = R"(
    type place; type robot;
    instance place a, b, c; instance robot r1, r2, r3;
    fluent place at(robot r); fluent boolean seen(place p); fluent integer[0, 9] load(robot r);
    constant integer speed(robot r);
    action go(robot r, place p) { duration := speed(r); [start] at(r) != p; [end] at(r) := p; };
    action look(robot r, place p) { duration := 1; [all] at(r) == p; [end] seen(p) := true; };
    action lift(robot r) { duration := 1; [end] load(r) := load(r) + 1; };
    [start] seen(a) := false; [start] seen(b) := false; [start] seen(c) := false;
    speed(r1) := 1;
  )";
  const std::string same = "speed(r2) := 1; speed(r3) := 1;";
  const std::string at_a = "[start] at(r1) := a; [start] at(r2) := a; [start] at(r3) := a;";
  const std::string empty = "[start] load(r1) := 0; [start] load(r2) := 0; [start] load(r3) := 0;";
  const struct {
    std::string text;
    std::string classes;
  } cases[] = {
      {CELLAR + ALL_MENDED, "f1 f2 f3 f4; m1 m2"},
      {CELLAR + "[end] mended(f1) and mended(f3);", "f1 f3; f2 f4; m1 m2"},
      {CELLAR + ALL_MENDED + "[3] mended(f2) := true;", "f1 f3 f4; m1 m2"},
      {CELLAR + ALL_MENDED + "[3] light(m2) := true;", "f1 f2 f3 f4"},
      {robots + same + at_a + empty + "[end] seen(b) and seen(c);", "b c; r1 r2 r3"},
      // A goal, a first value, a duration or a number tells one from the others.
      {robots + same + at_a + empty + "[end] seen(b) and at(r3) == c;", "r1 r2"},
      {robots + same + empty + "[start] at(r1) := a; [start] at(r2) := b; [start] at(r3) := a;" +
           "[end] seen(b) and seen(c);",
       "r1 r3"},
      {robots + "speed(r2) := 1; speed(r3) := 2;" + at_a + empty + "[end] seen(b) and seen(c);",
       "b c; r1 r2"},
      {robots + same + at_a +
           "[start] load(r1) := 0; [start] load(r2) := 1; [start] load(r3) := 0;" +
           "[end] seen(b) and seen(c) and load(r1) + load(r2) + load(r3) > 4;",
       "b c"},
  };
  for (const auto& one : cases) EXPECT_EQ(classes_of(one.text), one.classes) << one.text;
}

TEST_F(SymmetryTest, OneOfEqualMovesIsEnough) {
  load(CELLAR + ALL_MENDED);
  ASSERT_EQ(search(true, 100000), GuidedSearch::Outcome::FOUND);
  const std::size_t with = num_generated_;
  ASSERT_EQ(search(false, 100000), GuidedSearch::Outcome::FOUND);
  EXPECT_LT(3 * with, 2 * num_generated_);
}

/// Actions of parameters over three objects of each type, and first values and goals at random.
std::string random_text(Random& random) {
  std::ostringstream text;
  text << "type t; type u; instance t a, b, c; instance u x, y, z;\n"
          "fluent boolean p(t o); fluent boolean q(t o, u v); fluent u at(t o); fluent t held;\n";
  const auto condition = [&]() -> std::string {
    switch (random.below(6)) {
      case 0:
        return "p(o)";
      case 1:
        return "not p(o)";
      case 2:
        return "q(o, v)";
      case 3:
        return "at(o) == v";
      case 4:
        return "held != o";
      default:
        return "not q(o, v)";
    }
  };
  const auto effect = [&](std::size_t action) -> std::string {
    switch (3 * action + static_cast<std::size_t>(random.below(3))) {
      case 0:
      case 1:
        return "p(o) := true";
      case 2:
        return "p(o) := not p(o)";
      case 3:
      case 4:
        return "q(o, v) := true";
      case 5:
        return "held := o";
      default:
        return "at(o) := v";
    }
  };
  for (std::size_t i = 0; i < 3; ++i) {
    text << "action a" << i << "(t o, u v) { duration := " << 1 + random.below(3) << "; ";
    if (random.below(2) == 0) text << "[start] " << condition() << "; ";
    if (random.below(3) == 0) text << "[all] " << condition() << "; ";
    text << (random.below(2) == 0 ? "[start] " : "[end] ") << effect(i) << "; };\n";
  }
  const bool is_mixed = random.below(2) == 0;
  for (const std::string o : {"a", "b", "c"}) {
    text << "[start] p(" << o << ") := " << (is_mixed && random.below(4) == 0 ? "true" : "false")
         << "; [start] at(" << o << ") := " << (is_mixed && random.below(4) == 0 ? "y" : "x")
         << ";\n";
    for (const std::string v : {"x", "y", "z"}) {
      text << "[start] q(" << o << ", " << v << ") := false;\n";
    }
  }
  text << "[start] held := a;\n";
  if (random.below(4) == 0) text << "[" << 2 + random.below(3) << "] p(b) := true;\n";
  const std::vector<std::string> goals = {
      "p(b) and p(c)",     "q(b, y) and q(c, y)",         "q(a, y) and q(a, z)",
      "held == c",         "at(b) == y and at(c) == y",   "at(a) != x and at(b) != x",
      "p(c) and not p(a)", "q(a, x) and q(b, y) and p(c)"};
  const auto goal = [&] {
    return goals[static_cast<std::size_t>(random.below(static_cast<int>(goals.size())))];
  };
  text << "[end] " << goal() << " and " << goal() << ";\n";
  return text.str();
}

TEST_F(SymmetryTest, NoPlanIsLost) {
  constexpr std::size_t NUM_PROBLEMS = 300;
  constexpr std::size_t MAX_BUILT = 20000;
  Random random(7);
  std::size_t num_found = 0;
  std::size_t num_exhausted = 0;
  std::size_t num_smaller = 0;
  for (std::size_t i = 0; i < NUM_PROBLEMS; ++i) {
    const std::string text = random_text(random);
    load(text);
    const GuidedSearch::Outcome with = search(true, MAX_BUILT);
    const std::size_t num_with = num_generated_;
    const GuidedSearch::Outcome without = search(false, MAX_BUILT);
    num_smaller += num_with < num_generated_;
    if (with == GuidedSearch::Outcome::STOPPED || without == GuidedSearch::Outcome::STOPPED) {
      continue;
    }
    EXPECT_EQ(with, without) << text;
    (with == GuidedSearch::Outcome::FOUND ? num_found : num_exhausted) += 1;
  }
  EXPECT_GT(num_found, NUM_PROBLEMS / 5);
  EXPECT_GT(num_exhausted, NUM_PROBLEMS / 20);
  EXPECT_GT(num_smaller, NUM_PROBLEMS / 8);
}

}  // namespace
}  // namespace kelvo::ftp
