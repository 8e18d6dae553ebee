#include "shell/option_table.h"

#include <string>
#include <variant>
#include <vector>

#include "shell/configuration.h"

namespace kelvo {

namespace {

struct Switch {};
struct List {};

/// The type of an option is that of its default; a switch and a list have none.
using Default = std::variant<Switch, long, double, const char*, List>;

struct OptionRow {
  const char* name;
  char short_name;  // 0 for none
  const char* group;
  Default default_value;
  const char* description;
  const char* reader = "";  // see `OptionName`
};

const std::vector<OptionRow>& option_rows() {
  static const std::vector<OptionRow> rows = {
      {"logging-level", 'l', "generic", 0L,
       "The logging level in the range 0..5 with 0 being no-long and 5 being all log."},
      {"debug", 'D', "generic", Switch{},
       "Enables debug mode, letting exceptions to propagate to top-level."},
      {"pddl", 'P', "generic", Switch{}, "Expect a PDDL specification instead of an ANML one."},
      {"transformer", 't', "generic", List{}, "The transformer to apply to the input problem."},
      {"showproblem", 'p', "generic", Switch{},
       "Print the planning problem after transforming it."},
      {"bounding-problem", 'b', "generic", "",
       "File name of the bounding problem used by the bounder.", "bounder"},
      {"disable-prune-actions", 'u', "generic", Switch{},
       "Disable actions pruning in the grounding.", "grounding"},

      {"output", 0, "transform", "", "Output file name of the transformed problem."},

      {"target", 0, "convert-to", "", "The target format to which to convert the problem."},
      {"output", 0, "convert-to", "", "Output file name of the problem encoding.", "one text"},
      {"domain", 0, "convert-to", "", "Output file name of the PDDL domain.", "two files"},
      {"problem", 0, "convert-to", "", "Output file name of the PDDL problem.", "two files"},
      {"model", 0, "convert-to", "", "Output file name of the UPPAAL model.", "uppaal"},
      {"query", 0, "convert-to", "", "Output file name of the UPPAAL query.", "uppaal"},

      {"input-format", 0, "trace-to-plan", "", "The format of the input trace."},
      {"trace", 0, "trace-to-plan", "", "The trace to be converted."},
      {"output", 0, "trace-to-plan", "", "Output file name of the converted plan."},

      {"plan", 0, "validate", "", "Name of the file containing the plan to validate."},

      {"problem-free", 'f', "code-generate", Switch{}, "Generate a problem free planner."},
      {"output-planner", 0, "code-generate", "./gplanner.cxx",
       "Output file name of the generated planner."},
      {"output-simulator", 0, "code-generate", "./gsimulator.cxx",
       "Output file name of the generated simulator."},

      {"algorithm", 'a', "solve", "smt", "Name of the algorithm to be used."},
      {"plan-epsilon", 'e', "solve", "0.01",
       "The time quantum used to separate two actions in a partial-order-termoral plan."},
      {"rational-precision", 'R', "solve", Switch{},
       "Forces the plan timing to have a rational precision.", "timed plan"},
      {"time-triggered", 'T', "solve", Switch{},
       "Forces the produced plan to be a time-triggered plan."},
      {"mission", 'M', "solve", Switch{}, "Forces the produced plan to be a mission plan."},
      {"smt-max-horizon", 'H', "solve", 100L, "maximal number of steps in SMT-based planning.",
       "smt"},
      {"smt-optimization-rounds", 'O', "solve", 0L,
       "Number of optimization steps in SMT-based planning.", "smt"},
      {"weight", 'w', "solve", 0.5, "Weight parameter for weighted A*, between 0 and 1.",
       "standard search"},
      {"tsimple-heuristic", 'A', "solve", "hmax", "Name of the heuristic to be used in tsimple.",
       "tsimple"},
      {"tsimple-goals-serialization", 'S', "solve", Switch{},
       "Enables goals serialization in tsimple.", "tsimple"},
      {"ftp-heuristic", 'B', "solve", "hadd", "Name of the heuristic to be used in ftp.",
       "standard search"},
      {"ftp-deordering", 'd', "solve", Switch{}, "Enables deordering in ftp planner.",
       "standard search"},
      {"ftp-weak-equality", 'k', "solve", Switch{}, "Enables weak equality in ftp planner.",
       "standard search"},
      {"ftp-simultaneity", 's', "solve", Switch{},
       "Prunes simultaneous-requiring paths in ftp planner.", "standard search"},
      {"ftp-no-backtracking", 0, "solve", Switch{}, "Disables backtracking in ftp planner search.",
       "standard search"},
      {"rlftp-model", 'm', "solve", "", "Name of the file containing the NN to use as heuristic."},
      {"rlftp-gamma", 0, "solve", 0.99, "The gamma value used in RL.", "rlftp"},
      {"rlftp-max-plan-size", 0, "solve", 1200L, "The max plan size value.", "rlftp"},
      {"rlftp-disable-use-fluents-as-input", 0, "solve", Switch{},
       "Disables the use of fluents as input in the state vector.", "rlftp"},
      {"rlftp-disable-use-actions-as-input", 0, "solve", Switch{},
       "Disables the use of actions as input in the state vector.", "rlftp"},
      {"rlftp-disable-use-constants-as-input", 0, "solve", Switch{},
       "Disables the use of constants as input in the state vector.", "rlftp"},
      {"rlftp-disable-use-goals-as-input", 0, "solve", Switch{},
       "Disables the use of goals as input in the state vector.", "rlftp"},
      {"rlftp-disable-use-tn-as-input", 0, "solve", Switch{},
       "Disables the use of tn as input in the state vector.", "rlftp"},
      {"rlftp-use-heuristic-as-input", 0, "solve", Switch{},
       "Enables the use of heuristic as input in the state vector.", "rlftp"},
      {"rlftp-use-makespan-as-input", 0, "solve", Switch{},
       "Enables the use of makespan as input in the state vector.", "rlftp"},

      {"subgoals-reward", 0, "", 1L,
       "Level of subgoals reward: 0 no reward, 1 once per path, 2 when it is achieved, 3 "
       "continuous "
       "reward."},

      {"disable-shell", 'x', "repl", Switch{},
       "Disables the interactive shell, allowing only the execution of the input files."},

      {"iw-disable-tuple-computation-in-initial-states", 'c', "solve", Switch{},
       "Disables the tuple computation in the initial states.", "iw"},

      {"ftp-search", 0, "solve", "standard", "Name of the search to be used in ftp.", "ftp"},
      {"ftp-improve", 0, "solve", 0L,
       "Number of evaluations spent on shortening the first plan of the guided search.",
       "guided search"},

      {"strict", 0, "validate", Switch{},
       "Judge the plan by all of its meaning; the exit status is 1 if it is not valid."},
      {"explain", 0, "validate", Switch{}, "Tell why the plan is not valid."},
      {"epsilon", 0, "validate", "0.001",
       "The least distance of steps that interfere, for strict judging of PDDL plans.",
       "moving targets"},
  };
  return rows;
}

/// Registers a row by the type of its default.
struct Registrar {
  Configuration& configuration;
  const OptionRow& row;
  const std::vector<std::string>& possible_values;

