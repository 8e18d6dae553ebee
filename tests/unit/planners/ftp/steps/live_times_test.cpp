#include "planners/ftp/steps/live_times.h"

#include <optional>
#include <string>
#include <vector>

#include "tests/unit/planners/ftp/steps/guided_fixture.h"

namespace kelvo::ftp {
namespace {

class LiveTimesTest : public GuidedSearchTest {
 protected:
  /// Opens actions ("a"), wholly ("a!"), goes on with open ones ("a>") or with the problem (">").
  /// The sum of the state's live times; nothing when a move is late.
  std::optional<std::uint64_t> sum_after(const std::vector<std::string>& moves) {
    GuidedSuccessors successors(*task_, Compression::NONE);
    LiveTimes times(*task_, successors.schedule());
    GuidedState state;
    EXPECT_TRUE(successors.make_initial_state(state));
    for (const std::string& text : moves) {
      GuidedMove move{GuidedTask::PROBLEM, GuidedMove::Kind::OPEN};
      if (text.back() == '>') move.kind = GuidedMove::Kind::STEP;
      if (text.back() == '!') move.kind = GuidedMove::Kind::OPEN_ALL;
      const bool is_marked = move.kind != GuidedMove::Kind::OPEN;
      const std::string name = text.substr(0, text.size() - (is_marked ? 1 : 0));
      if (!name.empty()) move.list = list_of(name);
      const GuidedState parent = state;
      EXPECT_TRUE(successors.apply(state, move)) << text;
      if (!times.enter(parent, move, state)) return std::nullopt;
    }
    return times.hash(state);
  }
};

TEST_F(LiveTimesTest, OnlyWhatHoldsTheFutureBackCounts) {
  load(R"(
    fluent boolean on; fluent boolean fed; fluent boolean p; fluent boolean q;
    action hold() { duration := 5; [start] on := true; [end] on := false; };
    action feed() { duration := 1; [start] on; [end] fed := true; };
    action use() { duration := 1; [start] fed; [end] q := true; };
    action aside() { duration := 2; [end] p := true; };
    [start] on := false; [start] fed := false; [start] p := false; [start] q := false;
    [end] p and q;
  )");
  struct Case {
    std::vector<std::string> one;
    std::vector<std::string> other;
    bool are_equal;
  };
  const Case cases[] = {
      // Nothing is open: however long the plan is, what comes can wait.
      {{"aside!"}, {"aside!", "aside!", "aside!"}, true},
      {{"hold", "feed!", "hold>"}, {"hold", "feed!", "feed!", "hold>"}, true},
      // What is unrelated to the open action can be as early as one likes.
      {{"hold"}, {"hold", "aside!"}, true},
      {{"hold", "aside!"}, {"aside!", "hold"}, true},
      // But not what came behind its start.
      {{"hold", "feed!"}, {"hold", "feed!", "feed!"}, false},
      {{"hold", "feed!", "use!"}, {"hold", "feed!", "use!", "use!"}, false},
      // The distance between two open actions.
      {{"hold", "feed"}, {"hold", "feed!", "feed"}, false},
      {{"hold", "aside"}, {"aside", "hold"}, true},
  };
  for (const auto& [one, other, are_equal] : cases) {
    ASSERT_TRUE(sum_after(one).has_value());
    EXPECT_EQ(sum_after(one) == sum_after(other), are_equal)
        << one.back() << " " << one.size() << ", " << other.back() << " " << other.size();
  }
}

TEST_F(LiveTimesTest, TheStartOfThePlanCountsWhileTheProblemHasSomethingToCome) {
  load(R"(
    fluent boolean p; fluent boolean q; fluent boolean open;
    action a() { duration := 1; [end] p := true; };
    action b() { duration := 1; [start] open; [start] p; [end] q := true; };
    [start] p := false; [start] q := false; [start] open := true; [9] open := false; [end] q;
  )");
  EXPECT_NE(sum_after({"a!"}), sum_after({"a!", "a!"}));
  EXPECT_EQ(sum_after({"a!", ">"}), sum_after({"a!", "a!", ">"}));
}

// A step that must lie behind another one still to come: in order of time that one comes first.
TEST_F(LiveTimesTest, LateMovesAreLeftToAnotherOrder) {
  load(R"(
    fluent boolean on; fluent boolean fed; fluent boolean p;
    action hold() { duration := 2; [start] on := true; [end] p := true; };
    action feed() { duration := 1; [start] on; [start] fed := true; [end] fed := false; };
    [start] on := false; [start] fed := false; [start] p := false; [30] fed := false;
    [end] p and fed;
  )");
  EXPECT_TRUE(sum_after({"hold", "feed!"}).has_value());
  EXPECT_TRUE(sum_after({"hold", "feed!", "feed!"}).has_value());
  EXPECT_FALSE(sum_after({"hold", "feed!", "feed!", "feed"}).has_value());
  EXPECT_TRUE(sum_after({"hold", "feed!", "feed!", "hold>", "feed"}).has_value());
}

}  // namespace
}  // namespace kelvo::ftp
