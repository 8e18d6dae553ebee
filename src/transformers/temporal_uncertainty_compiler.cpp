#include "transformers/temporal_uncertainty_compiler.h"

#include <optional>
#include <tuple>

#include "model/action.h"
#include "model/check_contains_walker.h"
#include "model/expression_factory.h"
#include "model/expression_free_vars.h"
#include "model/fluent.h"
#include "model/model_factory.h"
#include "model/print_expression.h"
#include "model/problem_instance.h"
#include "plans/time_triggered_plan.h"
#include "shell/environment.h"
#include "shell/errors.h"
#include "shell/log.h"
#include "transformers/plan_mapping.h"

namespace kelvo {

using model::Expression;
using model::ExpressionOperatorKind;

namespace {

// More than this many shadowed fluents in one expression would give too many variants of it.
constexpr std::size_t max_sigma_fluents = 16;

bool occurs(Environment& env, ExpressionOperatorKind kind, Expression e) {
  return model::CheckContainsWalker(env, kind)(e);
}

// The fluent of a reference or an application; null for anything else.
model::Fluent fluent_of(const model::ExpressionFactory& ef, Expression e) {
  if (ef.is_functional_apply(e)) e = ef.get_reference_from_functional_apply(e);
  return ef.is_fluent_reference(e) ? ef.get_fluent_from_reference(e) : nullptr;
}

// The interval of a `duration :in` statement, timed or not; null for any other statement.
Expression uncertain_interval(const model::ExpressionFactory& ef, Expression e) {
  if (ef.is_temporal_expression(e)) e = e->child(1);
  return ef.is_in_assign(e) ? e->child(1) : nullptr;
}

// The assigned side of a statement, or null.
Expression assigned_side(const model::ExpressionFactory& ef, Expression e) {
  if (ef.is_temporal_expression(e)) e = e->child(1);
  return ef.is_assign(e) ? e->child(0) : nullptr;
}

}  // namespace

TemporalUncertaintyCompiler::TemporalUncertaintyCompiler(
    const model::ProblemInstance& input_problem)
    : BasicTransformer(input_problem) {}

void TemporalUncertaintyCompiler::do_computation() {
  const model::ProblemInstance& problem = input_problem();
  LOG(LogLevel::DEBUG) << "Temporal uncertainty compiler started!";
  for (const auto& [name, fluent] : problem->fluents()) fluent_names_.insert(name);
  LOG(LogLevel::DEBUG) << "--> Create the sigma fluents";
  for (const auto& [name, action] : problem->actions()) {
    if (action->is_temporally_uncertain(/*really_uncertain=*/true)) create_sigma_fluents(action);
  }
  LOG(LogLevel::DEBUG) << "--> Re-introduce the top-level instances, fluents and constants";
  parts_.take_fluents(problem);
  parts_.take_constants(problem);
  parts_.take_instances(problem);
  LOG(LogLevel::DEBUG) << "--> Re-introduce the user types";
  require_flat(problem,
               "The compile away uncertainty phase can be only applied to flattened models!");
  parts_.take_user_types(problem);
  LOG(LogLevel::DEBUG) << "--> Re-introduce the actions compiling away the temporal uncertainty";
  for (const auto& [name, action] : problem->actions()) compile_action(action);
  LOG(LogLevel::DEBUG) << "--> Re-introduce all the expressions";
  for (const Expression e : problem->expressions()) {
    for (const Expression variant : sigma_variants(e, e, "the problem")) {
      parts_.expressions.insert(variant);
    }
  }
  parts_.take_orderings(problem);
  output_problem_ = parts_.make(environment());
  LOG(LogLevel::DEBUG) << "Temporal uncertainty compiling completed!";
}

const std::string& TemporalUncertaintyCompiler::get_fluent_fresh_name(const model::Fluent& fluent,
                                                                      bool sigma) {
  const std::string base = fluent->name() + (sigma ? "_sigma" : "");
  auto [name, is_new] = fluent_names_.insert(base);
  if (is_new) return *name;
  std::tie(name, is_new) = fluent_names_.insert(base + std::to_string(fv_index_));
  while (!is_new) {
    std::tie(name, is_new) = fluent_names_.insert(base + std::to_string(++fv_index_));
  }
  return *name;
}

bool TemporalUncertaintyCompiler::is_end_effect(Expression e) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  return ef.is_temporal_expression(e) &&
         occurs(environment(), ExpressionOperatorKind::END, e->child(0)) &&
         occurs(environment(), ExpressionOperatorKind::ASSIGN, e->child(1));
}

