#include "shell/concat_stream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "shell/errors.h"
#include "shell/log.h"

namespace kelvo {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string read_all(std::istream& in) {
  std::ostringstream text;
  std::string block(700, ' ');
  while (in.read(block.data(), std::ssize(block)) || in.gcount() > 0) {
    text.write(block.data(), in.gcount());
  }
  return text.str();
}

class ConcatStreamTest : public testing::Test {
 protected:
  ConcatStreamTest() {
    std::filesystem::create_directories(folder_);
    Log::set_stream(log_);
    Log::set_reporting_level(LogLevel::WARN);
  }
  ~ConcatStreamTest() override {
    std::filesystem::remove_all(folder_);
    Log::set_stream(std::cerr);
    Log::set_reporting_level(LogLevel::ERR);
  }

  std::string write(const std::string& name, const std::string& text) {
    const std::string path = (folder_ / name).string();
    std::ofstream(path) << text;
    return path;
  }

  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("kelvo_concat_" + std::to_string(::getpid()));
  std::ostringstream log_;
};

TEST_F(ConcatStreamTest, TextsRunOnWithoutAnythingBetween) {
  const std::string longer(5000, 'x');
  const std::vector<std::vector<std::string>> cases = {
      {},
      {""},
      {"a\n", "b"},
      {"", "", "b\n", "", "c"},
      {"no newline", "glued"},
      {longer + "\n", "tail\n", longer},
      {std::string(1024, 'y') + "\n", std::string(1024, 'z')},
  };
  for (const auto& texts : cases) {
    std::vector<std::istringstream> streams;
    std::string expected;
    for (const std::string& text : texts) {
      streams.emplace_back(text);
      expected += text;
    }
    std::vector<std::istream*> pointers;
    for (std::istringstream& stream : streams) pointers.push_back(&stream);
    ConcatStreamBuf buffer(pointers);
    std::istream in(&buffer);
    EXPECT_EQ(read_all(in), expected);
  }
}

TEST_F(ConcatStreamTest, AFileThatRunsIntoTheNextIsLogged) {
  const std::string glued = write("glued", "fluent");
  const std::string whole = write("whole", "boolean p;\n");
  const std::string last = write("last", "p;");
  ConcatIfStream files({glued, whole, last});
  EXPECT_EQ(read_all(files.stream()), "fluentboolean p;\np;");
  EXPECT_THAT(log_.str(), HasSubstr("WARNING: Input file '" + glued + "' does not end in a newl"));
  EXPECT_THAT(log_.str(), Not(HasSubstr(whole)));
  EXPECT_THAT(log_.str(), Not(HasSubstr(last)));
}

TEST_F(ConcatStreamTest, WhatCannotBeReadIsAnErrorByName) {
  const std::string good = write("f", "x");
  const std::pair<std::string, std::string> cases[] = {
      {"no/such/file", "Input file 'no/such/file' does not exist!\n"},
      {"", "Input file '' does not exist!\n"},
      {folder_.string(), "Input file '" + folder_.string() + "' is a directory"},
      {"/proc/self/mem", "Input file '/proc/self/mem' cannot be read: Input/output error"},
  };
  for (const auto& [name, message] : cases) {
    try {
      ConcatIfStream files({good, name});
      read_all(files.stream());
      ADD_FAILURE() << name;
    } catch (const InvalidParameterError& error) {
      EXPECT_EQ(error.message(), "InvalidParameterError: " + message);
    }
  }
}

}  // namespace
}  // namespace kelvo
