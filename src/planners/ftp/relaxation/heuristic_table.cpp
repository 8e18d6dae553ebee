#include "planners/ftp/relaxation/heuristic_table.h"

#include "planners/ftp/relaxation/hadd.h"
#include "planners/ftp/relaxation/hlandmarks.h"
#include "planners/ftp/relaxation/hmax.h"
#include "shell/errors.h"

namespace kelvo::ftp {

namespace {

template <typename T>
RelaxedHeuristic make_relaxed(CompiledTask& task) {
  RelaxedHeuristic made;
  made.relaxed = std::make_unique<RelaxedTask>(task);
  made.heuristic = std::make_unique<T>(*made.relaxed);
  return made;
}

RelaxedHeuristic make_size(CompiledTask& task) {
  return {nullptr, std::make_unique<HSize>(task.environment())};
}

RelaxedHeuristic make_none(CompiledTask&) {
  return {};
}

struct Row {
  const char* name;
  RelaxedHeuristic (*make)(CompiledTask&);
};

constexpr Row rows[] = {
    {"hadd", make_relaxed<HAdd>}, {"hlandmarks", make_relaxed<HLandmarks>},
    {"hmax", make_relaxed<HMax>}, {"hsize", make_size},
    {"blind", make_none},
};

}  // namespace

std::vector<std::string> heuristic_names() {
  std::vector<std::string> names;
  for (const Row& row : rows) names.emplace_back(row.name);
  return names;
}

RelaxedHeuristic make_heuristic(const std::string& name, CompiledTask& task) {
  for (const Row& row : rows) {
    if (name == row.name) return row.make(task);
  }
  throw InternalError("Heuristic not implemented!");
}

}  // namespace kelvo::ftp
