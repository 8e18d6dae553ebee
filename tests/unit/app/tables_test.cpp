// The tables of the program and the options that choose among them name the same things.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "app/functions.h"
#include "app/option_checks.h"
#include "app/option_values.h"
#include "app/plan_formats.h"
#include "app/planner_factory.h"
#include "app/transformer_factory.h"
#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "planners/planner.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/option_table.h"
#include "transformers/basic_transformer.h"
#include "transformers/transformer_chain.h"

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

TEST_F(TablesTest, EachFunctionRunsOrIsRefusedAsNotBuilt) {
  Environment env(option_values());
  const model::ProblemInstance input = problem(env);
  const TransformerChain chain(input);
  for (const std::string& name : function_names()) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const std::string error = error_of([&] { run_function(env, name, input, chain); });
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    const bool is_refused = error.find("This executable of KELVO has no ") != std::string::npos;
    EXPECT_EQ(is_refused, !is_function_built(name)) << name << ": " << error;
  }
  EXPECT_THAT(error_of([&] { run_function(env, "fly", input, chain); }),
              HasSubstr("Unknown function: fly"));
}

TEST_F(TablesTest, EachPlanFormatIsMadeOrRefusedBeforeTheSearch) {
  for (const std::string& name : plan_format_names()) {
    Environment env(option_values());
    env.configuration().set_value(name, true);
    const std::string error = error_of([&] { refuse_missing_plan_formats(env.configuration()); });
    EXPECT_EQ(error, name == "mission"
                         ? "InternalError: This executable of KELVO has no mission plan!"
                         : "");
  }
}

TEST_F(TablesTest, EachHeuristicOfTheSearchOverEventsIsMade) {
  const OptionValues values = option_values();
  for (const std::string& name : values.at("ftp-heuristic")) {
    Environment env(option_values());
    env.configuration().set_value("ftp-heuristic", name);
    EXPECT_EQ(error_of([&] { make_planner(env, "ftp", problem(env)); }), "") << name;
  }
  Environment env(option_values());
  env.configuration().set_value("ftp-heuristic", "hguess");
  EXPECT_THAT(error_of([&] { make_planner(env, "ftp", problem(env)); }),
              HasSubstr("Heuristic not implemented!"));
}

/// The names that some source file asks the configuration for.
std::set<std::string> options_read() {
  const std::regex read(R"re(get_\w+_value\(\s*"([^"]+)"\))re");
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator("src")) {
    if (entry.path().extension() != ".cpp") continue;
    std::ostringstream text;
    text << std::ifstream(entry.path()).rdbuf();
    const std::string source = text.str();
    for (std::sregex_iterator at(source.begin(), source.end(), read), end; at != end; ++at) {
      names.insert((*at)[1]);
    }
  }
  return names;
}

// An option that nothing reads is one of a function or a planner that this program does not have.
TEST_F(TablesTest, EachOptionIsReadOrBelongsToWhatIsNotBuilt) {
  std::set<std::string> read = options_read();
  for (const std::string& name : plan_format_names()) read.insert(name);
  for (const OptionName& option : option_names()) {
    const bool is_of_missing_planner =
        error_of([&] {
          Environment env(option_values());
          make_planner(env, option.reader, problem(env));
        }).find("This executable of KELVO has no planner") != std::string::npos;
    const bool has_function = option.group == "generic" || is_function_built(option.group);
    EXPECT_TRUE(read.contains(option.name) || !has_function || is_of_missing_planner)
        << option.name;
    EXPECT_TRUE(option.reader.empty() || is_reader_known(option.reader)) << option.reader;
    read.erase(option.name == "output" ? "" : option.name);
  }
  // What has no row: read beside the table.
  for (const char* name : {"function", "help", "version", "output"}) read.erase(name);
  EXPECT_THAT(read, testing::IsEmpty());
}

TEST_F(TablesTest, DefaultsAreAmongTheNames) {
  Environment env(option_values());
  for (const auto& [option, names] : option_values()) {
    EXPECT_FALSE(names.empty()) << option;
    if (option == "transformer" || option == "function") continue;  // there is no default
    const std::string& value = env.configuration().get_string_value(option);
    if (!value.empty()) {
      EXPECT_THAT(names, testing::Contains(value));
    }
  }
}

}  // namespace
}  // namespace kelvo
