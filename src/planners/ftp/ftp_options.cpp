#include "planners/ftp/ftp_options.h"

#include "shell/configuration.h"
#include "shell/errors.h"

namespace kelvo::ftp {

namespace {

struct Row {
  const char* name;
  FtpOptions::Search search;
};

constexpr Row rows[] = {
    {"standard", FtpOptions::Search::STANDARD},
    {"guided", FtpOptions::Search::GUIDED},
};

FtpOptions::Search search_of(const std::string& name) {
  for (const Row& row : rows) {
    if (name == row.name) return row.search;
  }
  throw InvalidParameterError() << "Unknown search of ftp: " << name;
}

}  // namespace

std::vector<std::string> search_names() {
  std::vector<std::string> names;
  for (const Row& row : rows) names.emplace_back(row.name);
  return names;
}

FtpOptions::FtpOptions(const Configuration& configuration)
    : search(search_of(configuration.get_string_value("ftp-search"))),
      plan_epsilon(rational_from_string(configuration.get_string_value("plan-epsilon"))),
      no_moving_targets(configuration.get_boolean_value("pddl")),
      prune_actions(!configuration.get_boolean_value("disable-prune-actions")),
      heuristic(configuration.get_string_value("ftp-heuristic")),
      weight(configuration.get_float_value("weight")),
      deordering(configuration.get_boolean_value("ftp-deordering")),
      weak_equality(configuration.get_boolean_value("ftp-weak-equality")),
      simultaneity(configuration.get_boolean_value("ftp-simultaneity")),
      no_backtracking(configuration.get_boolean_value("ftp-no-backtracking")),
      rational_precision(configuration.get_boolean_value("rational-precision")) {
  const long improvements = configuration.get_integer_value("ftp-improve");
  num_improvements = improvements > 0 ? static_cast<std::size_t>(improvements) : 0;
  // A learned model takes the place of the heuristic of the standard search; none is installed yet
  // when the planner is made.
  if (!configuration.get_string_value("rlftp-model").empty()) {
    heuristic = "blind";
    search = Search::STANDARD;
  }
}

}  // namespace kelvo::ftp
