#include "app/validate.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "model/action.h"
#include "model/problem_instance.h"
#include "model/user_type.h"
#include "plans/plan_reader.h"
#include "plans/time_triggered_plan.h"
#include "plans/ttp_parser.h"
#include "shell/concat_stream.h"
#include "shell/configuration.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "transformers/basic_transformer.h"
#include "transformers/transformer_chain.h"
#include "validation/strict_explanation.h"
#include "validation/strict_judge.h"
#include "validation/tt_validator.h"

namespace kelvo {

namespace {

using model::ProblemInstance;

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

/// One call of `validate`.
class Validation {
 public:
  Validation(Environment& env, const ProblemInstance& problem, const TransformerChain& chain)
      : env_(env),
        problem_(problem),
        chain_(chain),
        file_name_(env.configuration().get_string_value("plan")) {
    if (file_name_.empty()) {
      throw InternalError("The function 'validate' needs the option '--plan <plan-file>'!");
    }
  }

  int run_told() {
    const std::unique_ptr<ConcatIfStream> file = open();
    std::shared_ptr<TimeTriggeredPlan> plan =
        TTPParser(env_, chain_.problem()).parse(file->stream());
    for (const auto& transformer : chain_.transformers()) plan = map_forward(*transformer, plan);
    std::string complaint;
    const bool is_valid = TTValidator(env_, chain_.problem()).validate(plan, complaint);
    std::cout << (is_valid ? "The plan is valid!" : "BUG!!!! The plan is NOT valid!") << '\n';
    if (is_valid || !env_.configuration().get_boolean_value("explain")) return 0;
    const StrictVerdict verdict = strict_verdict();
    if (verdict.is_valid()) {
      std::cout << "Why: " << complaint << "\n"
                << "  Judged strictly, the plan is valid.\n";
    } else {
      explain(*verdict.fault);
    }
    return 0;
  }

  int run_strict() {
    const StrictVerdict verdict = strict_verdict();
    std::cout << (verdict.is_valid() ? "The plan is valid." : "The plan is NOT valid.") << '\n';
    if (verdict.is_valid()) return 0;
    if (env_.configuration().get_boolean_value("explain")) explain(*verdict.fault);
    return 1;
  }

 private:
  std::unique_ptr<ConcatIfStream> open() const {
    if (!std::ifstream(file_name_).is_open()) {
      throw InvalidParameterError() << "Input plan file '" << file_name_ << "' does not exist!";
    }
    return std::make_unique<ConcatIfStream>(std::vector<std::string>{file_name_});
  }

  // The plan file names the actions of the last problem; the judge asks about the first.
  StrictVerdict strict_verdict() {
    const std::unique_ptr<ConcatIfStream> file = open();
    text_ = PlanReader(env_, chain_.problem()).read(file->stream());
    std::shared_ptr<TimeTriggeredPlan> plan = text_.plan;
    if (!chain_.transformers().empty()) {
      plan = std::make_shared<TimeTriggeredPlan>(chain_.map_back(plan));
      name_mapped_steps(*plan);
    }
    const Configuration& configuration = env_.configuration();
    StrictOptions options;
    options.no_moving_targets = configuration.get_boolean_value("pddl");
    options.epsilon = rational_from_string(configuration.get_string_value("epsilon"));
    if (options.epsilon < 0) throw InvalidParameterError("The option 'epsilon' is negative");
    return StrictJudge(env_, problem_, options).judge(*plan);
  }

  // Where as many steps start at a time as were read there, they are in the same order.
  void name_mapped_steps(const TimeTriggeredPlan& mapped) {
    for (const auto& [time, steps] : mapped.plan()) {
      const auto read = text_.plan->plan().find(time);
      if (read == text_.plan->plan().end() || read->second.size() != steps.size()) continue;
      for (std::size_t i = 0; i < steps.size(); ++i) {
        text_.lines[steps[i].get()] = text_.lines.at(read->second[i].get());
      }
    }
  }

  void explain(const StrictFault& fault) const {
    print_explanation(std::cout, env_, fault,
                      [this](const TimeTriggeredStep& step) { return step_name(step); });
  }

  std::string step_name(const TimeTriggeredStep& step) const {
    const auto line = text_.lines.find(&step);
    if (line == text_.lines.end()) return step_text(step);
    std::ostringstream name;
    name << step_text(step) << " (" << file_name_ << ":" << line->second << ")";
    return name.str();
  }

  Environment& env_;
  const ProblemInstance& problem_;
  const TransformerChain& chain_;
  std::string file_name_;
  PlanText text_;
};

}  // namespace

int validate(Environment& env, const ProblemInstance& as_read, const TransformerChain& chain) {
  Validation validation(env, as_read, chain);
  const bool is_strict = env.configuration().get_boolean_value("strict");
  return is_strict ? validation.run_strict() : validation.run_told();
}

}  // namespace kelvo
