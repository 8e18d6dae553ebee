#include "smt/smt_planner.h"

#include <chrono>
#include <sstream>

#include "model/action.h"
#include "model/expression_factory.h"
#include "model/instance.h"
#include "model/problem_instance.h"
#include "model/types.h"
#include "planners/own_compilation.h"
#include "planners/task/problem_statements.h"
#include "planners/task/unset_fluents.h"
#include "plans/time_triggered_plan.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"

namespace kelvo::smt {

SmtPlanner::SmtPlanner(Environment& env, const model::ProblemInstance& problem,
                       const SolverLimits& limits)
    : Planner(env, problem), limits_(limits) {
  const Configuration& options = env.configuration();
  max_horizon_ = options.get_integer_value("smt-max-horizon");
  std::optional<rational> separation;
  if (options.get_boolean_value("pddl")) {
    separation = rational_from_string(options.get_string_value("plan-epsilon"));
  }
  if (options.get_integer_value("smt-optimization-rounds") > 0) {
    throw InternalError("Optimization has not been implemented yet");
  }
  OwnCompilation compilation;
  compilation.grounds_actions = false;
  compile(compilation);
  refuse_unset_goals(chain_.problem());
  encoder_ = std::make_unique<SmtEncoder>(env, chain_.problem(), separation);
}

SmtPlanner::~SmtPlanner() = default;

std::shared_ptr<Plan> SmtPlanner::solve() {
  std::ostringstream limit;
  limit << "with fewer than " << max_horizon_ << " steps";
  no_plan_ = {NoPlan::Certainty::BOUNDED, limit.str()};
  if (max_horizon_ < 3) return nullptr;
  // Initial values that contradict each other or cannot be resolved are refused by name.
  ProblemStatements(problem()).sorted_fluents(environment());
  for (std::size_t h = 2; h < static_cast<std::size_t>(max_horizon_); ++h) {
    const std::unique_ptr<SmtSolver> solver = solve_horizon(h);
    if (solver == nullptr) {
      if (has_reached_limit_) return nullptr;
      if (!is_last_word(h)) continue;
      no_plan_ = {NoPlan::Certainty::PROVEN, "for it has no actions"};
      return nullptr;
    }
    const std::shared_ptr<Plan> plan = map_back(plan_from_model(h, *solver));
    if (!passes_test(plan)) {
      LOG(LogLevel::WARN) << "[SMTPlanner] the plan of " << h << " steps could not be confirmed";
      continue;
    }
    warn_of_unset_fluents(problem());
    return plan;
  }
  LOG(LogLevel::WARN) << "[SMTPlanner] no plan " << limit.str();
  return nullptr;
}

// Without actions only the problem's own effects need steps, between the first and the last.
bool SmtPlanner::is_last_word(std::size_t h) const {
  return problem()->actions().empty() && h >= problem()->expressions().size() + 3 &&
         no_plan_.certainty == NoPlan::Certainty::BOUNDED && num_refused_plans() == 0;
}

namespace {

class Stopwatch {
 public:
  /// Seconds since the last call, or since construction.
  double lap() {
    const auto now = std::chrono::steady_clock::now();
    const double seconds = std::chrono::duration<double>(now - last_).count();
    last_ = now;
    return seconds;
  }

 private:
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

}  // namespace

std::unique_ptr<SmtSolver> SmtPlanner::solve_horizon(std::size_t h) {
  std::unique_ptr<SmtSolver> solver = encoder_->factory().make_solver(limits_);
  LOG(LogLevel::INFO) << "[SMTPlanner] h: " << h;
  Stopwatch watch;
  encode(h, *solver);
  const double encoding_seconds = watch.lap();
  const SolverResult result = solver->solve();
  const double solving_seconds = watch.lap();
  LOG(LogLevel::DEBUG) << "[SMTPlanner] h: " << h << ", " << encoder_->num_assertions()
                       << " assertions, " << encoder_->factory().num_formulas() << " formulas, "
                       << encoder_->factory().num_variables() << " variables, "
                       << solver->statistic("num sat vars") << " Boolean variables, "
                       << solver->statistic("num sat clauses") << " clauses, "
                       << solver->statistic("dpll conflicts") << " conflicts, encoding "
                       << encoding_seconds << " s, solving " << solving_seconds << " s";
  if (result == SolverResult::SATISFIABLE) return solver;
  if (result == SolverResult::UNKNOWN) {
    has_reached_limit_ = solver->has_reached_limit();
    LOG(LogLevel::WARN) << "[SMTPlanner] h: " << h
                        << ", no answer of the solver: " << solver->unknown_reason();
    if (no_plan_.certainty == NoPlan::Certainty::BOUNDED) {
      std::ostringstream reason;
      reason << "the solver gave up at " << h << " steps";
      if (!solver->unknown_reason().empty()) reason << ": " << solver->unknown_reason();
      no_plan_ = {NoPlan::Certainty::UNDECIDED, reason.str()};
    }
  }
  return nullptr;
}

std::shared_ptr<Plan> SmtPlanner::plan_from_model(std::size_t h, SmtSolver& solver) {
  SmtFactory& factory = encoder_->factory();
  const auto plan = std::make_shared<TimeTriggeredPlan>(environment());
  const auto number = [&](Formula term) -> const rational& {
    return factory.get_rational_constant(solver.get_value(term));
  };
  // Nothing starts at step 0.
  for (std::uint32_t k = 1; k < h; ++k) {
    const rational time = number(encoder_->time_variable(k));
    for (const auto& [name, action] : problem()->actions()) {
      if (!factory.is_true(solver.get_value(encoder_->action_variable(*action, k)))) continue;
      const rational duration = number(encoder_->duration_term(*action, k));
      TimeTriggeredStep::Parameters parameters;
      for (const model::Parameter& p : action->parameters()) {
        const Formula value = solver.get_value(encoder_->parameter_variable(*p, *action, k));
        parameters.push_back(parameter_value(*p, value));
      }
      plan->add_step(std::make_shared<TimeTriggeredStep>(time, action, parameters, duration));
    }
  }
  return plan;
}

model::Expression SmtPlanner::parameter_value(const model::ParameterImpl& parameter,
                                              Formula value) {
  SmtFactory& factory = encoder_->factory();
  model::ExpressionFactory& ef = environment().expression_factory();
  switch (parameter.type()->kind()) {
    case model::TypeCode::BOOLEAN:
      return ef.make_boolean_constant(factory.is_true(value));
    case model::TypeCode::INTEGER:
      // The solver's numbers are rationals; the value of an integer parameter has one form.
      return ef.make_integer_constant(numerator(factory.get_rational_constant(value)));
    case model::TypeCode::RATIONAL:
      return ef.make_rational_constant(factory.get_rational_constant(value));
    case model::TypeCode::USERDEFINED: {
      const model::Instance instance = encoder_->instance_of_number(value);
      if (instance == nullptr) {
        throw InvalidParameterError()
            << "Found an unknown instance in the SMT model: " << parameter.name();
      }
      return ef.make_instance_reference(instance);
    }
    default:
      throw InvalidParameterError() << "Unknown parameter type: " << parameter.name();
  }
}

}  // namespace kelvo::smt
