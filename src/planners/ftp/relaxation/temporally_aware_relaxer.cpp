#include "planners/ftp/relaxation/temporally_aware_relaxer.h"

#include <algorithm>
#include <string>

#include "model/expression_factory.h"
#include "model/fluent.h"
#include "model/model_factory.h"
#include "model/problem_instance.h"
#include "planners/task/classical_action.h"
#include "planners/task/problem_statements.h"
#include "shell/environment.h"
#include "shell/errors.h"

namespace kelvo::ftp {

using model::Expression;
using model::ExpressionFactory;
using model::ExpressionSet;

TemporallyAwareRelaxer::TemporallyAwareRelaxer(const model::ProblemInstance& input_problem,
                                               const rational& gap)
    : BasicTransformer(input_problem), gap_(gap) {}

void TemporallyAwareRelaxer::do_computation() {
  const model::ProblemInstance& problem = input_problem();
  require_flat(problem, "This phase can be only applied to flattened models!");
  parts_.take_user_types(problem);
  parts_.take_instances(problem);
  parts_.take_fluents(problem);
  parts_.take_constants(problem);
  parts_.take_orderings(problem);
  for (const auto& [name, action] : problem->actions()) relax_action(action);
  relax_expressions();
  output_problem_ = parts_.make(environment());
}

// --- actions ---

Expression TemporallyAwareRelaxer::make_marker(const model::Action& action, std::size_t phase) {
  const std::string name = "_f_" + std::to_string(phase) + "_" + action->name();
  std::string fresh = name;
  for (std::size_t i = 0; input_problem()->has_name(fresh) || parts_.fluents.contains(fresh); ++i) {
    fresh = name + "_" + std::to_string(i);
  }
  model::ModelFactory& factory = environment().model_factory();
  ExpressionFactory& ef = environment().expression_factory();
  const model::Fluent fluent = factory.make_fluent(fresh, factory.make_boolean_type());
  parts_.add(fluent);
  const Expression marker = ef.make_fluent_reference(fluent);
  const Expression value = ef.make_boolean_constant(phase == 1);
  const Expression assignment = ef.make_assign(marker, value);
  const Expression point = ef.make_point_interval(ef.make_start_anchor());
  parts_.expressions.insert(ef.make_temporal_expression(point, assignment));
  return marker;
}

std::string TemporallyAwareRelaxer::fresh_action_name(const std::string& name) {
  std::string fresh = name;
  for (std::size_t i = 0; input_problem()->has_name(fresh) || parts_.actions.contains(fresh); ++i) {
    fresh = name + "_" + std::to_string(i);
  }
  return fresh;
}

void TemporallyAwareRelaxer::relax_action(const model::Action& action) {
  ExpressionFactory& ef = environment().expression_factory();
  const ActionEvents events(environment(), action);
  std::vector<PlacedEvent> table = place_action_events(ef, events, gap_);
  std::erase_if(table, [](const PlacedEvent& event) { return event.at_once; });
  sort_table(table);

  std::vector<Expression>& markers = phase_markers_[action];
  for (std::size_t phase = 1; phase <= table.size() + 1; ++phase) {
    markers.push_back(make_marker(action, phase));
  }
  std::vector<model::Action>& phases = relaxed_actions_[action];
  const Expression start = events.start_condition;
  phases.push_back(make_phase(action, 1, start == nullptr ? nullptr : start->child(1), nullptr));
  for (std::size_t i = 0; i < table.size(); ++i) {
    const bool is_effect = table[i].role == EventRole::EFFECT;
    const Expression body = table[i].expression->child(1);
    phases.push_back(
        make_phase(action, i + 2, is_effect ? nullptr : body, is_effect ? body : nullptr));
  }
}

model::Action TemporallyAwareRelaxer::make_phase(const model::Action& action, std::size_t phase,
                                                 Expression condition, Expression effect) {
  ExpressionFactory& ef = environment().expression_factory();
  const std::vector<Expression>& markers = phase_markers_.at(action);
  ExpressionSet expressions;

  const Expression marker = markers[phase - 1];
  const Expression body = condition == nullptr ? marker : ef.make_and(marker, condition);
  const Expression point = ef.make_point_interval(ef.make_start_anchor());
  expressions.insert(ef.make_temporal_expression(point, normalise(environment(), body)));

  const std::size_t next = phase % markers.size();
  for (std::size_t i = 0; i < markers.size(); ++i) {
    const Expression value = ef.make_boolean_constant(i == next);
    add_at_end(ef.make_assign(markers[i], value), expressions);
  }
  if (effect != nullptr) add_at_end(effect, expressions);

  const std::string name = fresh_action_name(action->name() + "_" + std::to_string(phase));
  const model::Action made = environment().model_factory().make_action(name, {}, {}, expressions);
  parts_.add(made);
  originals_.emplace(made, action);
  return made;
}

void TemporallyAwareRelaxer::add_at_end(Expression body, ExpressionSet& expressions) const {
  ExpressionFactory& ef = environment().expression_factory();
  const Expression point = ef.make_point_interval(ef.make_end_anchor());
  const Expression statement = ef.make_temporal_expression(point, body);
  for (const Expression e : single_statements(ef, statement)) expressions.insert(e);
}

// --- expressions of the problem ---

void TemporallyAwareRelaxer::relax_expressions() {
  const ProblemStatements statements(input_problem());
  const ExpressionSet literals(statements.timed_literals.begin(), statements.timed_literals.end());
  ExpressionFactory& ef = environment().expression_factory();
  std::size_t number = 0;
  for (const Expression statement : input_problem()->expressions()) {
    for (const Expression e : single_statements(ef, statement)) {
      if (!literals.contains(e)) {
        parts_.expressions.insert(e);
        continue;
      }
      ExpressionSet body;
      add_at_end(e->child(1), body);
      const std::string name = fresh_action_name("_action_til_" + std::to_string(number++));
      parts_.add(environment().model_factory().make_action(name, {}, {}, body));
    }
  }
}

// --- mapping ---

std::shared_ptr<Plan> TemporallyAwareRelaxer::map_back(const std::shared_ptr<Plan>&) const {
  throw InternalError("Plans of the relaxed problem can't be mapped back");
}

TemporallyAwareRelaxer::Step TemporallyAwareRelaxer::map_back(
    const model::Instance& object, const model::Action& action,
    const std::vector<Expression>& parameters) const {
  const auto original = originals_.find(action);
  if (original == originals_.end()) {
    throw InternalError("Found an action that is unknown to the transformer!");
  }
  return {object, original->second, parameters};
}

std::vector<BasicTransformer::ForwardStep> TemporallyAwareRelaxer::map_forward(
    const model::Instance& object, const model::Action& action,
    const std::vector<Expression>& parameters) const {
  const auto phases = relaxed_actions_.find(action);
  if (phases == relaxed_actions_.end()) {
    throw InternalError("Found an action that is unknown to the transformer!");
  }
  std::vector<ForwardStep> result;
  for (const model::Action& phase : phases->second) {
    result.emplace_back(object, phase, parameters, nullptr);
  }
  return result;
}

}  // namespace kelvo::ftp
