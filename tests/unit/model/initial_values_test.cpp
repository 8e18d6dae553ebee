#include "model/initial_values.h"

#include <map>

#include "model_fixture.h"

namespace kelvo::model {
namespace {

class InitialValuesTest : public ModelTest {
 protected:
  std::string resolved(const std::vector<InitialAssignment>& assignments) {
    std::map<std::string, std::string> texts;
    for (const auto& [fluent, value] : resolve_initial_values(env, assignments)) {
      texts[text_of(fluent)] = text_of(value);
    }
    std::string result;
    for (const auto& [fluent, value] : texts) result += fluent + "=" + value + " ";
    return result;
  }
};

TEST_F(InitialValuesTest, ReadsEachOtherInAnyOrder) {
  const Expression t = ef().make_true();
  const Expression no_q = ef().make_not(q);
  const Expression two = ef().make_integer_constant(2);
  const Expression twice = ef().make_times(x, two);
  const Expression more = ef().make_plus(y, x);
  const Expression half = ef().make_div(f, two);
  const std::pair<std::vector<InitialAssignment>, std::string> cases[] = {
      {{{p, q}, {q, r}, {r, t}}, "p=true q=true r=true "},
      {{{r, t}, {q, r}, {p, no_q}}, "p=false q=true r=true "},
      {{{f, more}, {y, twice}, {x, two}}, "f=6 x=2 y=4 "},
      {{{x, ef().make_integer_constant(5)}, {f, x}}, "f=5 x=5 "},
  };
  for (const auto& [assignments, expected] : cases) EXPECT_EQ(resolved(assignments), expected);
  // An integer that a rational holds is one from then on.
  const Expression five = ef().make_integer_constant(5);
  const Expression g = fluent_ref("g", mf().make_rational_type());
  EXPECT_EQ(resolved({{g, half}, {f, x}, {x, five}}), "f=5 g=5/2 x=5 ");
}

TEST_F(InitialValuesTest, ArgumentsMayReadFluents) {
  const Parameter a = mf().make_parameter("a", mf().make_integer_type());
  const Fluent slot = mf().make_fluent("slot", mf().make_integer_type(), Path(), {a});
  const Expression reference = ef().make_fluent_reference(slot);
  const auto at = [&](Expression e) { return ef().make_functional_apply(reference, {e}); };
  const Expression one = ef().make_integer_constant(1);
  const Expression two = ef().make_integer_constant(2);
  const Expression next = ef().make_plus(x, one);
  EXPECT_EQ(resolved({{y, at(next)}, {at(x), two}, {at(two), x}, {x, one}}),
            "slot(1)=2 slot(2)=1 x=1 y=1 ");
  EXPECT_EQ(error_of<InvalidParameterError>([&] {
              resolved({{at(x), two}, {at(one), one}, {x, one}});
            }),
            "Fluent slot(1) is given two initial values");
}

TEST_F(InitialValuesTest, NamesWhatHasNoValue) {
  const Expression t = ef().make_true();
  const Expression no = ef().make_false();
  const Expression both = ef().make_and(no, q);
  const std::pair<std::vector<InitialAssignment>, std::string> cases[] = {
      {{{p, q}}, "The initial value of p reads fluent q, which has no initial value"},
      {{{p, both}}, "The initial value of p reads fluent q, which has no initial value"},
      {{{p, p}}, "The initial value of p reads fluent p, whose initial value depends on it"},
      {{{p, q}, {q, p}},
       "The initial value of q reads fluent p, whose initial value depends on it"},
      {{{p, t}, {p, no}}, "Fluent p is given two initial values"},
      {{{q, t}, {p, q}, {p, t}}, "Fluent p is given two initial values"},
  };
  for (const auto& [assignments, expected] : cases) {
    EXPECT_EQ(error_of<InvalidParameterError>([&] { resolved(assignments); }), expected);
  }
}

TEST_F(InitialValuesTest, AChainOf100000IsNoDeeperThanOne) {
  std::vector<InitialAssignment> chain;
  Expression last = p;
  for (int i = 0; i < 100000; ++i) {
    const Expression next = fluent_ref("c" + std::to_string(i), mf().make_boolean_type());
    chain.push_back({last, next});
    last = next;
  }
  chain.push_back({last, ef().make_true()});
  EXPECT_EQ(resolve_initial_values(env, chain).at(p), ef().make_true());
}

}  // namespace
}  // namespace kelvo::model
