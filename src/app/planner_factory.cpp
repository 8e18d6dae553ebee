#include "app/planner_factory.h"

#include "app/not_built.h"
#include "app/table.h"
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
  return names_of(rows);
}

bool is_planner_built(const std::string& algorithm) {
  const Row* row = find_row(rows, algorithm);
  return row != nullptr && row->make != nullptr;
}

std::unique_ptr<Planner> make_planner(Environment& env, const std::string& algorithm,
                                      const ProblemInstance& problem) {
  const Row* row = find_row(rows, algorithm);
  if (row == nullptr) throw InvalidParameterError() << "Unknown planner type: " << algorithm;
  if (row->make == nullptr) not_built("planner '" + algorithm + "'");
  return row->make(env, problem);
}

}  // namespace kelvo
