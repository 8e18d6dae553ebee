#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "model/action.h"
#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/user_type.h"
#include "parsers/anml/anml_parser.h"
#include "plans/pot_plan.h"
#include "plans/time_triggered_plan.h"
#include "plans/ttp_parser.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo {

/// Problems and plans as text in, printed ones out.
class TransformerFixture : public ::testing::Test {
 protected:
  model::ProblemInstance parse(const std::string& text) {
    std::istringstream source(text);
    source.unsetf(std::ios::skipws);
    return AnmlParser(env).parse(source);
  }

  std::shared_ptr<TimeTriggeredPlan> parse_plan(const model::ProblemInstance& problem,
                                                const std::string& text) {
    std::istringstream source(text);
    return TTPParser(env, problem).parse(source);
  }

  model::ExpressionFactory& ef() { return env.expression_factory(); }

  model::Expression instance(const model::ProblemInstance& problem, const std::string& name) {
    return ef().make_instance_reference(problem->instances().at(name));
  }

  static std::string text(const Plan& plan) {
    std::ostringstream os;
    os << plan;
    return os.str();
  }
  static std::string text(model::Expression e) {
    std::ostringstream os;
    os << model::print_expression(e);
    return os.str();
  }

  /// The statements of an action or a problem.
  static std::vector<std::string> texts(const model::ExpressionSet& expressions) {
    std::vector<std::string> lines;
    for (const model::Expression e : expressions) lines.push_back(text(e));
    return lines;
  }
  static std::vector<std::string> statements(const model::ProblemInstance& problem,
                                             const std::string& action) {
    const auto found = problem->actions().find(action);
    if (found == problem->actions().end()) return {"no action " + action};
    return texts(found->second->expressions());
  }

  template <typename Map>
  static std::vector<std::string> names(const Map& map) {
    std::vector<std::string> result;
    for (const auto& [name, object] : map) result.push_back(name);
    return result;
  }

  template <typename Function>
  static void expect_internal_error(Function&& function, const std::string& text) {
    try {
      function();
      ADD_FAILURE() << "nothing was raised instead of: " << text;
    } catch (const InternalError& error) {
      EXPECT_EQ(error.message(), "InternalError: " + text);
    }
  }

  Environment env;
};

using Lines = std::vector<std::string>;

}  // namespace kelvo
