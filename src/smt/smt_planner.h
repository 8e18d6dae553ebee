#pragma once

#include <memory>
#include <string>

#include "planners/planner.h"
#include "smt/smt_encoder.h"
#include "smt/smt_solver.h"

namespace kelvo::smt {

/// Plans by bounded satisfiability: for a growing number of steps the problem is one formula
/// (`SmtEncoder`), and the first satisfiable one gives the plan. Finds no plan with
/// `smt-max-horizon` steps or more.
class SmtPlanner : public Planner {
 public:
  /// Compiles away structured types, uncertain durations and sets. The search ends undecided where
  /// the solver meets one of the limits.
  SmtPlanner(Environment& env, const model::ProblemInstance& problem,
             const SolverLimits& limits = SolverLimits::of_machine());
  ~SmtPlanner() override;

  std::string name() const override { return "SMT Planner"; }
  std::shared_ptr<Plan> solve() override;

  /// Asserts the encoding of `h` steps into a fresh solver.
  void encode(std::size_t h, SmtSolver& solver) { encoder_->encode(h, solver); }
  /// The plan of the compiled problem that the solver's model of `h` steps holds.
  std::shared_ptr<Plan> plan_from_model(std::size_t h, SmtSolver& solver);

  SmtEncoder& encoder() { return *encoder_; }

 private:
  /// Encodes and solves `h` steps; the solver when there is a model, else null.
  std::unique_ptr<SmtSolver> solve_horizon(std::size_t h);
  /// Whether more steps than `h`, for which there is no plan, could not make one either.
  bool is_last_word(std::size_t h) const;
  model::Expression parameter_value(const model::ParameterImpl& parameter, Formula value);

  SolverLimits limits_;
  long max_horizon_ = 0;
  bool has_reached_limit_ = false;
  std::unique_ptr<SmtEncoder> encoder_;
};

}  // namespace kelvo::smt
