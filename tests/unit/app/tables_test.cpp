// The tables of the program and the options that choose among them name the same things.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>

#include "app/option_values.h"
#include "app/planner_factory.h"
#include "app/transformer_factory.h"
#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "planners/planner.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/basic_transformer.h"

namespace kelvo {
namespace {

using testing::HasSubstr;

class TablesTest : public testing::Test {
 protected:
  static model::ProblemInstance problem(Environment& env) {
    std::istringstream source(
        "fluent boolean p; [start] p := false;"
        "action a() { duration := 1; [end] p := true; }; [end] p;");
    return AnmlParser(env).parse(source);
  }

  /// What the error says, empty if there is none.
  static std::string error_of(const std::function<void()>& call) {
    try {
      call();
    } catch (const KelvoError& error) {
      return error.message();
    }
    return "";
  }
};

// A name is made, or refused as not built; what is not named is unknown.
TEST_F(TablesTest, EachNameOfAnOptionHasItsRow) {
  Environment env(option_values());
  const model::ProblemInstance input = problem(env);
  for (const std::string& name : planner_names()) {
    const std::string error = error_of([&] { make_planner(env, name, input); });
    if (!error.empty()) {
      EXPECT_THAT(error, HasSubstr("has no planner '" + name + "'"));
    }
  }
  for (const std::string& name : transformer_names()) {
    const std::string error = error_of([&] { make_transformer(env, name, input); });
    // It reads a second problem when it is made.
    if (name == "bounder") {
      EXPECT_THAT(error, HasSubstr("Input file '' does not exist!"));
    } else {
      EXPECT_EQ(error, "") << name;
    }
  }
  EXPECT_THAT(error_of([&] { make_planner(env, "magic", input); }),
              HasSubstr("Unknown planner type: magic"));
  EXPECT_THAT(error_of([&] { make_transformer(env, "magic", input); }),
              HasSubstr("Transformer 'magic' is unknown!"));
}

TEST_F(TablesTest, DefaultsAreAmongTheNames) {
  Environment env(option_values());
  for (const auto& [option, names] : option_values()) {
    EXPECT_FALSE(names.empty()) << option;
    if (option == "transformer") continue;  // none is applied by default
    const std::string& value = env.configuration().get_string_value(option);
    if (!value.empty()) {
      EXPECT_THAT(names, testing::Contains(value));
    }
  }
}

}  // namespace
}  // namespace kelvo
