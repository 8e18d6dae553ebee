#include "transformers/bounder.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "model/action.h"
#include "model/constant.h"
#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/instance.h"
#include "model/model_factory.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "model/types.h"
#include "model/user_type.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "transformers/plan_mapping.h"
#include "transformers/problem_parts.h"

namespace kelvo {

using model::Expression;

Bounder::Bounder(const model::ProblemInstance& input_problem,
                 model::ProblemInstance bounding_problem)
    : BasicTransformer(input_problem), bounding_problem_(std::move(bounding_problem)) {}

void Bounder::do_computation() {
  const model::ProblemInstance& problem = input_problem();
  require_flat(problem, "The bounding phase can be only applied to flattened models!");
  ProblemParts parts;
  for (const auto& [name, instance] : bounding_problem_->instances()) {
    parts.add(instance);
    if (!problem->has_instance(name)) inactive_instances_.insert(instance);
  }
  for (const auto& [name, instance] : problem->instances()) {
    if (bounding_problem_->has_instance(name)) continue;
    LOG(LogLevel::WARN) << "Instance '" << name
                        << "' of the problem is not in the bounding problem and is left out";
  }
  warn_of_lost_types(*problem);
  parts.take_fluents(problem);
  parts.take_constants(problem);
  ActivityConstants activity;
  for (const auto& [name, type] : problem->user_types()) {
    parts.add(type);
    activity[type] = make_activity_constant(type);
    parts.add(activity[type]);
  }
  for (const auto& [name, action] : problem->actions()) {
    const model::Action bounded = bound_action(action, activity);
    parts.add(bounded);
    action_map_back_[bounded] = action;
  }
  parts.take_expressions(problem);
  parts.take_orderings(problem);

  // A first problem, only to enumerate the ground fluents over all instances.
  model::ExpressionFactory& ef = environment().expression_factory();
  const model::ProblemInstance without_defaults = parts.make(environment());
  const Expression at_start = ef.make_point_interval(ef.make_start_anchor());
  for (const Expression fluent : without_defaults->all_ground_fluents(/*only_boolean=*/false)) {
    if (!concerns_inactive_instance(fluent)) continue;
    const Expression reference = ef.get_reference_from_functional_apply(fluent);
    const Expression value = default_value(ef.get_fluent_from_reference(reference)->type());
    if (value == nullptr) {
      LOG(LogLevel::WARN) << "No instance to initialise " << model::print_expression(fluent);
      continue;
    }
    const Expression assignment = ef.make_assign(fluent, value);
    parts.expressions.insert(ef.make_temporal_expression(at_start, assignment));
  }
  output_problem_ = parts.make(environment());
}

// Types match by name, and a flattener in front of one problem only has renamed the types of that.
void Bounder::warn_of_lost_types(const model::ProblemInstanceImpl& problem) const {
  const auto types_of = [](const model::ProblemInstanceImpl& p) {
    std::map<std::string, model::UserType> types;
    for (const auto& [name, instance] : p.instances()) {
      types.emplace(instance->type()->name(), instance->type());
    }
    return types;
  };
  const auto bounding_types = types_of(*bounding_problem_);
  for (const auto& [name, type] : types_of(problem)) {
    if (bounding_types.contains(name)) continue;
    LOG(LogLevel::WARN) << "The bounding problem has no instance of type '" << name << "'";
  }
}

model::Constant Bounder::make_activity_constant(const model::UserType& type) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  model::ModelFactory& mf = environment().model_factory();
  auto value = std::make_shared<model::FunctionValueImpl>();
  for (const auto& [name, instance] : bounding_problem_->instances()) {
    if (instance->type() != type) continue;
    const Expression is_active = ef.make_boolean_constant(!inactive_instances_.contains(instance));
    value->add_assignment({ef.make_instance_reference(instance)}, is_active);
  }
  return mf.make_constant("_is_active_" + type->name(), mf.make_boolean_type(), {},
                          {mf.make_parameter("p", type)}, {{"", value}});
}

model::Action Bounder::bound_action(const model::Action& action,
                                    const ActivityConstants& activity) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  Substitution substitution;
  const model::Parameters parameters =
      copy_parameters(environment(), action->parameters(), substitution);
  const Expression at_start = ef.make_point_interval(ef.make_start_anchor());
  model::ExpressionSet expressions;
  for (const model::Parameter& p : parameters) {
    const auto constant = activity.find(p->type());
    if (constant == activity.end()) continue;
    const Expression reference = ef.make_constant_reference(constant->second);
    const Expression parameter = ef.make_parameter_reference(p);
    const Expression is_active = ef.make_functional_apply(reference, {parameter});
    expressions.insert(ef.make_temporal_expression(at_start, is_active));
  }
  const ExpressionSubstituter substitute(environment(), substitution);
  for (const Expression e : action->expressions()) expressions.insert(substitute(e));
  return environment().model_factory().make_action(action->name(), {}, parameters, expressions);
}

bool Bounder::concerns_inactive_instance(Expression ground_fluent) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  if (!ef.is_functional_apply(ground_fluent)) return false;
  return std::ranges::any_of(ground_fluent->children(), [&](Expression argument) {
    return ef.is_instance_reference(argument) &&
           inactive_instances_.contains(ef.get_instance_from_reference(argument));
  });
}

Expression Bounder::default_value(const model::Type& type) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  switch (type->kind()) {
    case model::TypeCode::BOOLEAN:
      return ef.make_false();
    case model::TypeCode::INTEGER:
      return ef.make_integer_constant(0);
    case model::TypeCode::RATIONAL:
      return ef.make_rational_constant(0);
    case model::TypeCode::USERDEFINED:
      for (const auto& [name, instance] : bounding_problem_->instances()) {
        if (instance->type() == type) return ef.make_instance_reference(instance);
      }
      return nullptr;
    default:
      throw InternalError();
  }
}

std::shared_ptr<Plan> Bounder::map_back(const std::shared_ptr<Plan>& plan) const {
  return map_plan(plan, "bounder", [this](MappedStep step) -> std::optional<MappedStep> {
    const auto found = action_map_back_.find(step.action);
    if (found != action_map_back_.end()) step.action = found->second;
    step.post_condition = map_post_condition(
        environment(), step.post_condition, [this](Expression conjunct) -> Expression {
          const bool is_inactive =
              conjunct->arity() > 0 && concerns_inactive_instance(conjunct->child(0));
          return is_inactive ? nullptr : conjunct;
        });
    return step;
  });
}

}  // namespace kelvo
