// The writers for model checkers and the readers of their traces. A whole problem through each of
// them stands among the cases of the command line.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <utility>

#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "plans/time_triggered_plan.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "translators/ltl_encoder.h"
#include "translators/pelmo_encoder.h"
#include "translators/trace_numbers.h"
#include "translators/uppaal_encoder.h"
#include "translators/uppaal_trace.h"

namespace kelvo {
namespace {

using testing::HasSubstr;

class ModelCheckersTest : public testing::Test {
 protected:
  model::ProblemInstance parse(const std::string& text) {
    std::istringstream source(text);
    return AnmlParser(env_).parse(source);
  }

  template <typename Encoder>
  std::string encode(const std::string& text) {
    std::ostringstream os;
    Encoder(env_, parse(text)).print(os);
    return os.str();
  }

  static std::string message_of(const std::function<void()>& call) {
    try {
      call();
    } catch (const KelvoError& error) {
      return error.message();
    }
    return "no error";
  }

  std::string read_uppaal(const std::string& trace) {
    std::istringstream source(trace);
    std::ostringstream os;
    read_uppaal_trace(parse(world_), source, note_)->print(os);
    return os.str();
  }
  std::string read_pelmo(const std::string& trace) {
    std::istringstream source(trace);
    std::ostringstream os;
    read_pelmo_trace(parse(world_), source, note_)->print(os);
    return os.str();
  }

