#include "app/no_plan_line.h"

#include <gtest/gtest.h>

#include "planners/planner.h"

namespace kelvo {
namespace {

TEST(NoPlanLineTest, TellsHowMuchIsKnown) {
  using Certainty = NoPlan::Certainty;
  const struct {
    NoPlan no_plan;
    std::size_t num_refused;
    const char* line;
    const char* kept = "";
  } cases[] = {
      {{Certainty::PROVEN, ""}, 0, "Proven: the problem has no plan."},
      {{Certainty::BOUNDED, "with fewer than 100 steps"},
       0,
       "Bounded: there is no plan with fewer than 100 steps."},
      {{Certainty::UNDECIDED, "the search is out of memory"},
       0,
       "Undecided: there may be a plan; the search is out of memory."},
      // A plan that was refused outweighs what the search believes.
      {{Certainty::PROVEN, ""},
       1,
       "No plan could be confirmed: 1 plan was found that the validator refuses. Please report "
       "this as a fault."},
      {{Certainty::BOUNDED, "with fewer than 100 steps"},
       2,
       "No plan could be confirmed: 2 plans were found that the validator refuses. Please report "
       "this as a fault."},
      // Unless a transformer says that this may come.
      {{Certainty::PROVEN, ""},
       0,
       "Bounded: there is no plan among those that the bounder keeps.",
       "that the bounder keeps"},
      {{Certainty::BOUNDED, "with fewer than 100 steps"},
       0,
       "Bounded: there is no plan with fewer than 100 steps.",
       "that the bounder keeps"},
      {{Certainty::PROVEN, ""},
       2,
       "Undecided: there may be a plan that is none of those that the bounder keeps; 2 plans were "
       "found that the validator refuses.",
       "that the bounder keeps"},
  };
  for (const auto& c : cases) EXPECT_EQ(no_plan_line(c.no_plan, c.num_refused, c.kept), c.line);
}

}  // namespace
}  // namespace kelvo