  void operator()(Switch) const {
    configuration.add_boolean_option(row.name, row.description, row.group, row.short_name);
  }
  void operator()(long value) const {
    configuration.add_integer_option(row.name, row.description, row.group, value, row.short_name);
  }
  void operator()(double value) const {
    configuration.add_float_option(row.name, row.description, row.group, value, row.short_name);
  }
  void operator()(const char* value) const {
    configuration.add_string_option(row.name, row.description, row.group, value, possible_values,
                                    row.short_name);
  }
  void operator()(List) const {
    configuration.add_vector_string_option(row.name, row.description, row.group, possible_values,
                                           row.short_name);
  }
};

}  // namespace

std::vector<OptionName> option_names() {
  std::vector<OptionName> names;
  for (const OptionRow& row : option_rows()) names.push_back({row.name, row.group, row.reader});
  return names;
}

void register_options(Configuration& configuration, const OptionValues& values) {
  const auto values_of = [&values](const char* option) {
    const auto found = values.find(option);
    return found == values.end() ? std::vector<std::string>() : found->second;
  };
  for (const std::string& function : values_of("function")) configuration.add_function(function);
  for (const OptionRow& row : option_rows()) {
    const std::vector<std::string> possible_values = values_of(row.name);
    std::visit(Registrar{configuration, row, possible_values}, row.default_value);
  }
}

}  // namespace kelvo
