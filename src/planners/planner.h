#pragma once

#include <memory>
#include <string>
#include <vector>

#include "model/model_fwd.h"
#include "shell/env_object.h"

namespace kelvo {

class BasicTransformer;
class Plan;
struct OwnCompilation;

/// A search for a plan of one problem. Built once, asked once: the constructor compiles away what
/// the search can't treat and makes its tables, `solve` searches.
class Planner : public EnvObject {
 public:
  Planner(Environment& env, const model::ProblemInstance& problem);
  Planner(const Planner&) = delete;
  Planner& operator=(const Planner&) = delete;
  ~Planner() override;

  /// The short name, as "FTP".
  virtual std::string name() const = 0;
  /// A plan of the problem that the planner was built on, or null when there is none.
  virtual std::shared_ptr<Plan> solve() = 0;

  /// The problem as it is searched, behind the own compilation.
  const model::ProblemInstance& problem() const { return problem_; }

 protected:
  /// Replaces the problem by what the own compilation makes of it.
  void compile(const OwnCompilation& compilation);
  /// Undoes the own compilation, last transformer first.
  std::shared_ptr<Plan> map_back(std::shared_ptr<Plan> plan) const;

  model::ProblemInstance problem_;
  std::vector<std::shared_ptr<BasicTransformer>> transformers_;
};

}  // namespace kelvo
