#include "solver/api/configuration_setter.h"

#include "solver/api/option_parser.h"

namespace ordax {
namespace {

std::string_view trim(std::string_view text) {
  const std::string_view blanks = " \t\r";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

// What would change answers cannot be passed over: such an option ends the set-up with the name of
// what is missing.
void refuse_missing_features(const Configuration& c) {
  if (c.proof_generation && c.dpll.preprocessor.mode != 0) {
    throw ConfigurationSetter::error(
        "proof generation is not compatible with SAT-level preprocessing");
  }
  const struct {
    bool asked;
    const char* feature;
  } missing[] = {
      {c.proof_generation, "proof generation (option proof_generation)"},
      {c.interpolation, "interpolation (option interpolation)"},
      {c.unsat_core_generation == 1, "proof based unsat cores (option unsat_core_generation)"},
      {c.unsat_core_generation == 2, "unsat cores by lemma lifting (option unsat_core_generation)"},
      {c.debug.api_call_trace == 2, "C trace of the calls (option debug.api_call_trace)"},
      {c.preprocessor.free_input_propagation,
       "free input propagation (option preprocessor.free_input_propagation)"},
      {c.preprocessor.ite_minimization,
       "if-then-else minimization (option preprocessor.ite_minimization)"},
      {c.preprocessor.interpolation_ite_elimination,
       "if-then-else elimination (option preprocessor.interpolation_ite_elimination)"},
  };
  for (const auto& entry : missing) {
    if (entry.asked) {
      throw ConfigurationSetter::error(std::string("missing feature: ") + entry.feature);
    }
  }
}

}  // namespace

// The name is looked at now, the value when the configuration is made: options may be told in any
// order, and the last value of one counts.
void ConfigurationSetter::set(std::string_view name, std::string_view value) {
  OptionParser::find(name);
  texts_.emplace_back(name, value);
}

// Lines of "name = value"; empty ones and those that begin with `#` are passed over. All faults of
// a file are told at once, and a file with a fault changes nothing.
void ConfigurationSetter::parse(std::string_view text) {
  std::size_t num_errors = 0;
  std::string errors;
  std::vector<std::pair<std::string, std::string>> read;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = trim(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.empty() || line.front() == '#') continue;
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) throw error("bad format of configuration file");
    const std::string_view name = trim(line.substr(0, equals));
    const std::string_view value = trim(line.substr(equals + 1));
    try {
      Configuration scratch;
      if (!OptionParser::apply(OptionParser::find(name), value, scratch)) {
        throw error("invalid value for option " + std::string(name));
      }
      read.emplace_back(name, value);
    } catch (const Exception& e) {
      ++num_errors;
      errors += "\n" + e.message();
    }
  }
  if (num_errors != 0) {
    throw error(std::to_string(num_errors) +
                " error(s) while parsing the configuration file:" + errors);
  }
  texts_.insert(texts_.end(), read.begin(), read.end());
}

// Values out of range leave the default and are a warning, which names all of them.
void ConfigurationSetter::apply(Configuration& configuration) const {
  std::string out_of_range;
  for (const auto& [name, value] : texts_) {
    const OptionParser::Target target = OptionParser::find(name);
    if (OptionParser::apply(target, value, configuration)) continue;
    if (!out_of_range.empty()) out_of_range += "\n";
    out_of_range += "invalid value for option " + std::string(target.row->name);
  }
  if (!out_of_range.empty()) throw warning(out_of_range);
  refuse_missing_features(configuration);
}

}  // namespace ordax