void TemporalUncertaintyCompiler::create_sigma_fluents(const model::Action& action) {
  model::ExpressionFactory& ef = environment().expression_factory();
  for (const Expression e : action->expressions()) {
    if (!is_end_effect(e)) continue;
    const Expression body = e->child(1);
    const Expression left = ef.is_assign(body) ? body->child(0) : body;
    const model::Fluent fluent = fluent_of(ef, left);
    if (fluent == nullptr) {
      if (ef.is_functional_apply(left)) continue;
      throw InternalError("Found an an assignemnt with no fluent on the LHS");
    }
    if (!sigma_fluents_.contains(fluent)) {
      const model::Fluent sigma = sigma_fluent(fluent);
      parts_.add(sigma);
      sigma_fluents_[fluent] = sigma;
      const Expression reference = ef.make_fluent_reference(fluent);
      sigma_subs_[reference] = ef.make_fluent_reference(sigma);
      new_fluents_.insert(sigma_subs_[reference]);
    }
  }
}

model::Fluent TemporalUncertaintyCompiler::sigma_fluent(const model::Fluent& fluent) {
  Substitution unused;
  const model::Parameters parameters = copy_parameters(environment(), fluent->parameters(), unused);
  return environment().model_factory().make_fluent(get_fluent_fresh_name(fluent, /*sigma=*/true),
                                                   fluent->type(), {}, parameters);
}

void TemporalUncertaintyCompiler::compile_action(const model::Action& action) {
  model::ExpressionFactory& ef = environment().expression_factory();
  Substitution parameter_subs;
  const model::Parameters parameters =
      copy_parameters(environment(), action->parameters(), parameter_subs);
  const ExpressionSubstituter params(environment(), parameter_subs);
  const bool is_uncertain = action->is_temporally_uncertain(/*really_uncertain=*/true);

  // The earliest moment at which the action may end.
  const Expression end = ef.make_end_anchor();
  Expression earliest_end = end;
  if (is_uncertain) {
    for (const Expression e : action->expressions()) {
      const Expression interval = uncertain_interval(ef, e);
      if (interval == nullptr) continue;
      earliest_end = ef.make_plus(ef.make_start_anchor(), params(interval->child(0)));
      break;
    }
  }
  const Substitution end_subs{{end, earliest_end}};
  const ExpressionSubstituter to_earliest_end(environment(), end_subs);
  const ExpressionSubstituter to_sigma(environment(), sigma_subs_);

  model::ExpressionSet expressions;
  for (const Expression e : action->expressions()) {
    if (const Expression interval = uncertain_interval(ef, e); interval != nullptr) {
      const Expression longest = params(interval->child(interval->arity() - 1));
      expressions.insert(ef.make_assign(ef.make_duration_anchor(), longest));
    } else if (is_uncertain && is_end_effect(e)) {
      expressions.insert(params(to_sigma(to_earliest_end(e))));
      expressions.insert(params(e));
      const Expression value = params(e->child(1)->child(1));
      const Expression shadow = params(to_sigma(e->child(1)->child(0)));
      const Expression holds = ef.make_equals(shadow, value);
      const Expression pending = ef.make_left_open_interval(earliest_end, end);
      expressions.insert(ef.make_temporal_expression(pending, holds));
    } else {
      for (const Expression variant :
           sigma_variants(e, params(e), "action '" + action->name() + "'")) {
        expressions.insert(variant);
      }
    }
  }
  const model::Action compiled =
      environment().model_factory().make_action(action->name(), {}, parameters, expressions);
  parts_.add(compiled);
  new_actions_[action] = compiled;
  actions_[compiled] = {action, is_uncertain};
}

