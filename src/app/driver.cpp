#include "app/driver.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <memory>
#include <utility>

#include "app/not_built.h"
#include "app/output.h"
#include "app/planner_factory.h"
#include "app/transformer_factory.h"
#include "app/translations.h"
#include "model/action.h"
#include "model/problem_instance.h"
#include "model/user_type.h"
#include "parsers/anml/anml_parser.h"
#include "parsers/pddl/pddl_parser.h"
#include "planners/planner.h"
#include "plans/plan.h"
#include "plans/time_triggered_plan.h"
#include "plans/ttp_parser.h"
#include "shell/concat_stream.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "transformers/transformer_chain.h"
#include "validation/tt_validator.h"

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

bool has_action(const ProblemInstance& problem, const model::Action& action) {
  const auto holds = [&action](const model::TypeScope& scope) {
    const auto found = scope.actions().find(action->name());
    return found != scope.actions().end() && found->second == action;
  };
  if (holds(*problem)) return true;
  return std::any_of(problem->user_types().begin(), problem->user_types().end(),
                     [&holds](const auto& entry) { return holds(*entry.second); });
}

/// A plan file names the actions of the last problem, so the plan that reaches a transformer often
/// is one of its output already and has no way forward to go.
bool is_plan_of(const ProblemInstance& problem, const TimeTriggeredPlan& plan) {
  for (const auto& [time, steps] : plan.plan()) {
    for (const auto& step : steps) {
      if (!has_action(problem, step->action())) return false;
    }
  }
  return true;
}

std::shared_ptr<TimeTriggeredPlan> map_forward(BasicTransformer& transformer,
                                               const std::shared_ptr<TimeTriggeredPlan>& plan) {
  if (!transformer.carries_all_plans_forward()) {
    throw InternalError(
        "validate needs and supports only the following transformers: flattener, "
        "temporal-uncertainty-compiler");
  }
  return is_plan_of(transformer.output_problem(), *plan) ? plan : transformer.map_forward(plan);
}

void validate(Environment& env, const TransformerChain& chain) {
  const std::string& name = env.configuration().get_string_value("plan");
  if (name.empty()) {
    throw InternalError("The function 'validate' needs the option '--plan <plan-file>'!");
  }
  std::ifstream file(name);
  if (!file.is_open()) {
    throw InvalidParameterError() << "Input plan file '" << name << "' does not exist!";
  }
  std::shared_ptr<TimeTriggeredPlan> plan = TTPParser(env, chain.problem()).parse(file);
  for (const auto& transformer : chain.transformers()) plan = map_forward(*transformer, plan);
  const bool valid = TTValidator(env, chain.problem()).validate(plan);
  std::cout << (valid ? "The plan is valid!" : "BUG!!!! The plan is NOT valid!") << '\n';
}

/// The plan in the form that the options ask for.
std::shared_ptr<Plan> converted_plan(const Configuration& configuration,
                                     std::shared_ptr<Plan> plan) {
  if (configuration.get_boolean_value("time-triggered")) {
    plan = std::make_shared<TimeTriggeredPlan>(plan);
  }
  if (configuration.get_boolean_value("mission")) not_built("mission plan");
  return plan;
}

void solve(Environment& env, const TransformerChain& chain) {
  const Configuration& configuration = env.configuration();
  const std::unique_ptr<Planner> planner =
      make_planner(env, configuration.get_string_value("algorithm"), chain.problem());
  std::shared_ptr<Plan> plan = planner->solve();
  if (!plan) {
    std::cout << "No solution exists.\n";
    return;
  }
  plan = converted_plan(configuration, chain.map_back(std::move(plan)));
  std::cout << ";; A plan has been found:\n";
  plan->print(std::cout);
}

}  // namespace

int run_with_input_files(Environment& env, const std::vector<std::string>& input_files) {
  if (input_files.empty()) {
    process_problem(env, std::cin);
  } else {
    ConcatIfStream files(input_files);
    files.stream().unsetf(std::ios_base::skipws);
    process_problem(env, files.stream());
  }
  LOG(LogLevel::DEBUG) << "KELVO Quitting!";
  return 0;
}

void process_problem(Environment& env, std::istream& source) {
  const Configuration& configuration = env.configuration();
  const TransformerChain chain = transform(env, read_problem(env, source));
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
    validate(env, chain);
  } else if (function == "solve") {
    solve(env, chain);
  }
}

}  // namespace kelvo
