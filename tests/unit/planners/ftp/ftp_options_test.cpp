#include "planners/ftp/ftp_options.h"

#include <gtest/gtest.h>

#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo::ftp {
namespace {

TEST(FtpOptionsTest, ALearnedModelTakesThePlaceOfHeuristicAndGuidedSearch) {
  Environment env;
  Configuration& configuration = env.configuration();
  configuration.set_value("ftp-search", "guided");
  configuration.set_value("ftp-heuristic", "hmax");
  EXPECT_EQ(FtpOptions(configuration).search, FtpOptions::Search::GUIDED);
  EXPECT_EQ(FtpOptions(configuration).heuristic, "hmax");
  configuration.set_value("rlftp-model", "model.json");
  EXPECT_EQ(FtpOptions(configuration).search, FtpOptions::Search::STANDARD);
  EXPECT_EQ(FtpOptions(configuration).heuristic, "blind");
}

TEST(FtpOptionsTest, NumbersAreExactAndUnknownSearchesRefused) {
  Environment env;
  Configuration& configuration = env.configuration();
  configuration.set_value("plan-epsilon", "1/3");
  configuration.set_value("ftp-improve", -4L);
  const FtpOptions options(configuration);
  EXPECT_EQ(options.plan_epsilon, rational(1, 3));
  EXPECT_EQ(options.num_improvements, 0U);
  EXPECT_TRUE(options.prune_actions);
  configuration.set_value("ftp-search", "sideways");
  EXPECT_THROW(FtpOptions{configuration}, InvalidParameterError);
}

}  // namespace
}  // namespace kelvo::ftp
