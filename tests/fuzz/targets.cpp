#include "tests/fuzz/targets.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <memory>
#include <sstream>
#include <streambuf>

#include "app/option_checks.h"
#include "app/option_values.h"
#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "parsers/pddl/pddl_parser.h"
#include "plans/plan_reader.h"
#include "plans/time_triggered_plan.h"
#include "plans/ttp_parser.h"
#include "shell/configuration.h"
#include "shell/environment.h"

namespace kelvo::fuzz {

namespace {

std::istringstream stream_of(std::string_view text) {
  return std::istringstream(std::string(text));
}

void read_anml(std::string_view input) {
  Environment env;
  std::istringstream source = stream_of(input);
  try {
    const model::ProblemInstance problem = AnmlParser(env).parse(source);
    std::ostringstream() << *problem;
  } catch (const std::exception&) {
  }
}

void read_pddl(std::string_view input) {
  Environment env;
  env.configuration().set_value("pddl", true);
  std::istringstream source = stream_of(input);
  try {
    const model::ProblemInstance problem = PddlParser(env).parse(source);
    std::ostringstream() << *problem;
  } catch (const std::exception&) {
  }
}

/// What the plans of the corpus are plans of. Kept over many of them: reading it takes longer than
/// reading a plan.
class PlanWorld {
 public:
  PlanWorld() {
    std::istringstream source(
        "type Robot; instance Robot r1, r2; type Lift with { action up(integer[0, 9] n) "
        "{ duration := 1; }; }; instance Lift lift;\n"
        "fluent boolean p; [start] p := false;\n"
        "action go(Robot r, boolean fast, float x, integer[0, 9] n) { duration >= 1; "
        "[end] p := true; };\n"
        "action wait_here() { duration := 2; };\n"
        "goal [end] p;\n");
    problem_ = AnmlParser(env_).parse(source);
  }

  template <typename Read>
  void read(std::string_view input, const Read& read) {
    std::istringstream source = stream_of(input);
    try {
      std::ostringstream() << *read(env_, problem_, source);
    } catch (const std::exception&) {
    }
  }

 private:
  Environment env_;
  model::ProblemInstance problem_;
};

void read_plan(std::string_view input) {
  static std::unique_ptr<PlanWorld> world;
  static std::size_t num_plans = 0;
  constexpr std::size_t plans_of_a_world = 1000;  // its constants are never freed
  if (num_plans++ % plans_of_a_world == 0) world = std::make_unique<PlanWorld>();
  world->read(input, [](Environment& env, const auto& problem, std::istream& source) {
    return TTPParser(env, problem).parse(source);
  });
  world->read(input, [](Environment& env, const auto& problem, std::istream& source) {
    return PlanReader(env, problem).read(source).plan;
  });
}

/// Swallows standard error, which the parser of the command line writes to.
class Silence {
 public:
  Silence() : old_(std::cerr.rdbuf(&nothing_)) {}
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;
  ~Silence() { std::cerr.rdbuf(old_); }

 private:
  struct Nothing : std::streambuf {
    int_type overflow(int_type c) override { return traits_type::not_eof(c); }
    std::streamsize xsputn(const char_type*, std::streamsize count) override { return count; }
  };
  Nothing nothing_;
  std::streambuf* old_;
};

/// One word a line.
void read_command_line(std::string_view input) {
  std::vector<std::string> words = {"kelvo"};
  std::istringstream source = stream_of(input.substr(0, input.find('\0')));
  for (std::string word; std::getline(source, word);) words.push_back(word);
  std::vector<const char*> argv;
  for (const std::string& word : words) argv.push_back(word.c_str());

  const Silence silence;
  Configuration configuration;
  register_options(configuration, option_values());
  std::vector<std::string> input_files;
  try {
    if (configuration.parse_from_command_line(static_cast<int>(argv.size()), argv.data(),
                                              input_files) != 0) {
      return;
    }
    if (check_option_numbers(configuration, std::cerr)) {
      tell_options_without_effect(configuration, std::cerr);
    }
  } catch (const std::exception&) {
  }
}

}  // namespace

const std::vector<Target>& targets() {
  static const std::vector<Target> all = {
      {"anml",
       read_anml,
       {"type ",
        "instance ",
        "fluent ",
        "constant ",
        "action ",
        "duration",
        "[start] ",
        "[end] ",
        "[all] ",
        "goal ",
        "boolean ",
        "integer ",
        "integer[0, 9] ",
        "rational ",
        "float ",
        " := ",
        " :in ",
        " == ",
        "contains ",
        "forall(",
        "exists(",
        "with ",
        "{",
        "};",
        "(",
        ")",
        "(start, end]",
        "not ",
        " and ",
        " or ",
        " implies ",
        "1.5",
        "1/3",
        "0",
        "99999999999999999999",
        "end - 1",
        "start + 1",
        ".",
        "/*",
        "*/",
        "//",
        ";",
        "true",
        "false",
        " + ",
        " - ",
        " * ",
        " / "}},
      {"pddl",
       read_pddl,
       {"(define ",
        "(domain d)",
        "(problem p)",
        "(:domain d)",
        "(:requirements ",
        "(:types ",
        "(:constants ",
        "(:predicates ",
        "(:functions ",
        "(:durative-action ",
        "(:action ",
        ":parameters ",
        ":duration ",
        ":condition ",
        ":effect ",
        "(and ",
        "(or ",
        "(not ",
        "(forall ",
        "(exists ",
        "(when ",
        "(imply ",
        "(at start ",
        "(at end ",
        "(over all ",
        "(at 5 ",
        "(= ",
        "(>= ",
        "(increase ",
        "(decrease ",
        "(assign ",
        "?duration",
        "?x",
        " - object",
        "(either ",
        "(:init ",
        "(:goal ",
        "(:objects ",
        "(:metric ",
        ")",
        "(",
        "1.5",
        "-3",
        "99999999999999999999",
        ";"}},
      {"plan",
       read_plan,
       {"0: ",
        "0.5: ",
        "1/3: ",
        "go(",
        "wait_here()",
        "lift.up(3)",
        "r1, true, 1/2, 3)",
        "[1]",
        "[1/2]",
        "[0]",
        "(go r1 ",
        "(wait-here)",
        ";",
        ": ",
        ", ",
        "\n",
        "999999999999999999999",
        "1/0",
        ".",
        "-"}},
      {"command_line",
       read_command_line,
       {"solve\n",
        "validate\n",
        "transform\n",
        "convert-to\n",
        "trace-to-plan\n",
        "repl\n",
        "-a\n",
        "ftp\n",
        "-a\nftp\n",
        "--ftp-search\nguided\n",
        "-e\n",
        "-w\n",
        "-H\n",
        "-O\n",
        "-l\n",
        "-t\n",
        "-P\n",
        "-p\n",
        "-T\n",
        "-h\n",
        "-v\n",
        "--",
        "-",
        "=",
        "--target\npddl\n",
        "--plan\n",
        "--strict\n",
        "--epsilon\n",
        "nan\n",
        "inf\n",
        "-1\n",
        "1e999\n",
        "0x1\n",
        "99999999999999999999\n",
        "1/0\n",
        "\n",
        "@file\n"}},
  };
  return all;
}

const Target* find_target(std::string_view name) {
  const auto found = std::find_if(targets().begin(), targets().end(),
                                  [name](const Target& target) { return target.name == name; });
  return found == targets().end() ? nullptr : &*found;
}

}  // namespace kelvo::fuzz
