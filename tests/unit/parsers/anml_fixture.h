#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "shell/environment.h"

namespace kelvo {

/// Reads problems, each in an environment of its own.
class AnmlFixture : public testing::Test {
 protected:
  model::ProblemInstance parse(const std::string& text) {
    problem_ = nullptr;
    env_ = std::make_unique<Environment>();
    std::istringstream source(text);
    problem_ = AnmlParser(*env_).parse(source);
    return problem_;
  }

  /// The printed problem, without empty lines.
  std::string print(const std::string& text) {
    std::ostringstream all;
    all << parse(text);
    std::istringstream lines(all.str());
    std::string printed;
    for (std::string line; std::getline(lines, line);) {
      if (!line.empty()) printed += line + '\n';
    }
    return printed;
  }

  /// The message of the failure, or "accepted".
  std::string error_of(const std::string& text) {
    try {
      parse(text);
    } catch (const std::exception& e) {
      return e.what();
    }
    return "accepted";
  }

 private:
  std::unique_ptr<Environment> env_;
  model::ProblemInstance problem_;
};

}  // namespace kelvo
