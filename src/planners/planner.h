#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "model/model_fwd.h"
#include "shell/env_object.h"
#include "transformers/transformer_chain.h"

namespace kelvo {

class Plan;
struct OwnCompilation;

/// What is known when a search ended without a plan.
struct NoPlan {
  enum class Certainty {
    PROVEN,     // the search is complete for the problem, and it ended
    BOUNDED,    // there is no plan within the bounds that the reason names
    UNDECIDED,  // a limit or the solver gave up, as the reason tells
  };
  Certainty certainty = Certainty::UNDECIDED;
  /// What bounds the answer, or why there is none, as "with fewer than 100 steps".
  std::string reason = "the search does not tell";
};

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

  /// Meaningful once `solve` has returned null.
  const NoPlan& no_plan() const { return no_plan_; }

  /// Whether a plan of the problem that the planner was built on is one indeed.
  using PlanTest = std::function<bool(const std::shared_ptr<Plan>&)>;
  /// Each plan has to pass the test before `solve` returns it; if it does not, the search goes on
  /// with what it has left. Without a test all pass.
  void set_plan_test(PlanTest test) { plan_test_ = std::move(test); }
  /// How many plans have failed the test.
  std::size_t num_refused_plans() const { return num_refused_plans_; }

  /// The problem as it is searched, after the own compilation.
  const model::ProblemInstance& problem() const { return chain_.problem(); }

 protected:
  /// Replaces the problem by what the own compilation makes of it.
  void compile(const OwnCompilation& compilation);
  /// Undoes the own compilation, last transformer first.
  std::shared_ptr<Plan> map_back(std::shared_ptr<Plan> plan) const;
  /// Whether a plan that was mapped back passes the test; counts those that do not.
  bool passes_test(const std::shared_ptr<Plan>& plan);

  /// The own compilation.
  TransformerChain chain_;
  NoPlan no_plan_;

 private:
  PlanTest plan_test_;
  std::size_t num_refused_plans_ = 0;
};

}  // namespace kelvo
