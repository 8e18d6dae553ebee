// The option table: each option by name, its default, its limits, and what the values that ask for
// absent features answer.
#include <gtest/gtest.h>

#include <climits>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "solver/api/configuration_setter.h"
#include "solver/api/option_parser.h"
#include "tests/solver/session.h"

namespace ordax_testing {
namespace {

using ordax::OptionKind;
using ordax::OptionRow;

TEST(Options, EachDefaultIsAcceptedAndGivesTheDefaultConfiguration) {
  std::set<std::string> names;
  const ordax::Configuration defaults;
  Options all;
  for (const OptionRow& row : ordax::option_table()) {
    EXPECT_TRUE(names.insert(row.name).second) << row.name;
    all.emplace_back(row.name, ordax::OptionParser::value_text(row, defaults));
  }
  EXPECT_EQ(names.size(), 144U);
  Session session(all);
  EXPECT_EQ(session.error(), "");
  EXPECT_EQ(session.solve(), 1);
}

TEST(Options, DefaultsAreTheDocumentedOnes) {
  const ordax::Configuration c;
  const std::pair<std::string, std::string> cases[] = {
      {"random_seed", "91648253"},
      {"preprocessor.simplification", "23"},
      {"preprocessor.ite_minimization_call_limit", "150000"},
      {"dpll.restart_initial", "200"},
      {"dpll.restart_geometric_factor", "1.5"},
      {"dpll.branching_random_frequency", "0.001"},
      {"dpll.branching_cache_phase", "2"},
      {"dpll.preprocessor.subsumption_size_limit", "1000"},
      {"theory.interface_eq_policy", "2"},
      {"theory.la.lazy_expl_threshold", "10"},
      {"theory.la.laz_cuts_from_proofs_mode", "3"},
      {"theory.bv.lazydpll.branching_random_frequency", "0"},
      {"theory.fp.dpll.restart_strategy", "3"},
      {"theory.fp.dpll.branching_random_frequency", "0.01"},
      {"theory.fp.dpll.branching_cache_phase", "1"},
      {"theory.na.nta_rat_approx_limit", "10"},
  };
  for (const auto& [name, value] : cases) {
    EXPECT_EQ(ordax::OptionParser::value_text(*ordax::OptionParser::find(name).row, c), value)
        << name;
  }
}

TEST(Options, ValuesOutOfRangeAreNamed) {
  for (const OptionRow& row : ordax::option_table()) {
    if (row.kind == OptionKind::BOOL || row.kind == OptionKind::STR) continue;
    std::vector<std::string> bad;
    if (row.least > INT_MIN) bad.push_back(std::to_string(static_cast<long>(row.least) - 1));
    if (row.most < INT_MAX) bad.push_back(std::to_string(static_cast<long>(row.most) + 1));
    for (const std::string& value : bad) {
      Session session(Options{{row.name, value}});
      EXPECT_EQ(session.error(), "invalid value for option " + std::string(row.name)) << value;
    }
  }
  Session two(Options{{"random_seed", "0"}, {"dpll.restart_strategy", "4"}});
  EXPECT_EQ(two.error(),
            "invalid value for option random_seed\ninvalid value for option dpll.restart_strategy");
  EXPECT_EQ(Session(Options{{"dpll.branching_random_frequency", "1.01"}}).error(),
            "invalid value for option dpll.branching_random_frequency");
}

TEST(Options, TextsThatAreNoValuesAreRefused) {
  const Options cases = {{"model_generation", "yes"},
                         {"model_generation", ""},
                         {"model_generation", "TRUE"},
                         {"dpll.restart_initial", "2x"},
                         {"dpll.restart_initial", ""},
                         {"dpll.restart_initial", "1.5"},
                         {"random_seed", "99999999999"},
                         {"dpll.restart_geometric_factor", "nan"},
                         {"dpll.restart_geometric_factor", "fast"}};
  for (const auto& [name, value] : cases) {
    const std::string text = "bad value for option " + name + ": " + value;
    EXPECT_EQ(Session(Options{{name, value}}, /*with_model=*/false).error(), text);
  }
}

TEST(Options, NamesAreCheckedAtOnce) {
  const ordax_config config = ordax_create_config();
  const struct {
    const char* name;
    int result;
  } cases[] = {
      {"verbosity", 0}, {"no_model_generation", 0}, {"no_verbosity", -1}, {"nothing", -1}, {"", -1},
      {nullptr, -1}};
  for (const auto& c : cases) EXPECT_EQ(ordax_set_option(config, c.name, "0"), c.result);
  ordax_set_option(config, "nothing", "1");
  EXPECT_STREQ(ordax_last_error_message({nullptr}), "unknown option: nothing");
  ordax_set_option(config, "", "1");
  EXPECT_STREQ(ordax_last_error_message({nullptr}), "bad option format: the name is empty");
  ordax_destroy_config(config);
  EXPECT_EQ(ordax_set_option({nullptr}, "verbosity", "1"), -1);
}

TEST(Options, TheNegatedFormTurnsABooleanAround) {
  ordax::ConfigurationSetter setter;
  setter.set("no_theory.la.enabled", "true");
  setter.set("no_dpll.minimize_model", "false");
  setter.set("no_preprocessor.toplevel_propagation", "");
  ordax::Configuration c;
  setter.apply(c);
  EXPECT_FALSE(c.theory.la.enabled);
  EXPECT_TRUE(c.dpll.minimize_model);
  EXPECT_FALSE(c.preprocessor.toplevel_propagation);
}

TEST(Options, AbsentFeaturesAreNamed) {
  const struct {
    const char* name;
    const char* value;
    const char* feature;
  } cases[] = {
      {"proof_generation", "true", "proof generation"},
      {"interpolation", "true", "interpolation"},
      {"unsat_core_generation", "1", "proof based unsat cores"},
      {"unsat_core_generation", "2", "unsat cores by lemma lifting"},
      {"debug.api_call_trace", "2", "C trace of the calls"},
      {"preprocessor.free_input_propagation", "true", "free input propagation"},
      {"preprocessor.ite_minimization", "true", "if-then-else minimization"},
      {"preprocessor.interpolation_ite_elimination", "true", "if-then-else elimination"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Session(Options{{c.name, c.value}}).error(),
              std::string("missing feature: ") + c.feature + " (option " + c.name + ")");
  }
  EXPECT_EQ(Session(Options{{"proof_generation", "true"}, {"dpll.preprocessor.mode", "1"}}).error(),
            "proof generation is not compatible with SAT-level preprocessing");
}

TEST(Options, ThoseWithoutEffectAreToldOnce) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(Session(Options{{"theory.bv.eager", "false"},
                            {"theory.fp.mode", "1"},  // the default
                            {"printer.bv_number_format", "1"},
                            {"dpll.restart_strategy", "1"}})
                .solve(),
            1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ordax: warning: without effect, for what they are about is not built: "
            "printer.bv_number_format, theory.bv.eager\n");
}

TEST(Options, AConfigurationIsReadFromAText) {
  const ordax_config good =
      ordax_parse_config("# a comment\n model_generation = true\n\nrandom_seed=5\n");
  EXPECT_FALSE(ORDAX_FAILED(good));
  ordax_destroy_config(good);
  const std::pair<const char*, const char*> bad[] = {
      {"model_generation true", "bad format of configuration file"},
      {"nothing = 1\nverbosity = x\nverbosity = 0",
       "2 error(s) while parsing the configuration file:\nunknown option: nothing\nbad value for "
       "option verbosity: x"},
  };
  for (const auto& [text, message] : bad) {
    EXPECT_TRUE(ORDAX_FAILED(ordax_parse_config(text)));
    EXPECT_STREQ(ordax_last_error_message({nullptr}), message);
  }
}

TEST(Options, TheUsageTextShowsKindsAndHeadings) {
  char* text = ordax_option_help();
  const std::string usage = text;
  ordax_free(text);
  for (const char* part :
       {"General options:\n -verbosity=INT\n", "\nDebug options:\n", "\nPrinter options:\n",
        "\nPreprocessor options:\n", "\nDPLL options:\n -dpll.restart_strategy=ENUM\n",
        "\nTheory options:\n", " -[no_]model_generation\n", " -debug.log_sections=STR\n",
        " -dpll.branching_random_frequency=FLOAT\n"}) {
    EXPECT_NE(usage.find(part), std::string::npos) << part;
  }
}

}  // namespace
}  // namespace ordax_testing
