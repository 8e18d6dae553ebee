#include "app/option_checks.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "app/not_built.h"
#include "shell/configuration.h"
#include "shell/errors.h"
#include "shell/numbers.h"

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

  bool is(const char* wanted) const { return function == wanted; }
  bool solves_with(const char* wanted) const { return is("solve") && algorithm == wanted; }
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

/// Why an option is not read, as the end of a sentence, or null when it is.
using Excuse = const char* (*)(const Choices&);

struct OptionUse {
  const char* option;
  Excuse excuse;
};

const char* only_ftp(const Choices& c) {
  return c.solves_with("ftp") ? nullptr : "without '-a ftp'";
}
const char* only_standard_ftp(const Choices& c) {
  return c.is_guided ? "on the guided search" : only_ftp(c);
}
const char* only_guided_ftp(const Choices& c) {
  return c.is_guided ? nullptr : "without '-a ftp --ftp-search guided'";
}
const char* only_smt(const Choices& c) {
  return c.solves_with("smt") ? nullptr : "without '-a smt'";
}
const char* only_tsimple(const Choices& c) {
  return c.solves_with("tsimple") ? nullptr : "without '-a tsimple'";
}
const char* only_iw(const Choices& c) {
  return c.solves_with("iw") ? nullptr : "without '-a iw'";
}
const char* only_rlftp(const Choices& c) {
  return c.solves_with("rlftp") ? nullptr : "without '-a rlftp'";
}
const char* only_timed(const Choices& c) {
  return c.prints_partial_order ? "on a partial-order plan without '-T'" : nullptr;
}
const char* only_bounder(const Choices& c) {
  return c.has_transformer("bounder") ? nullptr : "without '-t bounder'";
}
const char* only_grounding(const Choices& c) {
  const bool grounds = c.has_transformer("action-grounder") || c.has_transformer("full-grounder") ||
                       (c.is("solve") && c.algorithm != "smt");
  return grounds ? nullptr : "where nothing is grounded";
}
const char* only_moving_targets(const Choices& c) {
  return c.judges_moving_targets ? nullptr : "without '-P --strict'";
}
const char* only_single_texts(const Choices& c) {
  if (!c.is("convert-to")) return nullptr;
  if (c.target == "pddl") return "with '--target pddl'";
  return c.target == "uppaal" ? "with '--target uppaal'" : nullptr;
}
const char* only_uppaal(const Choices& c) {
  return c.target == "uppaal" ? nullptr : "without '--target uppaal'";
}
const char* only_both_files(const Choices& c) {
  if (c.target != "pddl") return "without '--target pddl'";
  return c.writes_two_files ? nullptr : "without both '--domain' and '--problem'";
}

constexpr OptionUse option_uses[] = {
    {"bounding-problem", only_bounder},
    {"disable-prune-actions", only_grounding},
    {"output", only_single_texts},
    {"domain", only_both_files},
    {"problem", only_both_files},
    {"model", only_uppaal},
    {"query", only_uppaal},
    {"epsilon", only_moving_targets},
    {"rational-precision", only_timed},
    {"smt-max-horizon", only_smt},
    {"smt-optimization-rounds", only_smt},
    {"weight", only_standard_ftp},
    {"tsimple-heuristic", only_tsimple},
    {"tsimple-goals-serialization", only_tsimple},
    {"ftp-heuristic", only_standard_ftp},
    {"ftp-deordering", only_standard_ftp},
    {"ftp-weak-equality", only_standard_ftp},
    {"ftp-simultaneity", only_standard_ftp},
    {"ftp-no-backtracking", only_standard_ftp},
    {"ftp-search", only_ftp},
    {"ftp-improve", only_guided_ftp},
    {"rlftp-gamma", only_rlftp},
    {"rlftp-max-plan-size", only_rlftp},
    {"rlftp-disable-use-fluents-as-input", only_rlftp},
    {"rlftp-disable-use-actions-as-input", only_rlftp},
    {"rlftp-disable-use-constants-as-input", only_rlftp},
    {"rlftp-disable-use-goals-as-input", only_rlftp},
    {"rlftp-disable-use-tn-as-input", only_rlftp},
    {"rlftp-use-heuristic-as-input", only_rlftp},
    {"rlftp-use-makespan-as-input", only_rlftp},
    {"iw-disable-tuple-computation-in-initial-states", only_iw},
};

/// Whether what was chosen is a part that this program has: else its own error is enough.
bool is_built(const Choices& choices) {
  const std::string& chosen = choices.is("solve")        ? choices.algorithm
                              : choices.is("convert-to") ? choices.target
                                                         : choices.function;
  constexpr const char* missing[] = {"tsimple", "iw", "rlftp", "code-generate"};
  return std::find(std::begin(missing), std::end(missing), chosen) == std::end(missing);
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
  for (const OptionUse& use : option_uses) {
    if (!configuration.was_given(use.option)) continue;
    const char* excuse = use.excuse(choices);
    if (excuse == nullptr) continue;
    errors << "The option '" << use.option << "' has no effect " << excuse << ".\n";
  }
}

void refuse_what_is_not_built(const Configuration& configuration) {
  if (configuration.get_boolean_value("mission")) not_built("mission plan");
  if (configuration.get_string_value("algorithm") == "smt" &&
      configuration.get_integer_value("smt-optimization-rounds") > 0) {
    throw InternalError("Optimization has not been implemented yet");
  }
}

}  // namespace kelvo
