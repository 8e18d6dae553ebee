#include "app/option_checks.h"

#include <algorithm>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "app/functions.h"
#include "app/planner_factory.h"
#include "app/table.h"
#include "shell/configuration.h"
#include "shell/errors.h"
#include "shell/numbers.h"
#include "shell/option_table.h"

namespace kelvo {

namespace {

// --- numbers ---

bool complain(std::ostream& errors, const std::string& value, const char* option,
              const char* range) {
  constexpr std::size_t longest = 60;
  errors << (value.size() <= longest ? value : value.substr(0, longest) + "...")
         << " is not a valid value for option " << option << ": it has to be " << range << '\n';
  return false;
}

/// The value, if the text is a number.
std::optional<rational> exact_number(const std::string& text) {
  try {
    return rational_from_string(text);
  } catch (const InvalidParameterError&) {
    return std::nullopt;
  }
}

bool check_distance(const Configuration& configuration, const char* option, bool may_be_zero,
                    std::ostream& errors) {
  const std::string& text = configuration.get_string_value(option);
  const std::optional<rational> value = exact_number(text);
  if (value && (*value > 0 || (may_be_zero && *value == 0))) return true;
  return complain(errors, text, option,
                  may_be_zero ? "a number that is 0 or greater" : "a number greater than 0");
}

bool check_fraction(const Configuration& configuration, const char* option, std::ostream& errors) {
  const double value = configuration.get_float_value(option);
  if (value >= 0 && value <= 1) return true;  // not so for what is no number
  return complain(errors, (std::ostringstream() << value).str(), option, "a number from 0 to 1");
}

bool check_count(const Configuration& configuration, const char* option, std::ostream& errors) {
  const long value = configuration.get_integer_value(option);
  if (value >= 0) return true;
  return complain(errors, std::to_string(value), option, "a whole number that is 0 or greater");
}

// --- options without effect ---

/// What the options choose between them.
struct Choices {
  explicit Choices(const Configuration& options);

  bool is(const std::string& wanted) const { return function == wanted; }
  bool solves_with(const std::string& wanted) const { return is("solve") && algorithm == wanted; }
  bool has_transformer(const char* name) const {
    return std::find(transformers.begin(), transformers.end(), name) != transformers.end();
  }

  std::string function;
  std::string algorithm;
  std::string target;
  std::vector<std::string> transformers;
  bool is_guided;
  bool prints_partial_order;
  bool judges_moving_targets;
  bool writes_two_files;
};

Choices::Choices(const Configuration& options)
    : function(options.get_string_value("function")),
      algorithm(options.get_string_value("algorithm")),
      target(options.get_string_value("target")),
      transformers(options.get_vector_string_value("transformer")),
      is_guided(solves_with("ftp") && options.get_string_value("ftp-search") == "guided"),
      prints_partial_order(solves_with("ftp") && !is_guided &&
                           options.get_boolean_value("ftp-deordering") &&
                           !options.get_boolean_value("time-triggered")),
      judges_moving_targets(
          options.get_boolean_value("pddl") &&
          (options.get_boolean_value("strict") || options.get_boolean_value("explain"))),
      writes_two_files(!options.get_string_value("domain").empty() &&
                       !options.get_string_value("problem").empty()) {}

/// What reads an option when not every run of its function does, planners aside, which have their
/// names. The excuse for not reading it is the end of a sentence, or null when it is read.
struct Reader {
  const char* name;
  const char* (*excuse)(const Choices&);
};

const char* excuse_of_bounder(const Choices& c) {
  return c.has_transformer("bounder") ? nullptr : "without '-t bounder'";
}
const char* excuse_of_grounding(const Choices& c) {
  const bool grounds = c.has_transformer("action-grounder") || c.has_transformer("full-grounder") ||
                       (c.is("solve") && c.algorithm != "smt");
  return grounds ? nullptr : "where nothing is grounded";
}
const char* excuse_of_one_text(const Choices& c) {
  if (c.target == "pddl") return "with '--target pddl'";
  return c.target == "uppaal" ? "with '--target uppaal'" : nullptr;
}
const char* excuse_of_two_files(const Choices& c) {
  if (c.target != "pddl") return "without '--target pddl'";
  return c.writes_two_files ? nullptr : "without both '--domain' and '--problem'";
}
const char* excuse_of_uppaal(const Choices& c) {
  return c.target == "uppaal" ? nullptr : "without '--target uppaal'";
}
const char* excuse_of_timed_plan(const Choices& c) {
  return c.prints_partial_order ? "on a partial-order plan without '-T'" : nullptr;
}
const char* excuse_of_moving_targets(const Choices& c) {
  return c.judges_moving_targets ? nullptr : "without '-P --strict'";
}
const char* excuse_of_standard_search(const Choices& c) {
  if (!c.solves_with("ftp")) return "without '-a ftp'";
  return c.is_guided ? "on the guided search" : nullptr;
}
const char* excuse_of_guided_search(const Choices& c) {
  return c.is_guided ? nullptr : "without '-a ftp --ftp-search guided'";
}

constexpr Reader readers[] = {
    {"bounder", excuse_of_bounder},
    {"grounding", excuse_of_grounding},
    {"one text", excuse_of_one_text},
    {"two files", excuse_of_two_files},
    {"uppaal", excuse_of_uppaal},
    {"timed plan", excuse_of_timed_plan},
    {"moving targets", excuse_of_moving_targets},
    {"standard search", excuse_of_standard_search},
    {"guided search", excuse_of_guided_search},
};

/// Empty when the run reads the option.
std::string excuse_of(const OptionName& option, const Choices& choices) {
  if (option.reader.empty()) return "";
  if (const Reader* reader = find_row(readers, option.reader)) {
    const char* excuse = reader->excuse(choices);
    return excuse == nullptr ? "" : excuse;
  }
  return choices.solves_with(option.reader) ? "" : "without '-a " + option.reader + "'";
}

/// Whether what was chosen is a part that this program has: else its own error is enough.
bool is_built(const Choices& choices) {
  if (choices.is("solve")) return is_planner_built(choices.algorithm);
  return is_function_built(choices.function);
}

}  // namespace

bool check_option_numbers(const Configuration& configuration, std::ostream& errors) {
  bool valid = check_distance(configuration, "plan-epsilon", /*may_be_zero=*/false, errors);
  valid &= check_distance(configuration, "epsilon", /*may_be_zero=*/true, errors);
  valid &= check_fraction(configuration, "weight", errors);
  valid &= check_fraction(configuration, "rlftp-gamma", errors);
  for (const char* option :
       {"smt-max-horizon", "smt-optimization-rounds", "rlftp-max-plan-size", "ftp-improve"}) {
    valid &= check_count(configuration, option, errors);
  }
  return valid;
}

void tell_options_without_effect(const Configuration& configuration, std::ostream& errors) {
  const Choices choices(configuration);
  if (!is_built(choices)) return;
  for (const OptionName& option : option_names()) {
    const bool is_of_run = option.group == choices.function || option.group == "generic";
    if (!is_of_run || !configuration.was_given(option.name)) continue;
    const std::string excuse = excuse_of(option, choices);
    if (excuse.empty()) continue;
    errors << "The option '" << option.name << "' has no effect " << excuse << ".\n";
  }
}

bool is_reader_known(const std::string& reader) {
  if (find_row(readers, reader) != nullptr) return true;
  const std::vector<std::string> planners = planner_names();
  return std::find(planners.begin(), planners.end(), reader) != planners.end();
}

}  // namespace kelvo
