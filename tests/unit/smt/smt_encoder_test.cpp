#include "smt/smt_encoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "parsers/anml/anml_parser.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo::smt {
namespace {

// The texts of what was asserted.
struct Recording {
  std::vector<std::string> asserted;

  bool has(const std::string& text) const {
    return std::ranges::find(asserted, text) != asserted.end();
  }
  /// Assertions that contain the text.
  std::size_t count(const std::string& part) const {
    return static_cast<std::size_t>(std::ranges::count_if(
        asserted, [&](const std::string& f) { return f.find(part) != std::string::npos; }));
  }
};

// Records; answers nothing.
class Recorder : public SmtSolver {
 public:
  explicit Recorder(Recording& recording) : recording_(recording) {}

  std::string version() const override { return "recorder"; }
  void assert_formula(Formula f) override {
    std::ostringstream text;
    text << print_formula(f);
    recording_.asserted.push_back(text.str());
  }
  void push() override {}
  void pop() override {}
  Formula get_value(Formula f) override { return f; }
  SolverResult solve() override { return SolverResult::UNKNOWN; }
  SolverResult solve_with_assumptions(const std::vector<Formula>&) override { return solve(); }

 private:
  Recording& recording_;
};

class SmtEncoderTest : public testing::Test {
 protected:
  Recording encode(const std::string& text, std::size_t h) {
    std::istringstream source(text);
    problem_ = AnmlParser(env_).parse(source);
    encoder_ = std::make_unique<SmtEncoder>(env_, problem_);
    return encode_again(h);
  }
  Recording encode_again(std::size_t h) {
    Recording recording;
    Recorder recorder(recording);
    encoder_->encode(h, recorder);
    return recording;
  }
  std::string failure(const std::string& text) {
    try {
      encode(text, 3);
    } catch (const KelvoError& error) {
      return error.message();
    }
    return "no failure";
  }

  Environment env_;
  model::ProblemInstance problem_;
  std::unique_ptr<SmtEncoder> encoder_;
};

TEST_F(SmtEncoderTest, StatementsAreReadAtTheStepsThatTheirTimesSelect) {
  const Recording r = encode(
      "fluent boolean p; fluent boolean q;"
      "[start] p := false; [start] q := false; [end] p; (start, end] q;",
      2);
  for (const char* expected : {
           "(0 < t_1)",
           "((0 == 0) & (fluent_p_0 == false))",
           "((t_1 >= t_1) & (((0 < t_1) & (t_1 >= t_1)) -> fluent_p_0) & "
           "((t_1 == 0) -> fluent_p_0))",
           "((t_1 >= t_1) & (((0 <= 0) & (t_1 > 0)) -> fluent_q_0) & "
           "(((0 < t_1) & (0 > 0)) -> fluent_q_0) & (((t_1 < t_1) & (t_1 > 0)) -> fluent_q_1))",
       }) {
    EXPECT_TRUE(r.has(expected)) << expected << "\n" << testing::PrintToString(r.asserted);
  }
}

TEST_F(SmtEncoderTest, FrameAxiomsExplainChangesByOneEffect) {
  const Recording r = encode(
      "fluent boolean p; fluent boolean q;"
      "action a() { duration := 3; [start] p := true; [end] p := false; [end] p := false; };"
      "[start] p := false; [start] q := true; [end] p;",
      3);
  // Initial value; start at its own step; end of a start at step 1 or 2.
  EXPECT_TRUE(
      r.has("((! (fluent_p_1 == fluent_p_2)) -> ((t_2 == 0) | action_a_2 | "
            "((t_2 == (t_1 + 3)) & action_a_1) | ((t_2 == (t_2 + 3)) & action_a_2)))"))
      << testing::PrintToString(r.asserted);
  EXPECT_TRUE(r.has("((! (fluent_q_0 == fluent_q_1)) -> (t_1 == 0))"));
  EXPECT_EQ(r.count("(! ((t_2 == 0) & action_a_2))"), 1u);
  // 4 alternatives at step 2 and 3 at step 1 give 6 and 3 pairs.
  EXPECT_EQ(r.count("(! ("), 6u + 3u + 3u + 1u) << testing::PrintToString(r.asserted);
}

TEST_F(SmtEncoderTest, ArgumentsOfFunctionsAreReadAtTheIndexStep) {
  const Recording r = encode(
      "type Room; instance Room a, b; fluent Room at; fluent boolean lit(Room r);"
      "action toggle(Room r) { duration := 1; [start] lit(r) := true; };"
      "[start] at := a; [end] lit(at);",
      2);
  EXPECT_EQ(r.count("((fluent_at_0 == 1) ? fluent_lit_b_0 : fluent_lit_a_0)"), 1u)
      << testing::PrintToString(r.asserted);
  EXPECT_TRUE(
      r.has("((! (fluent_lit_b_0 == fluent_lit_b_1)) -> "
            "((param_toggle_r_1 == 1) & action_toggle_1))"))
      << testing::PrintToString(r.asserted);
  EXPECT_EQ(r.count("((fluent_at_1 == 0) | (fluent_at_1 == 1))"), 1u);
}

TEST_F(SmtEncoderTest, DifferentThingsNeverShareAVariable) {
  const Recording r = encode(
      "type T; instance T a; fluent boolean f(T t); fluent boolean f_a;"
      "[start] f(a) := true; [start] f_a := false; [end] f(a) and not f_a;",
      2);
  EXPECT_GT(r.count("fluent_f_a_0_"), 0u) << testing::PrintToString(r.asserted);
}

TEST_F(SmtEncoderTest, HorizonsShareWhatDoesNotMentionThem) {
  const std::string text =
      "fluent boolean p; action a() { duration := 3; [end] p := true; };"
      "[start] p := false; [end] p;";
  const Recording first = encode(text, 4);
  const Recording second = encode_again(5);
  const Recording again = encode_again(4);
  EXPECT_EQ(first.asserted, again.asserted);
  EXPECT_GT(second.asserted.size(), first.asserted.size());
}

TEST_F(SmtEncoderTest, WhatCannotBeEncodedIsRefusedByName) {
  const std::pair<const char*, const char*> cases[] = {
      {"fluent boolean f(integer i); [start] f(2) := true;",
       "InternalError: Unsupported infinite-domain parameter: i"},
      {"type T; fluent boolean f(T t); action a(T t) { duration := 1; [start] f(t); };",
       "InternalError: A parameter have no possible instances: t in fluent f"},
      {"fluent boolean p; [start, end] contains [5] p;",
       "InternalError: Unsupported contains with duration"},
      {"fluent boolean p; (start, end) contains p;",
       "InternalError: Unsupported contains on non-closed intervals"},
      {"fluent boolean p; [start] contains p;",
       "InternalError: Malformed problem, no condition can be contained in a single-point "
       "interval."},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(failure(text), expected) << text;
}

}  // namespace
}  // namespace kelvo::smt
