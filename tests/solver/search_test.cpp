// Formulas of the size at which clauses are forgotten, tableaus fill up and deduction pays: the
// verdicts, which another solver confirmed, the models, and the effort that the search takes.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "bench/solver/programs/encodings.h"

namespace {

using ordax_bench::Instance;
using Options = Instance::Options;

struct Encoding {
  const char* family;
  int size;
  int steps;
  ordax_result verdict;
};

// Pairs on both sides of the least number of steps that suffices.
const Encoding kEncodings[] = {
    {"jobshop", 4, 10, ORDAX_UNSAT},   {"jobshop", 4, 14, ORDAX_SAT},
    {"logistics", 3, 10, ORDAX_UNSAT}, {"logistics", 3, 12, ORDAX_SAT},
    {"counters", 3, 8, ORDAX_UNSAT},   {"counters", 2, 8, ORDAX_SAT},
    {"cellar", 4, 9, ORDAX_UNSAT},     {"cellar", 4, 10, ORDAX_SAT},
};

using Counts = std::map<std::string, long>;

Counts counts_of(ordax_env env) {
  char* const text = ordax_statistics(env);
  std::istringstream lines(text);
  ordax_free(text);
  Counts counts;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t sign = line.find(" = ");
    counts[line.substr(0, sign)] = std::stol(line.substr(sign + 3));
  }
  return counts;
}

Counts check(const Encoding& encoding, Options options) {
  options.emplace_back("model_generation", "true");
  const Instance instance(options);
  std::string name = encoding.family;
  for (const auto& [key, value] : options) name += " " + key + "=" + value;
  if (!ordax_bench::assert_encoding(instance, encoding.family, encoding.size, encoding.steps)) {
    ADD_FAILURE() << "no family " << name;
    return {};
  }
  EXPECT_EQ(ordax_solve(instance.env()), encoding.verdict) << name << " " << encoding.steps;
  if (encoding.verdict == ORDAX_SAT) {
    for (const ordax_term formula : instance.asserted()) {
      const ordax_term value = ordax_get_model_value(instance.env(), formula);
      EXPECT_EQ(ordax_term_is_true(instance.env(), value), 1) << name;
    }
  }
  return counts_of(instance.env());
}

class SearchTest : public testing::TestWithParam<Encoding> {};

TEST_P(SearchTest, VerdictsHoldUnderSettingsThatForget) {
  const Options settings[] = {
      {{"dpll.forget_interval", "20"}},
      {{"dpll.forget_interval", "20"},
       {"dpll.restart_initial", "5"},
       {"dpll.glucose_learnt_minimization", "true"},
       {"theory.la.split_rat_eq", "false"},
       {"theory.la.lazy_expl_threshold", "0"}},
  };
  for (const Options& setting : settings) {
    const Counts counts = check(GetParam(), setting);
    EXPECT_GT(counts.at("dpll forgotten clauses"), counts.at("dpll conflicts") / 10);
  }
}

std::string name_of(const testing::TestParamInfo<Encoding>& info) {
  return std::string(info.param.family) + std::to_string(info.param.size) + "_" +
         std::to_string(info.param.steps);
}

INSTANTIATE_TEST_SUITE_P(Encodings, SearchTest, testing::ValuesIn(kEncodings), name_of);

// Slips that leave every answer right still cost: each device has to show in its counter. The
// bounds leave a third for other orders of the same search.
TEST(Effort, EachDeviceDoesItsPart) {
  Counts total;
  for (const Encoding& encoding : kEncodings) {
    for (const auto& [name, count] : check(encoding, {})) total[name] += count;
  }
  const long conflicts = total["dpll conflicts"];
  EXPECT_LT(conflicts, 11000);
  EXPECT_GT(total["dpll minimized literals"], total["dpll derived literals"] / 8);
  EXPECT_GT(total["dpll implied by theory"], 20 * conflicts);
  EXPECT_GT(total["num deduced bounds"], 7 * conflicts);
  EXPECT_LT(total["num pivot operations"], 8500);
}

}  // namespace
