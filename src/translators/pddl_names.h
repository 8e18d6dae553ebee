#pragma once

#include <map>
#include <string>

#include "model/model_fwd.h"

namespace kelvo {

/// The names of a problem as PDDL can have them: those that are words of PDDL, such as `at`, get an
/// underscore after them, and a counter if that is taken as well.
class PddlNames {
 public:
  explicit PddlNames(const model::ProblemInstanceImpl& problem);

  const std::string& operator()(const std::string& name) const {
    const auto found = renamed_.find(name);
    return found == renamed_.end() ? name : found->second;
  }

 private:
  std::map<std::string, std::string> renamed_;
};

}  // namespace kelvo