  Environment env_;
  std::string note_;
  const std::string world_ =
      "fluent boolean p; fluent boolean x1; action go() { duration := 2; [start + 1] x1 := p;"
      "[end] p := true; }; [start] p := false; [start] x1 := false; [end] p;";
};

TEST_F(ModelCheckersTest, AssumptionsAreCheckedAndTheReasonIsLogged) {
  const std::string p = "fluent boolean p; [start] p := false; ";
  const std::string n = p + "fluent integer[0, 9] n; [start] n := 0; ";
  const std::pair<std::string, const char*> cases[] = {
      {"type T; instance T a; fluent boolean f(T t); [start] f(a) := true;",
       "the problem is not ground"},
      {"fluent float x; [start] x := 1;", "fluent x has type with infinite domain"},
      {p + "action a() { duration :in [1, 2]; [end] p := true; };",
       "action a is temporally uncertain"},
      {p + "goal p;", "the following expression is a global start condition: p"},
      {p + "[start, end] contains p;", "'contains' expressions are not supported: "},
      {p + "[end - 1] p;",
       "the following expression has an arithmetic subexpression containing 'end': "},
      {p + "action a() { duration := 2; [end - 1] p := true; };",
       "the following expression has an arithmetic subexpression containing 'end': "},
      {p + "action a() { duration := 2; [1] p := true; };",
       "the following temporal expression does not contain 'start' or 'end' in the interval: "},
      {p + "action a() { duration := 2; [start + duration] p := true; };",
       "the following temporal expression contains 'duration': "},
      {n + "[1] p := end > 3; [end] p;",
       "the following expression has 'end' outside the interval: "},
      {n + "action a() { duration := 2; [end] p := start > 3; };",
       "the following expression has 'start' outside the interval: "},
      {n + "action a() { duration := 2; [end] p := duration > 3; };",
       "the following temporal expression contains 'duration': "},
      {n + "action a() { duration := 2; p := duration > 3; };",
       "the following assign expression has 'duration' on the right hand side: "},
      {n + "action a() { duration := 2; [start + n] p := true; };",
       "action temporal expressions with a fluent in the interval are not supported: "},
      {p + "action a() { duration := 2; [all] contains p; };",
       "'contains' expressions are not supported: "},
      {"fluent integer x; [start] x := 1;", "fluent x has type with infinite domain"},
  };
  for (const auto& [text, reason] : cases) {
    std::ostringstream log;
    Log::set_stream(log);
    Log::set_reporting_level(LogLevel::DEBUG);
    const model::ProblemInstance problem = parse(text);
    EXPECT_EQ(message_of([&] { UppaalEncoder(env_, problem); }),
              "InternalError: Impossible to encode in UPPAAL, problem assumptions do not hold")
        << text;
    EXPECT_EQ(message_of([&] { PelmoEncoder(env_, problem); }),
              "InternalError: Impossible to encode in Pelmo, problem assumptions do not hold")
        << text;
    Log::set_reporting_level(LogLevel::NONE);
    EXPECT_THAT(log.str(), HasSubstr("Problem assumptions are violated, " + std::string(reason)));
  }
}

TEST_F(ModelCheckersTest, WhatAnAutomatonCannotExpressIsRefused) {
  const std::string p = "fluent boolean p; [start] p := false; ";
  const std::pair<std::string, const char*> cases[] = {
      {p, "InternalError: No goal is specified"},
      {p + "[5/2.0] p := true; [end] p;",
       "InternalError: The interval of the following expression contains rationals: "},
      {p + "action a() { duration := 2; [start - 1] p := true; }; [end] p;",
       "InternalError: The timing of the following expression is negative: "},
      {p + "[5/2.0] p; [end] p;",
       "Encountered a rational constant that cannot be simplified to an integer: 5/2"},
      {p + "[start] p; [end] p;", "The following expression is a global start condition: "},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_THAT(message_of([&, anml = text] { encode<UppaalEncoder>(anml); }), HasSubstr(expected))
        << text;
  }
}

TEST_F(ModelCheckersTest, FluentsWithoutAFirstValueAreNotDeclared) {
  const std::string text =
      encode<UppaalEncoder>("fluent boolean p; fluent boolean q; [start] p := true; [end] p;");
  EXPECT_THAT(text, HasSubstr("bool p = true;\n"));
  EXPECT_THAT(text, testing::Not(HasSubstr("bool q")));
  EXPECT_THAT(text, HasSubstr("e_final -> l_delta { guard do_something == true; assign "
                              "do_something := false, wait_something := 0; };\n}\n"));
}

TEST_F(ModelCheckersTest, SmvTakesRationalTimesAndNamesOfInstances) {
  const std::string text = encode<PelmoEncoder>(
      "type T; instance T a, b; fluent T at; fluent boolean p;"
      "action go() { duration := 1.5; (start, end] p; [start + 0.5] at := b; };"
      "[start] at := a; [start] p := true; [2.5] p := false; [start, end] at != b or p;"
      "[end] at == b;");
  for (const char* expected :
       {"VAR at : {a, b};\n", "TRANS (go_running & !next(go_running)) -> ((go_clock = f'3/2));\n",
        "TRANS (go_running & go_clock = f'1/2) -> (next(at) = b);\n",
        "TRANS (go_running & go_clock > 0) -> next(go_0);\n", "INIT at = a;\n",
        "TRANS (global_clock = f'5/2) -> (next(p) = FALSE);\n", "INVAR (!(at = b) | p);\n",
        "INVARSPEC !(!go_running & ((at = b)) & global_0);\n"}) {
    EXPECT_THAT(text, HasSubstr(expected));
  }
}

TEST_F(ModelCheckersTest, LtlCompilesAwayWhatItCannotExpress) {
  const std::string text = encode<LtlEncoder>(
      "type T with { fluent boolean on; action push() { duration :in [1, 2]; [end] on := true; }; "
      "};"
      "instance T a; [start] a.on := false; [end] a.on;");
  EXPECT_THAT(text, HasSubstr("MODULE main\nVAR\n  t__ : real;\n  end_of_time__ : real;\n"));
  EXPECT_THAT(text, HasSubstr("LTLSPEC\n!(((t__ = f'0) & "));
  EXPECT_EQ(message_of([&] {
              encode<LtlEncoder>("fluent boolean p; [start] p := true; [start, end] contains p;");
            }),
            "LtlEncoderError: 'contains' is not supported.");
}

TEST_F(ModelCheckersTest, NumbersOfTracesAreExact) {
  const std::pair<const char*, rational> numbers[] = {{"0", 0},
                                                      {"12", 12},
                                                      {"1/3", rational(1, 3)},
                                                      {"0.1", rational(1, 10)},
                                                      {".5", rational(1, 2)},
                                                      {"2.", 2},
                                                      {"1.5e2", 150},
                                                      {"25E-1", rational(5, 2)},
                                                      {"-0.25", rational(-1, 4)},
                                                      {"007", 7}};
  for (const auto& [text, value] : numbers) EXPECT_EQ(number_in_trace(text), value) << text;
  for (const char* text : {"", ".", "x", "1/0", "1/", "e5", "1e", "1e99999", "1 2", "--1", "0x1"}) {
    EXPECT_EQ(number_in_trace(text), std::nullopt) << text;
  }
}

TEST_F(ModelCheckersTest, UppaalTracesAddUpTheirDelays) {
  EXPECT_EQ(read_uppaal("Delay: 7 x_go_start := 1 x_go_start := 0\r\nDelay: 0.1 Delay: 1.9\n"
                        "x_go_event_0 := 1 x_global_event_3 := 1 x1 := 1 x_go_end := 1 Delay: 1 "
                        "x_go_start := 1"),
            "0: go() [2]\n");
  EXPECT_EQ(note_,
            "the trace ends while actions are running, which give no steps: go (begun in line 3)");
  EXPECT_EQ(read_uppaal(""), "");
  EXPECT_EQ(note_, "");
  const std::pair<const char*, const char*> faults[] = {
      {"\nxyz", "Invalid x-variable in trace: xyz\nThis is in line 2 of the trace"},
      {"Delay: 1\nDelay: soon", "Invalid delay in trace: soon\nThis is in line 2"},
      {"Delay: 1\n\nDelay:", "The trace ends inside a delay"},
      {"x_go_end := 1", "is beeing stopped without having been started: go\nThis is in line 1"},
      {"x_no_start := 1 x_no_end := 1", "is not present in the model: no"},
      {"x_go_start :=", "The trace ends inside an assignment"},
      {"x_go_start := often", "Invalid value in trace: often"},
  };
  for (const auto& [trace, expected] : faults) {
    EXPECT_THAT(message_of([&, text = trace] { read_uppaal(text); }), HasSubstr(expected));
  }
}

TEST_F(ModelCheckersTest, SmvTracesTellTheirTimes) {
  const std::string state = "<s><v variable='go_running'>";
  const std::string run = "<r>" + state +
                          "FALSE</v></s><transition type='timed' to=\"f'3/2\"/>"
                          "<transition type='discrete'/>" +
                          state +
                          "TRUE</v></s>"
                          "<transition type='timed' to='3.5'/><transition type='discrete'/>" +
                          state + "FALSE</v></s></r>";
  EXPECT_EQ(read_pelmo(run), "1.5: go() [2]\n");
  EXPECT_EQ(note_, "");
  // Noise in a state hides nothing; an execution without an end is told.
  const std::string begun = run.substr(0, run.find("<transition type='timed' to='3.5'")) + "</r>";
  EXPECT_EQ(read_pelmo(begun), "");
  EXPECT_THAT(note_, HasSubstr("go (begun in line 1)"));
  std::string noisy = run;
  for (std::size_t at = noisy.find("<s>"); at != std::string::npos;
       at = noisy.find("<s>", at + 3)) {
    noisy.insert(at + 3, "<noise/>");
  }
  EXPECT_EQ(read_pelmo(noisy), "1.5: go() [2]\n");
  const std::pair<std::string, const char*> faults[] = {
      {run.substr(0, run.size() / 2), "Error while parsing XML file"},
      {"", "Error while parsing XML file"},
      {"<r/>", "Error while parsing XML file"},
      {"<r><s/><transition type='odd'/></r>", "unknown transition type: odd"},
      {"<r><s/><transition type='timed' to='later'/></r>", "unknown time: later"},
      {"<r><s/>\n<transition type='discrete'/></r>", "the trace ends behind a transition"},
      {"<r><s/><transition type='discrete'/>" + state + "MAYBE</v></s></r>",
       "unknown value element: MAYBE"},
  };
  for (const auto& [trace, expected] : faults) {
    EXPECT_THAT(message_of([&, text = trace] { read_pelmo(text); }), HasSubstr(expected)) << trace;
  }
}

}  // namespace
}  // namespace kelvo
