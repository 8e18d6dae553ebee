#include "app/driver.h"

#include <ios>
#include <iostream>
#include <memory>
#include <utility>

#include "app/no_plan_line.h"
#include "app/not_built.h"
#include "app/option_checks.h"
#include "app/output.h"
#include "app/plan_check.h"
#include "app/planner_factory.h"
#include "app/transformer_factory.h"
#include "app/translations.h"
#include "app/validate.h"
#include "model/problem_instance.h"
#include "parsers/anml/anml_parser.h"
#include "parsers/pddl/pddl_parser.h"
#include "planners/planner.h"
#include "plans/plan.h"
#include "plans/time_triggered_plan.h"
#include "shell/concat_stream.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "transformers/transformer_chain.h"

namespace kelvo {

namespace {

using model::ProblemInstance;

ProblemInstance read_problem(Environment& env, std::istream& source) {
  if (env.configuration().get_boolean_value("pddl")) return PddlParser(env).parse(source);
  return AnmlParser(env).parse(source);
}

/// Applies the transformers of the command line, each to completion before the next is made.
TransformerChain transform(Environment& env, const ProblemInstance& problem) {
  TransformerChain chain(problem);
  for (const std::string& name : env.configuration().get_vector_string_value("transformer")) {
    chain.apply([&](const ProblemInstance& input) { return make_transformer(env, name, input); });
  }
  return chain;
}

void print_problem(const Configuration& configuration, const ProblemInstance& problem) {
  const std::string& output = configuration.get_string_value("output");
  // With `showproblem` it is on standard output already.
  if (output.empty() && configuration.get_boolean_value("showproblem")) return;
  write_output(output, [&problem](std::ostream& out) { out << *problem << '\n'; });
}

/// The plan in the form that the options ask for.
std::shared_ptr<Plan> converted_plan(const Configuration& configuration,
                                     std::shared_ptr<Plan> plan) {
  if (configuration.get_boolean_value("time-triggered")) {
    plan = std::make_shared<TimeTriggeredPlan>(plan);
  }
  return plan;
}

/// Times are rounded where what is printed is still a plan.
void print_plan(Environment& env, const Plan& plan, PlanCheck& check) {
  std::cout << ";; A plan has been found:\n";
  const auto* time_triggered = dynamic_cast<const TimeTriggeredPlan*>(&plan);
  if (time_triggered != nullptr && !env.configuration().get_boolean_value("rational-precision") &&
      time_triggered->is_changed_by_rounding()) {
    const std::shared_ptr<TimeTriggeredPlan> rounded = time_triggered->rounded();
    if (rounded == nullptr || !check.is_valid(*rounded)) {
      LOG(LogLevel::INFO)
          << "The times of the plan are printed exactly: rounded, it would not be valid, "
             "or not be read";
      time_triggered->print_exactly(std::cout);
      return;
    }
  }
  plan.print(std::cout);
}

void solve(Environment& env, const ProblemInstance& as_read, const TransformerChain& chain) {
  const Configuration& configuration = env.configuration();
  refuse_what_is_not_built(configuration);
  const std::unique_ptr<Planner> planner =
      make_planner(env, configuration.get_string_value("algorithm"), chain.problem());
  PlanCheck check(env, as_read, chain);
  std::shared_ptr<Plan> passed;
  planner->set_plan_test([&check, &passed](const std::shared_ptr<Plan>& plan) {
    const bool passes = check.passes(plan);
    if (passes) passed = plan;
    return passes;
  });
  std::shared_ptr<Plan> plan = planner->solve();
  if (plan != nullptr && plan != passed && !check.passes(plan)) plan = nullptr;
  if (plan == nullptr) {
    std::cout << "No solution exists.\n" << std::flush;
    std::cerr << no_plan_line(planner->no_plan(), check.num_refused()) << '\n';
    check.explain_first_refusal(std::cerr);
    return;
  }
  plan = converted_plan(configuration, check.confirmed());
  print_plan(env, *plan, check);
}

int run_with_files(Environment& env, const std::vector<std::string>& input_files) {
  ConcatIfStream files(input_files);
  files.stream().unsetf(std::ios_base::skipws);
  return process_problem(env, files.stream());
}

int run_with_standard_input(Environment& env) {
  std::cin.exceptions(std::ios_base::badbit);
  try {
    return process_problem(env, std::cin);
  } catch (const std::ios_base::failure& error) {
    throw InvalidParameterError() << "Standard input cannot be read: " << error.code().message();
  }
}

}  // namespace

int run_with_input_files(Environment& env, const std::vector<std::string>& input_files) {
  check_outputs(env.configuration(), input_files);
  const int status =
      input_files.empty() ? run_with_standard_input(env) : run_with_files(env, input_files);
  LOG(LogLevel::DEBUG) << "KELVO Quitting!";
  return status;
}

int process_problem(Environment& env, std::istream& source) {
  const Configuration& configuration = env.configuration();
  const ProblemInstance as_read = read_problem(env, source);
  const TransformerChain chain = transform(env, as_read);
  const ProblemInstance& problem = chain.problem();
  if (configuration.get_boolean_value("showproblem")) std::cout << *problem << '\n';

  const std::string& function = configuration.get_string_value("function");
  if (function == "transform") {
    print_problem(configuration, problem);
  } else if (function == "convert-to") {
    convert(env, problem);
  } else if (function == "trace-to-plan") {
    convert_trace(env, problem);
  } else if (function == "code-generate") {
    not_built("code generator");
  } else if (function == "validate") {
    return validate(env, as_read, chain);
  } else if (function == "solve") {
    solve(env, as_read, chain);
  }
  return 0;
}

}  // namespace kelvo
