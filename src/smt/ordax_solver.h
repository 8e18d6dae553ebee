#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "smt/ordax_converter.h"
#include "smt/smt_solver.h"

namespace kelvo::smt {

/// The `SmtSolver` on the library Ordax5: one solver environment with models switched on.
class OrdaxSolver : public SmtSolver {
 public:
  /// The factory is borrowed.
  explicit OrdaxSolver(SmtFactory& factory, const SolverLimits& limits = {});
  ~OrdaxSolver() override;

  std::string version() const override { return ordax_version(); }
  void assert_formula(Formula f) override;
  void push() override;
  void pop() override;
  Formula get_value(Formula f) override;
  SolverResult solve() override;
  /// A variable is assumed itself; any other formula through a label that implies it.
  SolverResult solve_with_assumptions(const std::vector<Formula>& assumptions) override;
  std::string unknown_reason() const override { return unknown_reason_; }
  bool has_reached_limit() const override { return has_reached_limit_; }
  std::uint64_t statistic(const std::string& key) const override;

 private:
  struct Label {
    Formula variable;
    std::size_t level;  // the number of open backtrack points at which it was tied
  };

  Formula label_of(Formula f);
  SolverResult result_of(int answer);
  void check(int status) const;

  SmtFactory& factory_;
  ordax_config config_;
  ordax_env env_;
  std::unique_ptr<OrdaxConverter> converter_;
  std::unordered_map<Formula, Label> labels_;
  std::size_t level_ = 0;
  std::string unknown_reason_;
  bool has_reached_limit_ = false;
};

}  // namespace kelvo::smt
