#include "shell/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <string>

#include "shell/warnings.h"

namespace kelvo {
namespace {

using testing::MatchesRegex;

class LogTest : public testing::Test {
 protected:
  LogTest() {
    Log::set_stream(out_);
    Log::set_reporting_level(LogLevel::INFO);
  }
  ~LogTest() override {
    Log::set_stream(std::cerr);
    Log::set_reporting_level(LogLevel::ERR);
  }

  std::ostringstream out_;
};

TEST_F(LogTest, ALineHasTheLocalTimeTheLevelAndTheText) {
  LOG(LogLevel::ERR) << "x = " << 3;
  LOG(LogLevel::WARN) << "y";
  EXPECT_THAT(out_.str(), MatchesRegex("- [0-9]{4}/[01][0-9]/[0-3][0-9] [0-2][0-9]:[0-5][0-9]:"
                                       "[0-6][0-9] ERROR: x = 3\n"
                                       "- [0-9/]{10} [0-9:]{8} WARNING: y\n"));
}

TEST_F(LogTest, ALevelThatIsOffEvaluatesNothing) {
  int calls = 0;
  const auto count = [&calls] { return ++calls; };
  LOG(LogLevel::DEBUG) << count();
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(out_.str(), "");
  LOG(LogLevel::INFO) << count();
  EXPECT_EQ(calls, 1);
  Log::set_reporting_level(LogLevel::NONE);
  LOG(LogLevel::ERR) << count();
  EXPECT_EQ(calls, 1);
}

TEST_F(LogTest, TheMacroLeavesTheElseBranchToTheIfAroundIt) {
  bool took_else = false;
  if (out_.str().empty())
    LOG(LogLevel::DEBUG) << "off";
  else
    took_else = true;
  EXPECT_FALSE(took_else);
}

TEST_F(LogTest, LevelsHaveWords) {
  const std::string words[] = {"NONE", "ERROR", "WARNING", "INFO", "DEBUG", "TRACE"};
  for (int level = 0; level <= 5; ++level) {
    EXPECT_EQ(Log::to_string(static_cast<LogLevel>(level)), words[level]);
  }
}

TEST_F(LogTest, WarningsAreKeptAlsoWhenTheLogIsSilent) {
  WarningManager warnings;
  warnings.warn("first");
  Log::set_reporting_level(LogLevel::NONE);
  warnings.warn("second");
  EXPECT_EQ(warnings.warnings(), (std::vector<std::string>{"first", "second"}));
  EXPECT_THAT(out_.str(), MatchesRegex(".* WARNING: first\n"));
}

}  // namespace
}  // namespace kelvo
