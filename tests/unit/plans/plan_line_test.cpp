#include "plans/plan_line.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <regex>
#include <string>

namespace kelvo {
namespace {

const std::string NUMBER = R"(\d+((\.\d+)|(\/\d+))?)";
const std::regex BLANK_OR_COMMENT(R"(^\s*(;(.*))?$)");
const std::regex STEP(R"(^\s*()" + NUMBER + R"()\s*:\s*(((\w+)\.)?(\w+))\s*)" +
                      R"(\(((\w|\/|\.)+(\,\s*(\w|\/|\.)+)*)?\)\s*\[\s*()" + NUMBER +
                      R"()\s*\]\s*$)");
const std::regex PARAMETER(R"(^\s*,\s*(()" + NUMBER + R"()|(true)|(false)|(\w+))\s*)");

void compare_step(const std::string& line) {
  std::smatch expected;
  PlanLine parts;
  const bool is_step = std::regex_match(line, expected, STEP);
  ASSERT_EQ(match_plan_line(line, parts), is_step) << "'" << line << "'";
  ASSERT_EQ(is_blank_or_comment(line), std::regex_match(line, BLANK_OR_COMMENT))
      << "'" << line << "'";
  if (!is_step) return;
  EXPECT_EQ(parts.start_time, expected.str(1)) << line;
  EXPECT_EQ(parts.object, expected.str(7)) << line;
  EXPECT_EQ(parts.action, expected.str(8)) << line;
  EXPECT_EQ(parts.parameters, expected.str(9)) << line;
  EXPECT_EQ(parts.duration, expected.str(13)) << line;
}

void compare_parameters(const std::string& list) {
  using Kind = PlanLineParameter::Kind;
  std::string left = list;
  std::string_view rest = list;
  while (true) {
    std::smatch expected;
    PlanLineParameter parameter;
    const bool is_parameter = std::regex_search(left, expected, PARAMETER);
    ASSERT_EQ(take_parameter(rest, parameter), is_parameter) << "'" << list << "'";
    if (!is_parameter) break;
    const Kind kind = expected[2].matched   ? Kind::NUMBER
                      : expected[6].matched ? Kind::TRUE
                      : expected[7].matched ? Kind::FALSE
                                            : Kind::NAME;
    ASSERT_EQ(parameter.kind, kind) << "'" << list << "'";
    ASSERT_EQ(parameter.text, expected.str(1)) << "'" << list << "'";
    left = expected.suffix().str();
  }
  ASSERT_EQ(rest, left) << "'" << list << "'";
}

// Lines made of pieces that often fit together, with a character changed now and then.
std::string random_line(std::mt19937& random) {
  static const std::array<const char*, 24> pieces = {
      "0", "12", "1.5",   "1/3", ":",  ": ", "a",  "truck1", "_b.c", "(",      ")",  "()",
      "[", "]",  " [5] ", ",",   ", ", " ",  "\t", "true",   "; x",  "falsey", "1.", "-"};
  static const std::string other = " .,/:;[]()a_1\r\x80-";
  std::string line;
  if (random() % 2 == 0) {
    line = "1: a.b(x, 1/2) [3]";
  } else {
    for (auto length = random() % 12; length > 0; --length)
      line += pieces[random() % pieces.size()];
  }
  for (auto changes = random() % 3; changes > 0 && !line.empty(); --changes) {
    const std::size_t at = random() % line.size();
    const char c = other[random() % other.size()];
    switch (random() % 3) {
      case 0:
        line[at] = c;
        break;
      case 1:
        line.insert(at, 1, c);
        break;
      default:
        line.erase(at, 1);
        break;
    }
  }
  return line;
}

TEST(PlanLineTest, AgreesWithTheLineExpressions) {
  std::mt19937 random(7);
  for (int i = 0; i < 30000; ++i) {
    const std::string line = random_line(random);
    compare_step(line);
    compare_parameters("," + line);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(PlanLineTest, LongLinesAreNoDanger) {
  PlanLine parts;
  const std::string blanks(1000000, ' ');
  EXPECT_TRUE(is_blank_or_comment(blanks + ";" + blanks));
  EXPECT_FALSE(match_plan_line(blanks + "1" + blanks, parts));
  std::string many = "x";
  for (int i = 0; i < 300000; ++i) many += ", x";
  const std::string line = "1: a(" + many + ") [1]";
  ASSERT_TRUE(match_plan_line(line, parts));
  EXPECT_EQ(parts.parameters, many);
}

}  // namespace
}  // namespace kelvo
