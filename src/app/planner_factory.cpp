#include "app/planner_factory.h"

#include "app/not_built.h"
#include "planners/ftp/ftp_planner.h"
#include "planners/planner.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "smt/smt_planner.h"

namespace kelvo {

namespace {

using model::ProblemInstance;

template <typename T>
std::unique_ptr<Planner> make(Environment& env, const ProblemInstance& problem) {
  return std::make_unique<T>(env, problem);
}

struct Row {
  const char* name;
  std::unique_ptr<Planner> (*make)(Environment&, const ProblemInstance&);  // null: not built
};

constexpr Row rows[] = {
    {"smt", make<smt::SmtPlanner>},
    {"tsimple", nullptr},
    {"ftp", make<ftp::FtpPlanner>},
    {"rlftp", nullptr},
    {"iw", nullptr},
};

}  // namespace

std::vector<std::string> planner_names() {
  std::vector<std::string> names;
  for (const auto& row : rows) names.emplace_back(row.name);
  return names;
}

std::unique_ptr<Planner> make_planner(Environment& env, const std::string& algorithm,
                                      const ProblemInstance& problem) {
  for (const Row& row : rows) {
    if (algorithm != row.name) continue;
    if (row.make == nullptr) not_built("planner '" + algorithm + "'");
    return row.make(env, problem);
  }
  throw InvalidParameterError() << "Unknown planner type: " << algorithm;
}

}  // namespace kelvo
