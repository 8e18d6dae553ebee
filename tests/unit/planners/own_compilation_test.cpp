#include "planners/own_compilation.h"

#include <utility>

#include "tests/unit/planners/planner_fixture.h"

namespace kelvo {
namespace {

class OwnCompilationTest : public PlannerTest {
 protected:
  /// Whether a fluent was promoted on the way to the compiled problem.
  static bool has_promoted(const model::ProblemInstance& compiled) {
    for (const auto& [name, constant] : compiled->constants()) {
      if (name.starts_with("_cp_")) return true;
    }
    return false;
  }

  const std::string WORLD =
      "type Place; instance Place a, b; fluent Place pos; fluent boolean road(Place x, Place y);"
      "fluent boolean rough(Place x); [start] pos := a;";
  const std::string ROADS =
      "[start] road(a, b) := true; [start] road(b, a) := false;"
      "[start] road(a, a) := false; [start] road(b, b) := false;";
  const std::string DRIVE =
      "action drive(Place x, Place y) { duration := 2; [start] pos == x; [start] road(x, y);"
      "[end] pos := y; };";
};

// The grounder tests constants while it builds the tuples; of four drives one is left.
TEST_F(OwnCompilationTest, ConditionsOnFluentsThatNothingWritesPruneActions) {
  const std::string close = "action close() { [end] road(a, b) := false; };";
  const std::string rough_drive =
      "action jolt(Place x) { duration := 1; [start] rough(x); [end] pos := x; };";
  const std::string ground = "action go() { duration := 1; [start] road(a, b); [end] pos := b; };";
  struct Case {
    std::string text;
    bool is_promoted;
    std::size_t num_actions;
  };
  const Case cases[] = {
      {WORLD + ROADS + DRIVE, true, 1},
      {WORLD + ROADS + DRIVE + close, false, 5},
      {WORLD + ROADS + DRIVE + "[9] road(b, a) := true;", false, 4},
      {WORLD + "[start] road(a, b) := true;" + DRIVE, false, 4},  // not known for all places
      {WORLD + ROADS + DRIVE + rough_drive, true, 3},             // no value is known at all
      {WORLD + ROADS + DRIVE + rough_drive + "[start] rough(a) := true;", false, 6},
      {WORLD + ROADS + ground, false, 1},  // nothing to ground
  };
  for (const Case& c : cases) {
    const model::ProblemInstance compiled = compiled_problem(c.text);
    EXPECT_EQ(has_promoted(compiled), c.is_promoted) << c.text;
    EXPECT_EQ(compiled->actions().size(), c.num_actions) << c.text;
  }
}

TEST_F(OwnCompilationTest, PromotionServesPruning) {
  OwnCompilation compilation;
  compilation.splits_durations = true;
  compilation.prune_actions = false;
  const auto compiled = compile(parse(WORLD + ROADS + DRIVE), compilation);
  EXPECT_FALSE(has_promoted(compiled));
  EXPECT_EQ(compiled->actions().size(), 4u);
}

// There it is no matter of speed: a duration must be constant, whatever else is known.
TEST_F(OwnCompilationTest, FluentsInDurationsAreAlwaysPromoted) {
  const std::string far =
      "fluent integer distance(Place x, Place y); action fly(Place x, Place y)"
      "{ duration := distance(x, y); [start] pos == x; [end] pos := y; };";
  const auto compiled = compiled_problem(WORLD + far + "[start] distance(a, b) := 4;");
  EXPECT_TRUE(has_promoted(compiled));
  EXPECT_EQ(compiled->actions().size(), 1u);
  try {
    compiled_problem(WORLD + far + "[start] distance(a, b) := 4; [3] distance(a, b) := 5;");
    ADD_FAILURE() << "a duration that changes was accepted";
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(),
                 "InternalError: The duration of an action must be constant once the problem is "
                 "ground: action fly_0 has (duration := distance(a, a))");
  }
}

TEST_F(OwnCompilationTest, TheDescriptionSaysWhatIsDone) {
  const std::string boxes =
      "type Box; instance Box b, c; fluent set(Box) held; fluent boolean seen(Box x);"
      "[start] held := { }; [start] seen(b) := false; [start] seen(c) := false;"
      "action look(Box x) { duration := 1; [end] seen(x) := true; };";
  struct Case {
    const char* what;
    OwnCompilation compilation;
    std::size_t num_actions;
    bool has_sets;
    bool is_ground;  // fluents, too
  };
  OwnCompilation lifted;
  lifted.grounds_actions = false;
  OwnCompilation with_sets = lifted;
  with_sets.compiles_sets = false;
  OwnCompilation ground = with_sets;
  ground.grounds_fluents = true;
  const Case cases[] = {{"sets ask for ground actions", lifted, 2, false, false},
                        {"sets stay", with_sets, 1, true, false},
                        {"fluents are ground", ground, 2, true, true}};
  for (const Case& c : cases) {
    const model::ProblemInstance compiled = compile(parse(boxes), c.compilation);
    EXPECT_EQ(compiled->actions().size(), c.num_actions) << c.what;
    EXPECT_EQ(compiled->has_sets(), c.has_sets) << c.what;
    EXPECT_EQ(compiled->is_ground(/*only_action=*/false), c.is_ground) << c.what;
  }
  OwnCompilation unpromoted;
  unpromoted.splits_durations = true;
  unpromoted.promotes_constants = false;
  EXPECT_FALSE(has_promoted(compile(parse(WORLD + ROADS + DRIVE), unpromoted)));
}

}  // namespace
}  // namespace kelvo
