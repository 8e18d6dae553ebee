#include "app/option_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "shell/configuration.h"
#include "shell/errors.h"
#include "shell/option_table.h"

namespace kelvo {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using Words = std::vector<std::string>;

const std::string usage_line =
    "Usage: kelvo (code-generate | solve | convert-to | trace-to-plan | transform | validate | "
    "repl) [options] <input-file-1> ... <input-file-n>\nAllowed options:\n";

class CommandLineTest : public testing::Test {
 protected:
  CommandLineTest() { parse({"--version"}); }

  /// Each call parses with a fresh configuration, as a run does.
  int parse(const Words& words) {
    configuration_ = std::make_unique<Configuration>();
    register_options(*configuration_, option_values());
    std::vector<const char*> argv = {"kelvo"};
    for (const std::string& word : words) argv.push_back(word.c_str());
    input_files_.clear();
    testing::internal::CaptureStderr();
    const int status = configuration_->parse_from_command_line(static_cast<int>(argv.size()),
                                                               argv.data(), input_files_);
    errors_ = testing::internal::GetCapturedStderr();
    return status;
  }

  std::unique_ptr<Configuration> configuration_;
  Words input_files_;
  std::string errors_;
};

TEST_F(CommandLineTest, DefaultsAreThoseOfTheTable) {
  ASSERT_EQ(parse({"solve", "f.anml"}), 0);
  EXPECT_EQ(errors_, "");
  EXPECT_THAT(input_files_, ElementsAre("f.anml"));
  EXPECT_EQ(configuration_->get_string_value("function"), "solve");
  const std::pair<const char*, const char*> strings[] = {{"algorithm", "smt"},
                                                         {"plan-epsilon", "0.01"},
                                                         {"tsimple-heuristic", "hmax"},
                                                         {"ftp-heuristic", "hadd"},
                                                         {"rlftp-model", ""},
                                                         {"bounding-problem", ""},
                                                         {"output", ""},
                                                         {"plan", ""},
                                                         {"output-planner", "./gplanner.cxx"},
                                                         {"output-simulator", "./gsimulator.cxx"}};
  for (const auto& [name, value] : strings) {
    EXPECT_EQ(configuration_->get_string_value(name), value) << name;
  }
  const std::pair<const char*, long> integers[] = {{"logging-level", 0},
                                                   {"smt-max-horizon", 100},
                                                   {"smt-optimization-rounds", 0},
                                                   {"rlftp-max-plan-size", 1200},
                                                   {"subgoals-reward", 1}};
  for (const auto& [name, value] : integers) {
    EXPECT_EQ(configuration_->get_integer_value(name), value) << name;
  }
  EXPECT_EQ(configuration_->get_float_value("weight"), 0.5);
  EXPECT_EQ(configuration_->get_float_value("rlftp-gamma"), 0.99);
  EXPECT_THAT(configuration_->get_vector_string_value("transformer"), IsEmpty());
  for (const char* name : {"version", "help", "debug", "pddl", "showproblem", "time-triggered",
                           "disable-prune-actions", "mission", "problem-free", "disable-shell"}) {
    EXPECT_FALSE(configuration_->get_boolean_value(name)) << name;
  }
}

TEST_F(CommandLineTest, TheSameRunIsToldInManyWays) {
  const Words lines[] = {
      {"solve", "--algorithm", "ftp", "f.anml", "-t", "flattener", "-t", "full-grounder", "-w0.25"},
      {"solve", "f.anml", "-a", "ftp", "-t", "flattener", "-w", "0.25", "-t", "full-grounder"},
      {"-t", "flattener", "-tfull-grounder", "solve", "--algorithm=ftp", "--weight=0.25", "f.anml"},
  };
  for (const Words& line : lines) {
    ASSERT_EQ(parse(line), 0) << errors_;
    EXPECT_EQ(configuration_->get_string_value("algorithm"), "ftp");
    EXPECT_THAT(configuration_->get_vector_string_value("transformer"),
                ElementsAre("flattener", "full-grounder"));
    EXPECT_EQ(configuration_->get_float_value("weight"), 0.25);
    EXPECT_THAT(input_files_, ElementsAre("f.anml"));
  }
  ASSERT_EQ(parse({"solve", "-cRT", "a", "b", "-H", "7", "c", "-l", "-3"}), 0) << errors_;
  EXPECT_TRUE(configuration_->get_boolean_value("rational-precision"));
  EXPECT_TRUE(configuration_->get_boolean_value("time-triggered"));
  EXPECT_TRUE(configuration_->get_boolean_value("iw-disable-tuple-computation-in-initial-states"));
  EXPECT_EQ(configuration_->get_integer_value("smt-max-horizon"), 7);
  EXPECT_EQ(configuration_->get_integer_value("logging-level"), -3);
  EXPECT_THAT(input_files_, ElementsAre("a", "b", "c"));
}

TEST_F(CommandLineTest, AWrongLineSaysWhatIsWrongAndHowToUseIt) {
  const std::pair<Words, std::string> cases[] = {
      {{}, ""},
      {{"generic"}, ""},
      {{"fly", "f.anml"}, ""},
      {{"--algorithm", "ftp", "solve", "f.anml"}, ""},  // "ftp" is taken for the function
      {{"--help"}, ""},
      {{"solve", "f.anml", "-h"}, ""},
      {{"--version", "--help"}, ""},
      {{"validate", "-a", "ftp"}, "unrecognised option '-a'\n"},
      {{"solve", "--subgoals-reward", "2"}, "unrecognised option '--subgoals-reward'\n"},
      {{"solve", "--trace", "p"}, "unrecognised option '--trace'\n"},
      {{"transform", "-l", "abc"},
       "the argument ('abc') for option '--logging-level' is invalid\n"},
      {{"--version", "-l", "abc"},
       "the argument ('abc') for option '--logging-level' is invalid\n"},
      {{"solve", "-w", "x"}, "the argument ('x') for option '--weight' is invalid\n"},
      {{"solve", "f", "-a"}, "the required argument for option '--algorithm' is missing\n"},
      {{"transform", "-t", "foo"}, "foo is not a valid value for option transformer\n"},
      {{"solve", "-t", "foo", "-t", "flattener", "-t", "bar", "-a", "magic"},
       "magic is not a valid value for option algorithm\n"
       "foo is not a valid value for option transformer\n"
       "bar is not a valid value for option transformer\n"},
      {{"convert-to", "f"}, " is not a valid value for option target\n"},
      {{"convert-to", "--target", "vhdl"}, "vhdl is not a valid value for option target\n"},
      {{"trace-to-plan", "f"}, " is not a valid value for option input-format\n"},
      {{"solve", "-B", "hff"}, "hff is not a valid value for option ftp-heuristic\n"},
      {{"solve", "-A", "hsize"}, "hsize is not a valid value for option tsimple-heuristic\n"},
  };
  for (const auto& [words, message] : cases) {
    EXPECT_EQ(parse(words), 1) << testing::PrintToString(words);
    EXPECT_THAT(errors_, StartsWith(message + usage_line)) << testing::PrintToString(words);
  }
}

TEST_F(CommandLineTest, TheUsageTextHoldsTheGroupsThatApply) {
  const Words headings = {
      "code-generate options:", "convert-to options:", "repl options:",    "solve options:",
      "trace-to-plan options:", "transform options:",  "validate options:"};
  for (const Words& words : {Words{}, Words{"generic"}, Words{"--help"}, Words{"-l", "x"}}) {
    parse(words);
    std::size_t last = 0;
    for (const std::string& heading : headings) {
      const std::size_t at = errors_.find("\n" + heading + "\n");
      ASSERT_NE(at, std::string::npos) << heading;
      EXPECT_GT(at, last) << heading << " stands out of order";
      last = at;
    }
    EXPECT_THAT(errors_, Not(HasSubstr("subgoals-reward")));
    EXPECT_THAT(errors_, Not(HasSubstr("input-files")));
  }
  parse({"validate", "--help"});
  for (const std::string& heading : headings) {
    EXPECT_EQ(errors_.find(heading) != std::string::npos, heading == "validate options:")
        << heading;
  }
}

TEST_F(CommandLineTest, TheUsageTextShowsDefaultsAndAllowedValues) {
  parse({"solve", "--help"});
  for (const char* text :
       {"-v [ --version ]", "-D [ --debug ]", "-l [ --logging-level ] arg (=0)",
        "--rlftp-gamma arg (=0.99", "-w [ --weight ] arg (=0.5)", "-a [ --algorithm ] arg (=smt)",
        "-H [ --smt-max-horizon ] arg (=100)", "Options are: [smt, tsimple, ftp, ",
        "-B [ --ftp-heuristic ] arg (=hadd)", "--ftp-search arg (=standard)",
        "Options are: [standard, guided].", "--ftp-improve arg (=0)"}) {
    EXPECT_THAT(errors_, HasSubstr(text));
  }
}

TEST_F(CommandLineTest, VersionNeedsNoFunctionAndReadsNothingElse) {
  EXPECT_EQ(parse({"--version"}), 0);
  EXPECT_TRUE(configuration_->get_boolean_value("version"));
  EXPECT_EQ(parse({"-v", "solve", "--no-such-option", "f.anml"}), 0);
  EXPECT_EQ(errors_, "");
}

TEST_F(CommandLineTest, AnOptionIsReadByItsNameAndType) {
  configuration_->set_value("weight", 0.75);
  configuration_->set_value("debug", true);
  configuration_->set_value("smt-max-horizon", 3L);
  configuration_->set_value("algorithm", "iw");
  configuration_->set_value("transformer", Words{"bounder"});
  EXPECT_EQ(configuration_->get_float_value("weight"), 0.75);
  EXPECT_TRUE(configuration_->get_boolean_value("debug"));
  EXPECT_EQ(configuration_->get_integer_value("smt-max-horizon"), 3);
  EXPECT_EQ(configuration_->get_string_value("algorithm"), "iw");
  EXPECT_THAT(configuration_->get_vector_string_value("transformer"), ElementsAre("bounder"));

  const auto message = [](const auto& read) -> std::string {
    try {
      read();
    } catch (const InvalidParameterError& error) {
      return error.message();
    }
    return "";
  };
  EXPECT_EQ(message([this] { configuration_->get_boolean_value("weight"); }),
            "InvalidParameterError: Undefined option weight");
  EXPECT_EQ(message([this] { configuration_->set_value("speed", 1L); }),
            "InvalidParameterError: Undefined option speed");
}

}  // namespace
}  // namespace kelvo