std::vector<Expression> TemporalUncertaintyCompiler::sigma_variants(
    Expression original, Expression rewritten, const std::string& where) const {
  model::ExpressionFactory& ef = environment().expression_factory();
  const model::ExpressionFreeVars free_variables(environment());
  model::ExpressionSet shadowed;
  for (const Expression variable : free_variables(original)) {
    const model::Fluent fluent = fluent_of(ef, variable);
    if (fluent != nullptr && sigma_fluents_.contains(fluent)) {
      shadowed.insert(ef.make_fluent_reference(fluent));
    }
  }
  if (shadowed.size() > max_sigma_fluents) {
    throw InternalError() << "Found too many uncertain fluents in one expression of " << where
                          << ": " << model::print_expression(original);
  }
  std::vector<Expression> variants{rewritten};
  std::unordered_set<Expression> seen{rewritten};
  for (const Expression reference : shadowed) {
    const Substitution one_pair{{reference, sigma_subs_.at(reference)}};
    const ExpressionSubstituter substitute(environment(), one_pair);
    const std::size_t size = variants.size();
    for (std::size_t i = 0; i < size; ++i) {
      const Expression variant = substitute(variants[i]);
      if (seen.insert(variant).second) variants.push_back(variant);
    }
  }
  // Two values for one fluent at one time are no effect that a plan can have.
  std::unordered_set<Expression> assigned;
  for (const Expression variant : variants) {
    const Expression left = assigned_side(ef, variant);
    if (left != nullptr && !assigned.insert(left).second) {
      throw InternalError() << "Found an assignment that reads uncertain fluents in " << where
                            << ", which would give contradicting effects: "
                            << model::print_expression(original);
    }
  }
  return variants;
}

const TemporalUncertaintyCompiler::Origin& TemporalUncertaintyCompiler::origin_of(
    const model::Action& action) const {
  const auto found = actions_.find(action);
  if (found == actions_.end()) {
    throw InternalError("Found an action that is unknown to the temporal uncertainty compiler!");
  }
  return found->second;
}

bool TemporalUncertaintyCompiler::is_about_new_fluent(Expression conjunct) const {
  const model::ExpressionFactory& ef = environment().expression_factory();
  if (conjunct->arity() == 0) return false;
  Expression left = conjunct->child(0);
  if (ef.is_functional_apply(left)) left = ef.get_reference_from_functional_apply(left);
  return new_fluents_.contains(left);
}

std::shared_ptr<Plan> TemporalUncertaintyCompiler::map_back(
    const std::shared_ptr<Plan>& plan) const {
  return map_plan(plan, "the temporal uncertainty compiler",
                  [this](MappedStep step) -> std::optional<MappedStep> {
                    const auto& [old_action, was_uncertain] = origin_of(step.action);
                    step.action = old_action;
                    step.object = nullptr;
                    // It is not the plan that chooses the duration of an uncertain action.
                    if (was_uncertain) {
                      step.duration.reset();
                    } else {
                      step.duration = step.duration.value_or(rational(0));
                    }
                    step.post_condition = map_post_condition(
                        environment(), step.post_condition,
                        [this](Expression conjunct) -> Expression {
                          return is_about_new_fluent(conjunct) ? nullptr : conjunct;
                        });
                    return step;
                  });
}

BasicTransformer::Step TemporalUncertaintyCompiler::map_back(
    const model::Instance&, const model::Action& action,
    const std::vector<Expression>& parameters) const {
  return {nullptr, origin_of(action).first, parameters};
}

std::vector<BasicTransformer::ForwardStep> TemporalUncertaintyCompiler::map_forward(
    const model::Instance&, const model::Action& action,
    const std::vector<Expression>& parameters) const {
  const auto found = new_actions_.find(action);
  if (found == new_actions_.end()) {
    throw InternalError("Found an action that is unknown to the temporal uncertainty compiler!");
  }
  return {ForwardStep{nullptr, found->second, parameters, nullptr}};
}

std::shared_ptr<TimeTriggeredPlan> TemporalUncertaintyCompiler::map_forward(
    const std::shared_ptr<TimeTriggeredPlan>& plan) const {
  return map_time_triggered_plan(*plan, [this](MappedStep step) -> std::optional<MappedStep> {
    const auto found = new_actions_.find(step.action);
    if (found == new_actions_.end()) {
      throw InternalError("Found an action that is unknown to the compiler!");
    }
    return MappedStep{nullptr, found->second, step.parameters, step.duration, nullptr};
  });
}

}  // namespace kelvo
