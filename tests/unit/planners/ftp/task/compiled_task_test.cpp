#include "planners/ftp/task/compiled_task.h"

#include <sstream>

#include "model/action.h"
#include "planners/ftp/task/event.h"
#include "shell/errors.h"
#include "tests/unit/planners/planner_fixture.h"

namespace kelvo::ftp {
namespace {

class CompiledTaskTest : public PlannerTest {
 protected:
  /// "kind anchor offset" for each event of a list.
  static std::string layout(const EventTemplate& list) {
    static constexpr const char* roles[] = {"effect", "point", "opening", "closing"};
    std::ostringstream text;
    for (const TemplateEvent& event : list.events) {
      text << roles[static_cast<std::size_t>(event.role)] << (event.left_open ? "(" : "") << " "
           << (event.from_start ? "start" : "end") << std::showpos << event.offset << std::noshowpos
           << "; ";
    }
    return text.str();
  }

  std::string layout_of_action(const std::string& body) {
    const auto task = make_task("fluent boolean p; fluent boolean q; action a() {" + body +
                                "}; [start] p := true; [start] q := true; [end] q;");
    return layout(task->template_of(CompiledTask::FIRST_ACTION));
  }
};

TEST_F(CompiledTaskTest, EventsOfAnOpeningStandInOrderOfTheirTime) {
  const std::pair<const char*, const char*> cases[] = {
      {"duration := 4; [end] q := true;", "effect end+0; "},
      // What holds at the start is tested when the action opens.
      {"duration := 4; [start] p; [end] q := true;", "effect end+0; "},
      {"duration := 4; [start] q := true;", "effect start+0; "},
      {"duration := 4; [all] p; [end] q := true;", "closing end+0; effect end+0; "},
      {"duration := 4; (start, end] p; [start] q := true;",
       "effect start+0; opening( start+0.01; closing end+0; "},
      {"duration := 4; [start + 1] p; [end - 1] q := true;", "point start+1; effect end-1; "},
      {"duration := 4; [start + 2, end - 1] p; [start + 2] q := true;",
       "opening start+2; effect start+2; closing end-1; "},
      {"duration := 4; [1 + start] p; [start + 1 + 1] q := true;",
       "point start+1; effect start+2; "},
  };
  for (const auto& [body, expected] : cases) EXPECT_EQ(layout_of_action(body), expected) << body;
}

TEST_F(CompiledTaskTest, DurationsBecomeBoundsOfTheNetwork) {
  struct Case {
    const char* body;
    double lower;
    bool has_upper;
    double upper;
  };
  const Case cases[] = {
      {"duration := 4;", 4, true, 4},
      {"duration >= 2 and duration < 7;", 2, true, 6.99},
      {"duration > 3; duration >= 3;", 3.01, false, 0},
      {"", 0, false, 0},
  };
  for (const Case& c : cases) {
    const auto task = make_task(std::string("fluent boolean q; action a() {") + c.body +
                                "[end] q := true;}; [start] q := false; [end] q;");
    const EventTemplate& made = task->template_of(CompiledTask::FIRST_ACTION);
    EXPECT_DOUBLE_EQ(made.lower, c.lower) << c.body;
    EXPECT_EQ(made.has_upper, c.has_upper) << c.body;
    if (c.has_upper) {
      EXPECT_DOUBLE_EQ(made.upper, c.upper) << c.body;
    }
  }
}

TEST_F(CompiledTaskTest, GoalsAndTimedLiteralsFillTheListsOfTheProblem) {
  const auto task = make_task(R"(
    fluent boolean p;
    fluent boolean q;
    [start] p := true;
    [start] q := false;
    [5] q := true;
    [9] q := false;
    [end - 2] q := true;
    [start] p;
    [6, 8] q;
    [start, 3] p;
    [end] q;
    p;
  )");
  EXPECT_EQ(layout(task->template_of(CompiledTask::PROBLEM_START)),
            "closing start+3; effect start+5; opening start+6; closing start+8; effect start+9; ");
  EXPECT_EQ(layout(task->template_of(CompiledTask::PROBLEM_END)), "effect end-2; point end+0; ");
  // A goal at the start and one that is open from it; an untimed one is a goal at the end.
  EXPECT_EQ(task->initial_conditions().size(), 2u);
  EXPECT_EQ(task->goal_conditions().size(), 4u);
  EXPECT_EQ(task->initially_open_goals().size(), 1u);
}

TEST_F(CompiledTaskTest, ActionsThatCanNotHelpAreNotOpened) {
  const std::pair<const char*, bool> cases[] = {
      {"duration := 4; [start] q := true;", true},
      {"duration := 4; [all] p;", false},
      // Shorter than the shift of its left-open begin: it could never be closed.
      {"duration := 4; (start + 1, start + 1.005] p; [end] q := true;", false},
      {"duration := 4; (start + 1, start + 1.5] p; [end] q := true;", true},
  };
  for (const auto& [body, is_useful] : cases) {
    const auto task = make_task(std::string("fluent boolean p; fluent boolean q; action a() {") +
                                body + "}; [start] p := true; [start] q := false; [end] q;");
    EXPECT_EQ(task->template_of(CompiledTask::FIRST_ACTION).is_useful, is_useful) << body;
  }
}

TEST_F(CompiledTaskTest, DurationsMustBeConstantOnceTheProblemIsGround) {
  const std::string text = R"(
    fluent integer n;
    fluent boolean p;
    action wait() { duration := n; [end] p := true; [end] n := n + 1; };
    [start] n := 3;
    [start] p := false;
    [end] p;
  )";
  try {
    make_task(text);
    FAIL() << "no refusal";
  } catch (const InternalError& error) {
    EXPECT_NE(error.message().find("duration of an action must be constant"), std::string::npos);
    EXPECT_NE(error.message().find("wait"), std::string::npos);
  }
}

TEST(EventTest, OrderAndText) {
  const Event start{EventKind::START_PLAN, nullptr, nullptr, 0, 0};
  const Event condition{EventKind::CONDITION, nullptr, nullptr, 2, 5};
  const Event effect{EventKind::EFFECT, nullptr, nullptr, 1, 4};
  Event later = effect;
  later.fresh_id = 9;
  EXPECT_LT(start, condition);
  EXPECT_LT(condition, effect);  // by kind, whatever the index
  EXPECT_LT(effect, later);
  EXPECT_FALSE(effect == later);
  std::ostringstream text;
  text << effect;
  EXPECT_EQ(text.str(), "(EFFECT, 4)");
}

}  // namespace
}  // namespace kelvo::ftp
