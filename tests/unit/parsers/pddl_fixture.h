#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "model/action.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "parsers/pddl/pddl_parser.h"
#include "shell/environment.h"
#include "shell/warnings.h"

namespace kelvo {

/// Reads domains and problems, each text in an environment of its own.
class PddlFixture : public testing::Test {
 protected:
  using Lines = std::vector<std::string>;

  model::ProblemInstance parse(const std::string& text) {
    problem_ = nullptr;
    env_ = std::make_unique<Environment>();
    std::istringstream source(text);
    problem_ = PddlParser(*env_).parse(source);
    return problem_;
  }
  const std::vector<std::string>& warnings() const { return env_->warning_manager().warnings(); }

  /// The message of the failure, or "accepted".
  std::string error_of(const std::string& text) {
    try {
      parse(text);
    } catch (const std::exception& e) {
      return e.what();
    }
    return "accepted";
  }

  /// The statements, sorted.
  static Lines sorted(const model::ExpressionSet& expressions) {
    Lines lines;
    for (const model::Expression e : expressions) {
      std::ostringstream os;
      os << model::print_expression(e);
      lines.push_back(os.str());
    }
    std::sort(lines.begin(), lines.end());
    return lines;
  }

 private:
  std::unique_ptr<Environment> env_;
  model::ProblemInstance problem_;
};

}  // namespace kelvo
