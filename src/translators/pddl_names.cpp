#include "translators/pddl_names.h"

#include "model/problem_instance.h"

namespace kelvo {

PddlNames::PddlNames(const model::ProblemInstanceImpl& problem) {
  // No name holds a hyphen, so `total-time` and the like are no danger.
  for (const std::string word : {"and", "at", "define", "domain", "either", "false", "minimize",
                                 "not", "or", "problem", "true"}) {
    if (!problem.has_name(word)) continue;
    std::string name = word + "_";
    for (int i = 0; problem.has_name(name); ++i) name = word + "_" + std::to_string(i);
    renamed_[word] = name;
  }
}

}  // namespace kelvo
