#pragma once

#include <string>
#include <vector>

namespace kelvo {

/// The heuristics that a planner over plain states can choose among: each of this folder, and none.
inline std::vector<std::string> heuristic_names() {
  return {"hadd", "hlandmarks", "hmax", "blind"};
}

}  // namespace kelvo
